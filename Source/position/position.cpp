// Set-up of a game record, the test whether a position can be played, and the board display.
#include "position/position.h"

#include "frontend/base/output.h"

void init_game_state(GameState& state, Position& position) {
    position.owner = &state;
    state.game_ply = 0;
    state.search_ply = 1;
    state.last_move = NULL_MOVE;
    for (int i = 0; i < 2; ++i) {
        state.game_stack[i] = {};
        state.move_lists[i] = {.move = END_OF_LIST, .score = 0, .piece = 0, .captured = 0};
    }
    // Deeper plies start out at the end marker too, so that no ply ever has a list outside the area.
    for (int ply = 0; ply < PLY_RECORDS; ++ply) {
        state.list_start[ply] = state.current[ply] = &state.move_lists[ply == 0 ? 0 : 1];
    }
}

namespace {

constexpr Bitboard BACK_RANKS = 0xFF000000000000FFULL;

bool material_is_possible(const Position& position, int c) {
    const Bitboard* own = position.pieces[c];
    return popcount(own[KING]) == 1 && popcount(own[PAWN]) <= 8 && popcount(own[0]) <= 16 && !(own[PAWN] & BACK_RANKS);
}

// True if the opponent's last move can have been the double push over ep_square.
bool ep_square_is_possible(const Position& position) {
    const int c = position.side;
    const int ep = position.ep_square;
    if (relative_rank(c, ep) != 5) return false;
    return position.board[ep - pawn_push(c)] == make_piece(c ^ 1, PAWN) && !position.board[ep] &&
           !position.board[ep + pawn_push(c)];
}

}  // namespace

bool is_playable(Position& position) {
    if (position.ep_square != NO_SQUARE && !ep_square_is_possible(position)) {
        position.ep_square = NO_SQUARE;
        compute_keys(position);
    }
    if (!material_is_possible(position, WHITE) || !material_is_possible(position, BLACK)) return false;
    return !is_attacked(position, position.king_square[position.side ^ 1], position.side);
}

void display_position(const Position& position) {
    std::string text = position_to_fen(position, true) + '\n';
    for (int rank = 7; rank >= 0; --rank) {
        text += ' ';
        for (int file = 0; file < 8; ++file) {
            const int piece = position.board[make_square(file, rank)];
            const char empty = (file ^ rank) & 1 ? '-' : '+';
            text += ' ';
            text += piece ? (colour_of(piece) == WHITE ? "-PNBRQK" : "-onbrqk")[type_of(piece)] : empty;
        }
        text += '\n';
    }
    text += position.side == WHITE ? "white\n" : "black\n";
    print_line(text);
}
