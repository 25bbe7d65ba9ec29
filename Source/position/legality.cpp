// The legality test of a pseudo-legal move and its classification. Both follow one rule: put the moved piece on
// its destination in the occupancy, leave captured pieces out of the attackers, and look who attacks the king.
// What cannot have changed is not looked at.
#include "position/attack_scan.h"
#include "position/castling.h"
#include "position/movegen.h"

#include <algorithm>

namespace {

bool castling_is_legal(const Position& position, int c, Move move) {
    const auto [king, king_to, rook_from, rook_to] =
        castling_squares(position, castling_index(c, move), move_from(move));
    if (rook_from == NO_SQUARE) return false;
    const int step = king_to > king ? 1 : -1;
    for (int s = king;; s += step) {
        if (is_attacked(position, s, c ^ 1)) return false;
        if (s == king_to) break;
    }
    // In Chess960 the rook may have shielded the king's destination along the back rank.
    const Bitboard occ = (occupancy(position) & ~bit(king) & ~bit(rook_from)) | bit(king_to) | bit(rook_to);
    return !attacked_by(position, king_to, c ^ 1, occ, occ);
}

// The full test: nothing attacks the king after a move other than castling.
bool king_is_safe_after(const Position& position, int c, Move move) {
    const int from = move_from(move);
    const int to = move_to(move);
    const int type = type_of(position.board[from]);
    Bitboard occ = (occupancy(position) & ~bit(from)) | bit(to);
    if (type == PAWN && to == position.ep_square) occ &= ~bit((to - pawn_push(c)) & 63);
    const int king = type == KING ? to : position.king_square[c];
    return !attacked_by(position, king, c ^ 1, occ, occ & ~bit(to));
}

// True if, with no check on the board, taking the piece away from `from` opens a line of an enemy slider to the king.
bool uncovers_king(const Position& position, int c, int king, int from, int to) {
    const Bitboard occ = occupancy(position);
    if (between[from][king] & occ) return false;
    const Bitboard* enemy = position.pieces[c ^ 1];
    Bitboard sliders = diagonal_rays[king] & bit(from) ? diagonal_rays[king] & (enemy[BISHOP] | enemy[QUEEN])
                                                       : orthogonal_rays[king] & (enemy[ROOK] | enemy[QUEEN]);
    sliders &= ~bit(to);
    while (sliders) {
        const Bitboard line = between[pop_lsb(sliders)][king];
        if ((line & occ) == bit(from) && !(line & bit(to))) return true;
    }
    return false;
}

// True if a piece of this type and colour on `square` attacks s.
bool piece_attacks(int type, int c, int square, int s, Bitboard occ) {
    switch (type) {
        case PAWN: return pawn_attacks[c][square] & bit(s);
        case KNIGHT: return knight_attacks[square] & bit(s);
        case KING: return king_attacks[square] & bit(s);
        default: break;
    }
    const Bitboard rays = (type != ROOK ? diagonal_rays[square] : 0) | (type != BISHOP ? orthogonal_rays[square] : 0);
    return (rays & bit(s)) && !(between[square][s] & occ);
}

bool gives_check(const Position& position, int c, Move move, int type) {
    const int from = move_from(move);
    const int to = move_to(move);
    const int king = position.king_square[c ^ 1];
    if (from == to || king == NO_SQUARE) return false;
    const Bitboard occ = (occupancy(position) & ~bit(from)) | bit(to);
    const int arriving = type == PAWN && (move & MOVE_FLAGS) ? promotion_type(move) : type;
    if (piece_attacks(arriving, c, to, king, occ)) return true;
    if (!(queen_rays[king] & bit(from))) return false;
    return any_clear_line(sliders_towards(position, king, c) & occ, king, occ);
}

}  // namespace

bool is_legal(const Position& position, int c, Move move) {
    if (move == NULL_MOVE) return false;
    return is_castling(position, move) ? castling_is_legal(position, c, move) : king_is_safe_after(position, c, move);
}

bool is_legal_near_king(const Position& position, int c, Move move) {
    const int from = move_from(move);
    const int to = move_to(move);
    const int king = position.king_square[c];
    if (!(queen_rays[king] & bit(from)) || to == position.ep_square || move == NULL_MOVE) {
        return is_legal(position, c, move);
    }
    return !uncovers_king(position, c, king, from, to);
}

bool has_legal_move(Position& position) {
    const auto legal = [&](const MoveEntry& entry) { return is_legal(position, position.side, entry.move); };
    return std::ranges::any_of(entries_of(gen_all(position)), legal);
}

int move_flags(const Position& position, int c, const MoveEntry& entry) {
    const int to = move_to(entry.move);
    const int type = type_of(entry.piece);
    int flags = 0;
    if (entry.captured || (type == PAWN && to == position.ep_square)) flags |= MOVE_IS_CAPTURE;
    if (gives_check(position, c, entry.move, type)) flags |= MOVE_IS_CHECK;
    if (type == PAWN) {
        const int rank = relative_rank(c, to);
        if (rank == 7) flags |= MOVE_IS_PROMOTION;
        if (rank == 6) flags |= MOVE_TO_SEVENTH;
        if (rank == 5 && !position.board[to]) flags |= MOVE_TO_SIXTH;
    }
    return flags;
}
