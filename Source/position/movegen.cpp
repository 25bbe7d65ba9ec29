// Pseudo-legal generators. The order of the entries inside each group is part of the search's behaviour: the
// move picker keeps the first of equal scores.
#include "position/movegen.h"

#include "position/castling.h"

#include <algorithm>

namespace {

constexpr Bitboard RANKS_2_TO_7 = 0x00FFFFFFFFFFFF00ULL;
constexpr Bitboard RANKS_3_TO_6 = 0x0000FFFFFFFF0000ULL;
constexpr Bitboard RANK_2 = 0x000000000000FF00ULL;
constexpr Bitboard RANK_3 = RANK_2 << 8;
constexpr Bitboard RANK_6 = RANK_2 << 32;
constexpr Bitboard RANK_7 = RANK_2 << 40;

constexpr int EVERY_FLAG[4] = {MOVE_QUEEN, MOVE_KNIGHT, MOVE_BISHOP, MOVE_ROOK};

// One step forward as the colour sees it.
constexpr Bitboard forward(int c, Bitboard b) {
    return c == WHITE ? b << 8 : b >> 8;
}

MoveEntry* append(MoveEntry* list, int from, int to, int piece, int captured, int flags = 0) {
    list->move = make_move_word(from, to, flags);
    list->piece = static_cast<std::uint8_t>(piece);
    list->captured = static_cast<std::uint8_t>(captured);
    return list + 1;
}

MoveEntry* append_all(const Position& position, int from, Bitboard targets, int piece, MoveEntry* list) {
    while (targets) {
        const int to = pop_lsb(targets);
        list = append(list, from, to, piece, position.board[to]);
    }
    return list;
}

template <int TYPE>
Bitboard attacks_from(int square, Bitboard occ) {
    if constexpr (TYPE == KNIGHT) return knight_attacks[square];
    if constexpr (TYPE == BISHOP) return bishop_attacks(square, occ);
    if constexpr (TYPE == ROOK) return rook_attacks(square, occ);
    return queen_attacks(square, occ);
}

template <int TYPE>
MoveEntry* gen_piece_moves(const Position& position, int c, Bitboard targets, Bitboard occ, MoveEntry* list) {
    Bitboard movers = position.pieces[c][TYPE];
    while (movers) {
        const int from = pop_lsb(movers);
        list = append_all(position, from, attacks_from<TYPE>(from, occ) & targets, make_piece(c, TYPE), list);
    }
    return list;
}

MoveEntry* gen_all_pieces(const Position& position, int c, Bitboard targets, Bitboard occ, MoveEntry* list) {
    list = gen_piece_moves<KNIGHT>(position, c, targets, occ, list);
    list = gen_piece_moves<BISHOP>(position, c, targets, occ, list);
    list = gen_piece_moves<ROOK>(position, c, targets, occ, list);
    return gen_piece_moves<QUEEN>(position, c, targets, occ, list);
}

MoveEntry* gen_king_steps(const Position& position, int c, Bitboard targets, MoveEntry* list) {
    const int king = position.king_square[c];
    return append_all(position, king, king_attacks[king] & targets, make_piece(c, KING), list);
}

// Pawn moves that all share one step from origin to destination.
MoveEntry* append_pawn_moves(const Position& position, int c, Bitboard targets, int step, MoveEntry* list) {
    while (targets) {
        const int to = pop_lsb(targets);
        list = append(list, to - step, to, make_piece(c, PAWN), position.board[to]);
    }
    return list;
}

MoveEntry* gen_pawn_captures(const Position& position, int c, Bitboard targets, MoveEntry* list) {
    const int push = pawn_push(c);
    const Bitboard ahead = forward(c, position.pieces[c][PAWN]);
    list = append_pawn_moves(position, c, (ahead & ~FILE_A) >> 1 & targets, push - 1, list);
    return append_pawn_moves(position, c, (ahead & ~FILE_H) << 1 & targets, push + 1, list);
}

MoveEntry* append_promotions(const Position& position, int c, int from, int to, bool all_kinds, MoveEntry* list) {
    const int kinds = all_kinds ? 4 : 1;
    for (int i = 0; i < kinds; ++i) {
        list = append(list, from, to, make_piece(c, PAWN), position.board[to], EVERY_FLAG[i]);
    }
    return list;
}

MoveEntry* gen_castling(const Position& position, int c, Bitboard occ, MoveEntry* list) {
    constexpr Move FLAG[2] = {MOVE_KING_SIDE, MOVE_QUEEN_SIDE};
    for (int index = c * 2; index <= c * 2 + 1; ++index) {
        if (!(position.castling & 1 << index) || (position.castle_path[index] & occ)) continue;
        const CastlingSquares squares = castling_squares(position, index, position.king_square[c]);
        list = append(list, squares.king_from, squares.king_to, make_piece(c, KING), 0, FLAG[index & 1]);
    }
    return list;
}

}  // namespace

