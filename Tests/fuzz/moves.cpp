// Move text: the first line is a position, or empty for the start position, each further line a move in any notation.
#include "fuzz/fuzz.h"

#include "frontend/base/settings.h"

namespace {

// The engine's own texts of its legal moves are understood.
void check_own_texts(Position& position) {
    for (const Move move : legal_moves(position)) {
        std::string san = move_to_pgn(position, move);
        if (san.ends_with('#')) san.pop_back();
        Move read = NULL_MOVE;
        FUZZ_CHECK(parse_move(position, san, read) == 1 && read == move, san + " in " + position_to_fen(position, 1));
        const std::string coordinates = move_to_text(position, position.side, move);
        FUZZ_CHECK(find_uci_move(position, coordinates) == move,
                   coordinates + " in " + position_to_fen(position, true));
    }
}

// A word of a UCI move list becomes some move, and any move leaves a sound position and can be taken back.
void check_any_move(Position& position, std::string_view text) {
    const std::string before = bytes_of(position);
    make_move(position, parse_uci_move(position, text));
    check_consistency(position);
    unmake_move(position);
    FUZZ_CHECK(bytes_of(position) == before, std::string(text));
    position.owner->search_ply = 1;
}

void read_move(Position& position, std::string_view text) {
    check_any_move(position, text);
    const Move uci_move = find_uci_move(position, text);
    FUZZ_CHECK(uci_move == NULL_MOVE || is_legal_here(position, uci_move), std::string(text));
    Move move = NULL_MOVE;
    if (parse_move(position, text, move) != 1) return;
    FUZZ_CHECK(is_legal_here(position, move), std::string(text));
    make_move(position, move);
    position.owner->search_ply = 1;
    check_consistency(position);
}

}  // namespace

FUZZ_TARGET(moves) {
    static Board board;
    settings = Settings{};
    settings.chess960 = 1;  // in the other form a castling can look like a step of the king
    const std::string_view start = take_part(input);
    board.position.side = WHITE;
    set_position(board.position, start.empty() ? START_FEN : start);
    if (!is_playable(board.position)) return;
    for (int moves = 0; !input.empty() && moves < 200; ++moves) {
        read_move(board.position, take_part(input));
        FUZZ_CHECK(is_playable(board.position), board.fen());
    }
    check_own_texts(board.position);
}
