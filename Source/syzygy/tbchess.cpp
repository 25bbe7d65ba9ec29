// Moves on the probe position, built on the engine's attack tables.
#include "syzygy/tbchess.h"

namespace {

constexpr Bitboard LAST_RANKS = 0xFF000000000000FFULL;

// Piece types and engine flags by promotion number.
constexpr int PROMOTION_TYPES[5] = {NO_PIECE_TYPE, QUEEN, ROOK, BISHOP, KNIGHT};
constexpr Move PROMOTION_FLAGS[5] = {0, MOVE_QUEEN, MOVE_ROOK, MOVE_BISHOP, MOVE_KNIGHT};

Bitboard occupied(const ProbePosition& position) {
    return position.colours[WHITE] | position.colours[BLACK];
}

Bitboard piece_attacks(int type, int square, Bitboard occ) {
    switch (type) {
        case KNIGHT: return knight_attacks[square];
        case BISHOP: return bishop_attacks(square, occ);
        case ROOK: return rook_attacks(square, occ);
        case QUEEN: return queen_attacks(square, occ);
        default: return king_attacks[square];
    }
}

bool attacked_by(const ProbePosition& position, int square, int colour) {
    const Bitboard attackers = position.colours[colour];
    const Bitboard occ = occupied(position);
    const Bitboard diagonal = attackers & (position.types[BISHOP] | position.types[QUEEN]);
    const Bitboard straight = attackers & (position.types[ROOK] | position.types[QUEEN]);
    return (pawn_attacks[colour ^ 1][square] & attackers & position.types[PAWN]) != 0 ||
           (knight_attacks[square] & attackers & position.types[KNIGHT]) != 0 ||
           (king_attacks[square] & attackers & position.types[KING]) != 0 ||
           (diagonal != 0 && (bishop_attacks(square, occ) & diagonal) != 0) ||
           (straight != 0 && (rook_attacks(square, occ) & straight) != 0);
}

bool king_attacked(const ProbePosition& position, int colour) {
    const Bitboard king = position.types[KING] & position.colours[colour];
    return king != 0 && attacked_by(position, lsb(king), colour ^ 1);
}

void add_move(ProbeMoveList& list, int from, int to, int promotion = 0) {
    list.moves[list.count++] = static_cast<ProbeMove>(promotion << 12 | from << 6 | to);
}

void add_pawn_moves(ProbeMoveList& list, int from, Bitboard targets) {
    while (targets != 0) {
        const int to = pop_lsb(targets);
        if ((bit(to) & LAST_RANKS) == 0) {
            add_move(list, from, to);
        } else {
            for (int promotion = 1; promotion <= 4; ++promotion) add_move(list, from, to, promotion);
        }
    }
}

void gen_piece_moves(const ProbePosition& position, Bitboard targets, ProbeMoveList& list) {
    const Bitboard occ = occupied(position);
    for (int type = KING; type >= KNIGHT; --type) {
        Bitboard pieces = position.types[type] & position.colours[position.side];
        while (pieces != 0) {
            const int from = pop_lsb(pieces);
            Bitboard attacks = piece_attacks(type, from, occ) & targets;
            while (attacks != 0) add_move(list, from, pop_lsb(attacks));
        }
    }
}

Bitboard pawn_captures(const ProbePosition& position, int from) {
    const Bitboard en_passant = position.ep_square != 0 ? bit(position.ep_square) : 0;
    return pawn_attacks[position.side][from] & (position.colours[position.side ^ 1] | en_passant);
}

Bitboard pawn_advances(const ProbePosition& position, int from) {
    const Bitboard free = ~occupied(position);
    const int push = pawn_push(position.side);
    const Bitboard one = bit(from + push) & free;
    if (one == 0 || relative_rank(position.side, from) != 1) return one;
    return one | (bit(from + 2 * push) & free);
}

}  // namespace

ProbePosition make_probe_position(const Position& position) {
    ProbePosition probe{};
    for (int colour = WHITE; colour <= BLACK; ++colour) {
        probe.colours[colour] = position.pieces[colour][0];
        for (int type = PAWN; type <= KING; ++type) probe.types[type] |= position.pieces[colour][type];
    }
    probe.ep_square = position.ep_square == NO_SQUARE ? 0 : position.ep_square;
    probe.side = position.side;
    return probe;
}

