// Lines out of the pieces of the text reader; only one that is longer than a piece is copied.
#include "tools/line_reader.h"

constexpr std::size_t LONGEST_PIECE = 4096;

bool open_lines(LineReader& reader, const char* name, std::size_t max_line) {
    reader.max_line = max_line;
    return open_text(reader.text, name);
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
    // A line that a failed read cut off is not handed on.
    return !reader.text.error || reader.text.begin != reader.text.end;
}
