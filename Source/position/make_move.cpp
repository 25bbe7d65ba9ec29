// Making and unmaking moves. Moves from outside arrive here untested (a GUI's move list), so every branch keeps
// board, bitboards, counts, king squares and keys in step for any origin, destination and flags, and the
// UndoRecord says what was moved and taken rather than leaving it to be deduced from the move.
#include "position/make_move.h"

#include "position/board_edit.h"
#include "position/castling.h"
#include "position/movegen.h"

#include <algorithm>
#include <cstring>

namespace {

std::uint64_t piece_key(int piece, int square) {
    return zobrist[piece * 64 + square];
}

// A king of c other than on king_square may remain on a board that was set up with several.
void king_taken(Position& position, int c) {
    const Bitboard kings = position.pieces[c][KING];
    position.king_square[c] = static_cast<std::uint8_t>(kings ? lsb(kings) : NO_SQUARE);
}

// Takes the piece off the board and out of the keys, noting it for unmake_move.
std::uint64_t take_piece(Position& position, UndoRecord& undo, int piece, int square) {
    undo.taken = static_cast<std::uint8_t>(piece);
    undo.taken_square = static_cast<std::uint8_t>(square);
    remove_piece(position, piece, square);
    position.rule50 = 0;
    if (type_of(piece) == PAWN) position.pawn_key ^= piece_key(piece, square);
    if (type_of(piece) == KING) king_taken(position, colour_of(piece));
    return piece_key(piece, square);
}

// True if the side to move can put its king and that right's rook on their castling squares.
bool can_castle(const Position& position, const CastlingSquares& squares) {
    const int c = position.side;
    if (squares.rook_from == NO_SQUARE || rank_of(squares.rook_from) != rank_of(squares.king_from)) return false;
    if (position.board[squares.king_from] != make_piece(c, KING)) return false;
    if (position.board[squares.rook_from] != make_piece(c, ROOK)) return false;
    const Bitboard others = occupancy(position) & ~bit(squares.king_from) & ~bit(squares.rook_from);
    return !(others & (bit(squares.king_to) | bit(squares.rook_to)));
}

CastlingSquares squares_of_castling(const Position& position, Move move) {
    return castling_squares(position, castling_index(position.side, move), move_from(move));
}

// The move that a king move with flags stands for: castling to the g- or c-file whatever its destination bits,
// or, without a rook to castle with, a plain step there.
Move normalised_king_move(const Position& position, Move move) {
    if (!(move & (MOVE_KING_SIDE | MOVE_QUEEN_SIDE))) return move & static_cast<Move>(~MOVE_FLAGS);
    const CastlingSquares squares = squares_of_castling(position, move);
    if (!can_castle(position, squares)) return make_move_word(squares.king_from, squares.king_to);
    return make_move_word(squares.king_from, squares.king_to, move & MOVE_KING_SIDE ? MOVE_KING_SIDE : MOVE_QUEEN_SIDE);
}

std::uint64_t castle(Position& position, Move move) {
    const int c = position.side;
    const int king = make_piece(c, KING);
    const int rook = make_piece(c, ROOK);
    const auto [king_from, king_to, rook_from, rook_to] = squares_of_castling(position, move);
    // Remove, move, place: the rook may stand where the king goes.
    remove_piece(position, rook, rook_from);
    if (king_from != king_to) move_piece(position, king, king_from, king_to);
    put_piece(position, rook, rook_to);
    position.king_square[c] = static_cast<std::uint8_t>(king_to);
    position.rule50 = 0;
    return piece_key(king, king_from) ^ piece_key(king, king_to) ^ piece_key(rook, rook_from) ^
           piece_key(rook, rook_to);
}

void uncastle(Position& position, Move move) {
    const int c = position.side;
    const auto [king_from, king_to, rook_from, rook_to] = squares_of_castling(position, move);
    remove_piece(position, make_piece(c, ROOK), rook_to);
    if (king_from != king_to) move_piece(position, make_piece(c, KING), king_to, king_from);
    put_piece(position, make_piece(c, ROOK), rook_from);
}

void promote(Position& position, int pawn, int promoted, int square) {
    remove_piece(position, pawn, square);
    put_piece(position, promoted, square);
}

// What a pawn does beyond moving: the double push opens an en-passant square, the capture on one removes the pawn
// behind it, the last rank promotes. The pawn already stands on its destination.
std::uint64_t finish_pawn_move(Position& position, UndoRecord& undo, int pawn, Move move) {
    const int from = move_from(move);
    const int to = move_to(move);
    const int c = colour_of(pawn);
    const int push = pawn_push(c);
    position.rule50 = 0;
    position.pawn_key ^= piece_key(pawn, from) ^ piece_key(pawn, to);
    if (to == from + 2 * push) {
        position.ep_square = static_cast<std::uint8_t>(from + push);
        return zobrist[from + push];
    }
    if (to == undo.ep_square && !undo.taken) {
        const int victim_square = (to - push) & 63;
        const int victim = make_piece(c ^ 1, PAWN);
        if (position.board[victim_square] == victim) return take_piece(position, undo, victim, victim_square);
    }
    if (rank_of(to) == 0 || rank_of(to) == 7) {
        const int promoted = make_piece(c, promotion_type(move));
        promote(position, pawn, promoted, to);
        position.pawn_key ^= piece_key(pawn, to);
        return piece_key(pawn, to) ^ piece_key(promoted, to);
    }
    return 0;
}

std::uint64_t move_and_capture(Position& position, UndoRecord& undo, int mover, Move move) {
    const int from = move_from(move);
    const int to = move_to(move);
    std::uint64_t change = piece_key(mover, from) ^ piece_key(mover, to);
    if (const int captured = position.board[to]) {
        undo.captured = static_cast<std::uint8_t>(type_of(captured));
        change ^= take_piece(position, undo, captured, to);
    }
    move_piece(position, mover, from, to);
    if (type_of(mover) == PAWN) change ^= finish_pawn_move(position, undo, mover, move);
    if (type_of(mover) == KING) position.king_square[colour_of(mover)] = static_cast<std::uint8_t>(to);
    return change;
}

// Drops the rights whose king or rook square has been moved from or to; returns the change of the key.
std::uint64_t drop_castling_rights(Position& position) {
    const int old = position.castling;
    int rights = old;
    for (int i = 0; i < 4; ++i) {
        if (position.touched & position.castle_mask[i]) rights &= ~(1 << i);
    }
    position.castling = static_cast<std::uint8_t>(rights);
    return zobrist[old] ^ zobrist[rights];
}

Move last_move_made(const GameState& game) {
    return game.game_ply > 0 ? game.game_stack[game.game_ply - 1].move : NULL_MOVE;
}

std::uint64_t with_side(std::uint64_t key, int side) {
    return (key & ~std::uint64_t{1}) | static_cast<unsigned>(side);
}

}  // namespace