void gen_probe_captures(const ProbePosition& position, ProbeMoveList& list) {
    gen_piece_moves(position, position.colours[position.side ^ 1], list);
    Bitboard pawns = position.types[PAWN] & position.colours[position.side] & ~LAST_RANKS;
    while (pawns != 0) {
        const int from = pop_lsb(pawns);
        add_pawn_moves(list, from, pawn_captures(position, from));
    }
}

void gen_probe_pawn_advances(const ProbePosition& position, ProbeMoveList& list) {
    Bitboard pawns = position.types[PAWN] & position.colours[position.side] & ~LAST_RANKS;
    while (pawns != 0) {
        const int from = pop_lsb(pawns);
        add_pawn_moves(list, from, pawn_advances(position, from));
    }
}

void gen_probe_piece_quiets(const ProbePosition& position, ProbeMoveList& list) {
    gen_piece_moves(position, ~occupied(position), list);
}

void gen_probe_moves(const ProbePosition& position, ProbeMoveList& list) {
    gen_piece_moves(position, ~position.colours[position.side], list);
    Bitboard pawns = position.types[PAWN] & position.colours[position.side] & ~LAST_RANKS;
    while (pawns != 0) {
        const int from = pop_lsb(pawns);
        add_pawn_moves(list, from, pawn_captures(position, from) | pawn_advances(position, from));
    }
}

bool is_probe_pawn_move(const ProbePosition& position, ProbeMove move) {
    return (position.types[PAWN] & bit(probe_move_from(move))) != 0;
}

bool is_probe_en_passant(const ProbePosition& position, ProbeMove move) {
    return position.ep_square != 0 && probe_move_to(move) == position.ep_square &&
           file_of(probe_move_from(move)) != file_of(probe_move_to(move)) && is_probe_pawn_move(position, move);
}

bool is_probe_capture(const ProbePosition& position, ProbeMove move) {
    return (position.colours[position.side ^ 1] & bit(probe_move_to(move))) != 0 || is_probe_en_passant(position, move);
}

bool play_probe_move(const ProbePosition& position, ProbeMove move, ProbePosition& child) {
    const int us = position.side;
    const int from = probe_move_from(move);
    const int to = probe_move_to(move);
    const Bitboard captured = is_probe_en_passant(position, move) ? bit(to - pawn_push(us)) : bit(to);
    const bool promotes = probe_move_promotion(move) != 0;

    child.colours[us] = (position.colours[us] & ~bit(from)) | bit(to);
    child.colours[us ^ 1] = position.colours[us ^ 1] & ~captured;
    child.types[0] = 0;
    for (int type = PAWN; type <= KING; ++type) {
        const bool moved = (position.types[type] & bit(from)) != 0;
        child.types[type] = position.types[type] & ~captured & ~bit(from);
        if (moved && !promotes) child.types[type] |= bit(to);
    }
    if (promotes) child.types[PROMOTION_TYPES[probe_move_promotion(move)]] |= bit(to);

    const bool double_push = is_probe_pawn_move(position, move) && (to - from == 16 || from - to == 16);
    child.ep_square = static_cast<std::uint8_t>(double_push ? (from + to) / 2 : 0);
    child.side = static_cast<std::uint8_t>(us ^ 1);
    return !king_attacked(child, us);
}

bool in_check(const ProbePosition& position) {
    return king_attacked(position, position.side);
}

bool is_checkmate(const ProbePosition& position) {
    if (!in_check(position)) return false;
    ProbeMoveList list;
    gen_probe_moves(position, list);
    ProbePosition child;
    for (const ProbeMove move : list) {
        if (play_probe_move(position, move, child)) return false;
    }
    return true;
}

Move to_engine_move(ProbeMove move) {
    return make_move_word(probe_move_from(move), probe_move_to(move), PROMOTION_FLAGS[probe_move_promotion(move)]);
}
