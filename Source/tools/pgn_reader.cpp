// Cutting PGN files into games.
#include "tools/pgn_reader.h"

namespace {

constexpr std::size_t LONGEST_PIECE = 509;

// A comment that was wrapped in front of a command ("[%clk 0:05]") begins with a bracket too.
bool is_header_line(std::string_view line) {
    return line.starts_with('[') && !line.starts_with("[%");
}

bool is_blank(std::string_view text) {
    return text.find_first_not_of(' ') == std::string_view::npos;
}

}  // namespace

bool open_pgn(PgnReader& reader, const char* name) {
    reader = PgnReader{};
    return open_text(reader.file, name);
}

bool next_game(PgnReader& reader) {
    std::string& text = reader.text;
    text.clear();
    reader.header = 0;
    bool full = false;
    const auto append = [&](const TextPiece& piece) {
        full = full || text.size() + piece.text.size() >= MAX_GAME_TEXT;
        if (full) return;
        text += piece.text;
        if (piece.ends_line) text += ' ';
        if (reader.in_header) reader.header = text.size();
    };

    if (reader.has_next_line) append(reader.next_line);
    reader.has_next_line = false;
    TextPiece piece;
    while (next_piece(reader.file, LONGEST_PIECE, piece)) {
        if (piece.starts_line) {
            const bool was_in_header = reader.in_header;
            reader.in_header = is_header_line(piece.text);
            if (reader.in_header && !was_in_header && !is_blank(text)) {
                reader.next_line = piece;
                reader.has_next_line = true;
                return true;
            }
        }
        append(piece);
    }
    reader.finished = true;
    return !is_blank(text);
}