void make_move(Position& position, Move move) {
    GameState& game = *position.owner;
    UndoRecord& undo = game.game_stack[game.game_ply++];
    ++game.search_ply;
    const int from = move_from(move);
    int mover = position.board[from];
    const bool flagged_king = (move & MOVE_FLAGS) && type_of(mover) == KING;
    if (flagged_king) move = normalised_king_move(position, move);
    const bool castling = flagged_king && (move & MOVE_FLAGS);
    if (!castling && from == move_to(move)) mover = 0;

    game.last_move = move;
    undo.key = position.key;
    undo.pawn_key = position.pawn_key;
    undo.move = move;
    undo.captured = 0;
    undo.ep_square = position.ep_square;
    undo.moved = static_cast<std::uint8_t>(mover);
    undo.taken = 0;
    undo.touched = position.touched;
    undo.rule50 = position.rule50;
    undo.castling = position.castling;
    std::memcpy(undo.king_square, position.king_square, sizeof undo.king_square);

    std::uint64_t key = position.key;
    if (position.ep_square != NO_SQUARE) key ^= zobrist[position.ep_square];
    position.ep_square = NO_SQUARE;
    position.touched |= bit(from) | bit(move_to(move));
    if (position.castling) key ^= drop_castling_rights(position);
    if (position.rule50 < 255) ++position.rule50;

    if (castling) {
        key ^= castle(position, move);
    } else if (mover) {
        key ^= move_and_capture(position, undo, mover, move);
    }
    position.side ^= 1;
    position.key = with_side(key, position.side);
}

