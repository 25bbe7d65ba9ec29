// Lines out of the pieces of the text reader; only one that is longer than a piece is copied.
#include "tools/line_reader.h"

namespace {

constexpr std::size_t LONGEST_PIECE = 4096;

// A read that failed in the middle of a line: what there is of the line is not handed on.
bool broken_off(const TextReader& text) {
    return text.error && text.begin == text.end;
}

}  // namespace

bool open_lines(LineReader& reader, const char* name, std::size_t max_line) {
    reader.max_line = max_line;
    return open_text(reader.text, name);
}

void close_lines(LineReader& reader) {
    close_text(reader.text);
}

bool read_line(LineReader& reader, std::string_view& line) {
    TextPiece piece;
    if (!next_piece(reader.text, LONGEST_PIECE, piece)) return false;
    line = piece.text;
    if (!piece.ends_line) {
        reader.carried = piece.text;
        while (!piece.ends_line && next_piece(reader.text, LONGEST_PIECE, piece)) {
            if (reader.carried.size() < reader.max_line) reader.carried += piece.text;
        }
        line = reader.carried;
    }
    line = line.substr(0, reader.max_line);
    return !broken_off(reader.text);
}
