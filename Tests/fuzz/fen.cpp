// FEN, one a line: what is read is written such that it is read as the same again, on boards that cannot be played as
// well.
#include "fuzz/fuzz.h"

namespace {

// Everything but the game: the printed position must bring all of it back.
void check_round_trip(const Board& board) {
    const std::string text = board.fen(true);
    static Board again;
    again.position.side = board.position.side ^ 1;
    set_position(again.position, text);
    FUZZ_CHECK(again.fen() == board.fen(), text + " -> " + again.fen());
    Position expected = board.position;
    expected.owner = again.position.owner;
    expected.touched = again.position.touched;
    FUZZ_CHECK(bytes_of(expected) == bytes_of(again.position), text);
}

void check_moves(Board& board) {
    const std::string before = bytes_of(board.position);
    for (const Move move : board.legal()) {
        make_move(board.position, move);
        check_consistency(board.position);
        unmake_move(board.position);
        FUZZ_CHECK(bytes_of(board.position) == before, board.fen() + " after a move and back");
    }
}

}  // namespace

FUZZ_TARGET(fen) {
    static Board board;
    while (!input.empty()) {
        board.position.side = WHITE;
        set_position(board.position, take_part(input));
        const bool playable = is_playable(board.position);
        check_consistency(board.position);
        check_round_trip(board);
        if (playable) check_moves(board);
    }
}
