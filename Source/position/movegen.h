// Pseudo-legal move generation by kind, the legality test and the classification of moves.
// Every generator appends at `list` and returns the new end; none writes an end marker except gen_all.
// Bitboards are walked from the lowest square up, which fixes the order of the entries.
#pragma once

#include "position/position.h"

#include <span>

// Captures with en passant, without promotions. With target = NO_SQUARE every enemy piece may be taken;
// otherwise only the piece there (check evasion), except that the king may always capture.
MoveEntry* gen_captures(const Position& position, int c, MoveEntry* list, int target);

// Promotions by push and capture; queen only, or all four kinds (queen, knight, bishop, rook).
MoveEntry* gen_promotions(const Position& position, int c, bool all_kinds, MoveEntry* list);

// Quiet one-step pushes onto the seventh rank as c sees it.
MoveEntry* gen_pushes_to_seventh(const Position& position, int c, MoveEntry* list);

// Other quiet moves, castling included. With checker != NO_SQUARE only moves between the checker and the
// king (evasions), except that king steps are never restricted.
MoveEntry* gen_quiets(const Position& position, int c, MoveEntry* list, int checker);

// Moves of one piece kind to the target squares.
MoveEntry* gen_pawn_pushes(const Position& position, int c, Bitboard targets, Bitboard occ, MoveEntry* list);
MoveEntry* gen_knight_moves(const Position& position, int c, Bitboard targets, Bitboard occ, MoveEntry* list);
MoveEntry* gen_bishop_moves(const Position& position, int c, Bitboard targets, Bitboard occ, MoveEntry* list);
MoveEntry* gen_rook_moves(const Position& position, int c, Bitboard targets, Bitboard occ, MoveEntry* list);
MoveEntry* gen_queen_moves(const Position& position, int c, Bitboard targets, Bitboard occ, MoveEntry* list);

// All pseudo-legal moves of the side to move into the owner's list of the current search_ply, ended by
// END_OF_LIST; sets list_start of the next plies. Returns the list.
MoveEntry* gen_all(Position& position);

// The entries of a list up to its end marker.
inline std::span<MoveEntry> entries_of(MoveEntry* list) {
    std::size_t count = 0;
    while (list[count].move != END_OF_LIST) ++count;
    return {list, count};
}

// True if the pseudo-legal move of colour c leaves c's king unattacked (castling: no square that the king
// stands on or crosses is attacked, nor its destination once king and rook have moved). False for the null move.
bool is_legal(const Position& position, int c, Move move);

// The same, without a check on the board, for a move by or past a piece on one of its king's lines.
bool is_legal_near_king(const Position& position, int c, Move move);

// The same answer, given whether c's king is attacked now: without a check most moves need no scan.
inline bool is_legal(const Position& position, int c, Move move, bool in_check) {
    if (in_check) return is_legal(position, c, move);
    const int king = position.king_square[c];
    const int from = move_from(move);
    // Only the king itself, a piece that may be pinned and an en-passant capture can leave the king attacked.
    const bool free_mover = !(queen_rays[king] & bit(from)) && from != king;
    if (free_mover && move_to(move) != position.ep_square && move != NULL_MOVE) return true;
    return is_legal_near_king(position, c, move);
}

// True when the side to move has a legal move. Overwrites the move list of the current search_ply.
bool has_legal_move(Position& position);

// Bits of move_flags.
enum : int {
    MOVE_IS_CAPTURE = 1,
    MOVE_IS_CHECK = 2,
    MOVE_IS_PROMOTION = 4,
    MOVE_TO_SEVENTH = 8,  // pawn to its seventh rank
    MOVE_TO_SIXTH = 16,   // quiet pawn push to its sixth rank
};

// Classifies a pseudo-legal move of colour c. A check by the castling rook is not seen.
int move_flags(const Position& position, int c, const MoveEntry& entry);
