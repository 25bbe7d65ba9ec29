// The front end's game record: a thin layer over making moves that keeps its stack within bounds.
#include "search/game_stack.h"

#include "platform/words.h"
#include "position/make_move.h"
#include "search/search_thread.h"

#include <cstring>

namespace {

constexpr int POSITION_FIELDS = 4;  // of a FEN, before its two counters
constexpr int LARGEST_MOVE_NUMBER = 9999;

int move_number = 1;

bool is_number(std::string_view word) {
    return !word.empty() && word.find_first_not_of("0123456789") == std::string_view::npos;
}

// Other words may follow a position where its counters are left out.
int number_in(std::string_view fen) {
    for (int field = 0; field < POSITION_FIELDS; ++field) next_word(fen);
    const std::string_view clock = next_word(fen);
    const std::string_view number = next_word(fen);
    return is_number(clock) && is_number(number) ? read_int(number, 1, LARGEST_MOVE_NUMBER) : 1;
}

}  // namespace

int first_move_number() {
    return move_number;
}

void set_game_position(std::string_view fen) {
    move_number = number_in(fen);
    set_position(board(), fen);
    is_playable(board());  // clears an en-passant square that no pawn has just passed
    clear_redo_move();
}

void make_game_move(Move move) {
    make_move(board(), move);
    game_state().search_ply = 1;
}

void unmake_game_move() {
    unmake_move(board());
    game_state().search_ply = 1;
}

void take_back_game() {
    while (game_state().game_ply > 0) unmake_game_move();
}

void clear_redo_move() {
    game_state().game_stack[game_state().game_ply].move = NULL_MOVE;
}

Move redo_move() {
    return game_state().game_stack[game_state().game_ply].move;
}

void trim_game_stack(GameState& game, int rule50) {
    const int count = game.game_ply;
    if (count <= MAX_GAME_MOVES) return;
    constexpr int SATURATED = 255;  // the half-move clock then no longer tells where the last irreversible move was
    const bool irreversible_move_known = rule50 < count && rule50 < SATURATED;
    // An even number keeps the move numbers with their side.
    const int dropped = (irreversible_move_known ? count - rule50 : count / 2) & ~1;
    std::memmove(game.game_stack, game.game_stack + dropped,
                 sizeof(UndoRecord) * static_cast<std::size_t>(count - dropped));
    game.game_ply = static_cast<std::int16_t>(count - dropped);
}
