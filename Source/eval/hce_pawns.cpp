// Pawns: material, squares, structure and the pawn hash. Also sorts the pawns for hce_passed.cpp and finds the outposts
// for hce_pieces.cpp.
#include "eval/hce_terms.h"

namespace {

constexpr Bitboard OUTPOST_RANKS[2] = {0x00007E7E7E000000ULL, 0x0000007E7E7E0000ULL};  // files b-g, own ranks 4-6

// Exclusive-or on the pawn key while the colour's king stands on files a-d: it decides which squares are looked up.
constexpr std::uint64_t QUEEN_SIDE_KEY[2] = {0x6C43EB52AULL, 0x3E2571CB4ULL};

struct Weights {
    PackedScore material[2][64];  // [kings on the same wing][square], with the square's score
    PackedScore defended[64], connected[64];
};

Weights weights;

template <int C>
void gather_attacks(const Position& position, EvalScratch& s) {
    const Bitboard ahead = forward<C>(position.pieces[C][PAWN]);
    const Bitboard left = west_of(ahead);
    const Bitboard right = east_of(ahead);
    s.double_attacks[C] |= (left & right) | ((left | right) & s.attacks[C][0]);
    s.attacks[C][PAWN] = left | right;
    s.attacks[C][0] |= left | right;
    // The pawns that are about to enter the zone, not what they attack.
    s.king_attack_units[C ^ 1] = KING_ATTACK_WEIGHT[PAWN] * popcount(ahead & s.king_zone[C ^ 1]);
}

// Finds the passed pawns, candidates and outposts of C from the squares that enemy pawns can ever step on or attack.
template <int C>
void classify(const Position& position, EvalScratch& s) {
    const Bitboard enemy_front_span = front_span<C ^ 1>(position.pieces[C ^ 1][PAWN]);
    const Bitboard enemy_attack_span = beside(enemy_front_span);
    const Bitboard open = position.pieces[C][PAWN] & ~enemy_front_span;
    s.outposts[C] = OUTPOST_RANKS[C] & ~enemy_attack_span;
    s.passers |= open & ~enemy_attack_span;
    s.candidates |= open & enemy_attack_span;
}

// Isolated pawns have no own pawn on an adjacent file, weak (backward) ones have one, but none beside or behind
// themselves, and doubled ones have an own pawn behind on their file.
template <int C>
PackedScore weaknesses(Bitboard pawns) {
    const Bitboard ahead = forward_fill<C>(pawns);
    const Bitboard neighbour_files = beside(ahead | forward_fill<C ^ 1>(pawns));
    return popcount(pawns & ~neighbour_files) * plain(eval_param::pawn_isolated) +
           popcount(pawns & neighbour_files & ~beside(ahead)) * plain(eval_param::pawn_weak) +
           popcount(pawns & forward<C>(ahead)) * plain(eval_param::pawn_doubled);
}

// What depends on the pawns and the wings of the kings alone, and so can be kept in the pawn hash.
template <int C>
PackedScore structure(const Position& position, const EvalScratch& s) {
    const Bitboard pawns = position.pieces[C][PAWN];
    const Bitboard defended = pawns & s.attacks[C][PAWN];
    const Bitboard connected = pawns & beside(pawns);
    const PackedScore* material = weights.material[s.same_wing];
    PackedScore sum = weaknesses<C>(pawns);
    for (Bitboard b = pawns; b;) {
        const int square = pop_lsb(b);
        const int index = square ^ s.pst_mirror[C];
        sum += material[index];
        if (defended & bit(square)) sum += weights.defended[index];
        if (connected & bit(square)) sum += weights.connected[index];
    }
    return sum;
}

std::uint64_t pawn_hash_key(const Position& position) {
    std::uint64_t key = position.pawn_key;
    for (const int c : {WHITE, BLACK}) key ^= on_queen_side(position.king_square[c]) ? QUEEN_SIDE_KEY[c] : 0;
    return key;
}

const PawnHashEntry& hashed_structure(HceState& state, const Position& position, int ply) {
    const std::uint64_t key = pawn_hash_key(position);
    PawnHashEntry& entry = state.pawn_hash[key & (PAWN_HASH_SIZE - 1)];
    ++state.pawn_probes;
    if (entry.key == key && ply > 1) {
        ++state.pawn_hits;
    } else {
        entry.key = key;
        entry.score[WHITE] = structure<WHITE>(position, state.scratch);
        entry.score[BLACK] = structure<BLACK>(position, state.scratch);
    }
    return entry;
}

template <int C>
PackedScore blocked(const Position& position, const EvalScratch& s) {
    return popcount(forward<C>(position.pieces[C][PAWN]) & s.occupied) * plain(eval_param::pawn_blocked);
}

}  // namespace

void derive_pawn_weights() {
    using namespace eval_param;
    add_material(weights.material[true], mtl_pawn, PST_P1);
    add_material(weights.material[false], mtl_pawn, PST_P2);
    for (int square = 0; square < 64; ++square) {
        weights.connected[square] = plain(PST_CP + square);
        weights.defended[square] = plain(PST_DP + square);
    }
}

void eval_pawns(HceState& state, const Position& position, int ply) {
    EvalScratch& s = state.scratch;
    s.all_pawns = both_colours(position, PAWN);
    gather_attacks<WHITE>(position, s);
    gather_attacks<BLACK>(position, s);
    s.passers = s.candidates = 0;
    classify<WHITE>(position, s);
    classify<BLACK>(position, s);
    const PawnHashEntry& entry = hashed_structure(state, position, ply);
    s.group[GROUP_PAWNS][WHITE] = entry.score[WHITE] + blocked<WHITE>(position, s);
    s.group[GROUP_PAWNS][BLACK] = entry.score[BLACK] + blocked<BLACK>(position, s);
}