MoveEntry* gen_captures(const Position& position, int c, MoveEntry* list, int target) {
    const Bitboard occ = occupancy(position);
    const Bitboard enemy = position.pieces[c ^ 1][0];
    const Bitboard targets = target == NO_SQUARE ? enemy : bit(target);
    const Bitboard ep = position.ep_square == NO_SQUARE ? 0 : bit(position.ep_square);
    list = gen_pawn_captures(position, c, (targets | ep) & RANKS_2_TO_7, list);
    list = gen_all_pieces(position, c, targets, occ, list);
    return gen_king_steps(position, c, enemy, list);
}

MoveEntry* gen_promotions(const Position& position, int c, bool all_kinds, MoveEntry* list) {
    Bitboard pawns = position.pieces[c][PAWN] & (c == WHITE ? RANK_7 : RANK_2);
    if (!pawns) return list;
    const Bitboard occ = occupancy(position);
    const Bitboard enemy = position.pieces[c ^ 1][0];
    do {
        const int from = pop_lsb(pawns);
        const int to = from + pawn_push(c);
        if (!(occ & bit(to))) list = append_promotions(position, c, from, to, all_kinds, list);
        Bitboard captures = pawn_attacks[c][from] & enemy;
        while (captures) list = append_promotions(position, c, from, pop_lsb(captures), all_kinds, list);
    } while (pawns);
    return list;
}

MoveEntry* gen_pushes_to_seventh(const Position& position, int c, MoveEntry* list) {
    const Bitboard pawns = position.pieces[c][PAWN] & (c == WHITE ? RANK_6 : RANK_3);
    return append_pawn_moves(position, c, forward(c, pawns) & ~occupancy(position), pawn_push(c), list);
}

MoveEntry* gen_quiets(const Position& position, int c, MoveEntry* list, int checker) {
    const Bitboard occ = occupancy(position);
    const Bitboard targets = checker == NO_SQUARE ? ~occ : between[checker][position.king_square[c]] & ~occ;
    list = gen_pawn_pushes(position, c, targets & RANKS_3_TO_6, occ, list);
    list = gen_all_pieces(position, c, targets, occ, list);
    list = gen_king_steps(position, c, ~occ, list);
    return gen_castling(position, c, occ, list);
}

MoveEntry* gen_pawn_pushes(const Position& position, int c, Bitboard targets, Bitboard occ, MoveEntry* list) {
    const Bitboard pawns = position.pieces[c][PAWN];
    const Bitboard home = c == WHITE ? RANK_2 : RANK_7;
    const Bitboard passed_over = forward(c, pawns & home) & ~occ;
    list = append_pawn_moves(position, c, forward(c, pawns) & targets, pawn_push(c), list);
    return append_pawn_moves(position, c, forward(c, passed_over) & targets, 2 * pawn_push(c), list);
}

MoveEntry* gen_knight_moves(const Position& position, int c, Bitboard targets, Bitboard occ, MoveEntry* list) {
    return gen_piece_moves<KNIGHT>(position, c, targets, occ, list);
}

MoveEntry* gen_bishop_moves(const Position& position, int c, Bitboard targets, Bitboard occ, MoveEntry* list) {
    return gen_piece_moves<BISHOP>(position, c, targets, occ, list);
}

MoveEntry* gen_rook_moves(const Position& position, int c, Bitboard targets, Bitboard occ, MoveEntry* list) {
    return gen_piece_moves<ROOK>(position, c, targets, occ, list);
}

MoveEntry* gen_queen_moves(const Position& position, int c, Bitboard targets, Bitboard occ, MoveEntry* list) {
    return gen_piece_moves<QUEEN>(position, c, targets, occ, list);
}

MoveEntry* gen_all(Position& position) {
    GameState& game = *position.owner;
    const int c = position.side;
    // The game loops count search_ply up with every move made; past the last record its list is reused.
    const int ply = std::clamp<int>(game.search_ply, 0, PLY_RECORDS - 1);
    MoveEntry* const start = game.list_start[ply];
    MoveEntry* end = gen_captures(position, c, start, NO_SQUARE);
    end = gen_promotions(position, c, true, end);
    end = gen_pushes_to_seventh(position, c, end);
    end = gen_quiets(position, c, end, NO_SQUARE);
    end->move = END_OF_LIST;
    if (ply + 1 < PLY_RECORDS) game.list_start[ply + 1] = end + 1;
    if (ply + 2 < PLY_RECORDS) game.list_start[ply + 2] = end + 2;
    return start;
}