void unmake_move(Position& position) {
    GameState& game = *position.owner;
    --game.search_ply;
    const UndoRecord& undo = game.game_stack[--game.game_ply];
    game.last_move = last_move_made(game);
    position.side ^= 1;

    const int from = move_from(undo.move);
    const int to = move_to(undo.move);
    if (type_of(undo.moved) == KING && (undo.move & MOVE_FLAGS)) {
        uncastle(position, undo.move);
    } else if (undo.moved) {
        if (position.board[to] != undo.moved) promote(position, position.board[to], undo.moved, to);
        move_piece(position, undo.moved, to, from);
        if (undo.taken) put_piece(position, undo.taken, undo.taken_square);
    }

    position.ep_square = undo.ep_square;
    position.castling = undo.castling;
    position.touched = undo.touched;
    position.rule50 = undo.rule50;
    std::memcpy(position.king_square, undo.king_square, sizeof undo.king_square);
    position.key = undo.key;
    position.pawn_key = undo.pawn_key;
}

void make_null_move(Position& position) {
    GameState& game = *position.owner;
    const int ply = std::clamp<int>(game.search_ply++, 0, PLY_RECORDS - 1);
    MoveEntry* const list = game.list_start[ply];
    list[0] = {.move = NULL_MOVE, .score = 0, .piece = 0, .captured = 0};
    list[1].move = END_OF_LIST;
    game.current[ply] = list;
    if (ply + 1 < PLY_RECORDS) game.list_start[ply + 1] = list + 2;
    if (ply + 2 < PLY_RECORDS) game.list_start[ply + 2] = list + 3;

    UndoRecord& undo = game.game_stack[game.game_ply++];
    undo.move = NULL_MOVE;
    undo.captured = 0;
    undo.ep_square = position.ep_square;
    undo.rule50 = position.rule50;
    undo.key = position.key;

    game.last_move = NULL_MOVE;
    position.side ^= 1;
    std::uint64_t key = position.key;
    if (position.ep_square != NO_SQUARE) key ^= zobrist[position.ep_square];
    position.ep_square = NO_SQUARE;
    position.key = with_side(key, position.side);
}

void unmake_null_move(Position& position) {
    GameState& game = *position.owner;
    --game.search_ply;
    const UndoRecord& undo = game.game_stack[--game.game_ply];
    game.last_move = last_move_made(game);
    position.side ^= 1;
    position.ep_square = undo.ep_square;
    position.rule50 = undo.rule50;
    position.key = undo.key;
}

bool is_draw(Position& position, int plies_since_root) {
    if (position.rule50 <= 3) return false;
    if (position.rule50 >= 100) return has_legal_move(position);

    const GameState& game = *position.owner;
    bool seen_before_root = false;
    int rule50 = position.rule50;
    for (int j = game.game_ply - 2; j >= 0; j -= 2) {
        const UndoRecord& undo = game.game_stack[j];
        if (undo.move == NULL_MOVE) return false;
        // A clock that ran higher was reset since: nothing from before can come back.
        if (undo.rule50 > rule50) return false;
        rule50 = undo.rule50;
        if (undo.key != position.key) continue;
        if (j > game.game_ply - plies_since_root || seen_before_root) return true;
        seen_before_root = true;
    }
    return false;
}
