// The hand-crafted evaluation, one function per group of terms. Each function gathers what its pieces attack,
// adds its group's packed score, and leaves the attack sets for the dearer pieces and the terms that follow.
#include "eval/hce.h"

#include "eval/eval_params.h"
#include "position/see.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr Bitboard LIGHT_SQUARES = 0x55AA55AA55AA55AAULL;
constexpr Bitboard DARK_SQUARES = ~LIGHT_SQUARES;
constexpr Bitboard CENTRE_BOX = 0x00003C3C3C3C0000ULL;                                 // c3-f6
constexpr Bitboard OUTPOST_RANKS[2] = {0x00007E7E7E000000ULL, 0x0000007E7E7E0000ULL};  // files b-g, ranks 4-6
constexpr Bitboard ENEMY_HALF[2] = {0xFFFFFFFF00000000ULL, 0x00000000FFFFFFFFULL};
constexpr Bitboard FROM_FOURTH_RANK[2] = {0xFFFFFFFFFF000000ULL, 0x000000FFFFFFFFFFULL};
constexpr Bitboard DOUBLE_PUSH_RANK[2] = {0x00000000FF000000ULL, 0x000000FF00000000ULL};
constexpr int QUEEN_SIDE_FILES = 4;  // files a-d have this bit of the square clear

// Weight of a piece's attack on the enemy king zone.
constexpr int KING_ATTACK_WEIGHT[7] = {0, 2, 4, 3, 4, 5, 0};

// Factors on the weights. Mobility is indexed by safe squares, the pawn tables by relative rank.
constexpr float KNIGHT_MOBILITY[9] = {-0.53f, -0.16f, 0, 0.12f, 0.22f, 0.31f, 0.39f, 0.47f, 0.47f};
constexpr float SLIDER_MOBILITY[15] = {-0.47f, -0.14f, 0,     0.11f, 0.20f, 0.27f, 0.35f, 0.41f,
                                       0.47f,  0.53f,  0.53f, 0.53f, 0.53f, 0.53f, 0.53f};
constexpr float QUEEN_MOBILITY[30] = {-0.47f, -0.24f, -0.14f, -0.06f, 0,     0.06f, 0.11f, 0.15f, 0.20f, 0.24f,
                                      0.27f,  0.31f,  0.35f,  0.38f,  0.41f, 0.41f, 0.41f, 0.41f, 0.41f, 0.41f,
                                      0.41f,  0.41f,  0.41f,  0.41f,  0.41f, 0.41f, 0.41f, 0.41f, 0.41f, 0.41f};
constexpr float PASSER_BASE[8] = {0, 0.09f, 0.09f, 0.24f, 0.40f, 0.64f, 1.0f, 0};
constexpr float PASSER_KING_DISTANCE[8] = {0, 0.2f, 0.2f, 0.4f, 0.6f, 0.8f, 1.0f, 0};
constexpr float PASSER_CONNECTED[8] = {0, 0, 0, 0.4f, 0.8f, 1.0f, 0, 0};
constexpr float CANDIDATE_RANK[8] = {0, 0, 0, 0.4f, 0.7f, 1.0f, 0, 0};
constexpr float CANDIDATE_KING_DISTANCE[6] = {0.5f, 0.6f, 0.7f, 0.8f, 0.9f, 1.0f};
constexpr float KING_TO_PAWNS[8] = {0, 0.2f, 0.4f, 0.6f, 0.8f, 1.0f, 1.0f, 1.0f};
constexpr float OUTPOST_DEFENDED = 1.0f, OUTPOST_HELD = 0.67f, OUTPOST_REACHED = 0.33f;
constexpr int FULL_SHIELD = 9;
constexpr float SHIELD_UNIT = 0.111f;
constexpr double KING_DANGER_UNIT = 0.0015;

constexpr int MAX_KING_DISTANCE = 6;     // distances of kings to passed pawns are cut here
constexpr int KING_DISTANCE_OFFSET = 2;  // and counted from here

// What the terms add, multiplied out from the registry: material is part of the square tables, and products
// with a float factor have each half truncated toward zero.
struct Weights {
    PackedScore pawn[2][64];  // [kings on the same wing][square]
    PackedScore defended_pawn[64], connected_pawn[64];
    PackedScore knight[64], bishop[64], rook[64], queen[64], king[64];
    PackedScore knight_mobility[9], bishop_mobility[15], rook_mobility[15], queen_mobility[30];
    PackedScore knight_outpost[4], bishop_outpost[4];                  // by OutpostKind
    PackedScore passer[3][8];                                          // [PasserKind][relative rank]
    PackedScore own_king_to_passer[8][7], enemy_king_to_passer[8][7];  // [relative rank][distance]
    PackedScore passer_connected[8];
    PackedScore candidate[6][8];  // [distance of the enemy king][relative rank]
    PackedScore king_to_pawns[8];
    PackedScore shield[FULL_SHIELD + 1];  // by pawns in the shield
    PackedScore pawn_isolated, pawn_weak, pawn_blocked, pawn_doubled;
    PackedScore bishop_pair, bishop_infiltration, bishop_rampawns;
    PackedScore rook_infiltration, rook_openfile, rook_7th;
    PackedScore enemy_checks, king_trapped;
    PackedScore hung_pawn, attacked_pawn, hung_minor, attacked_minor, hung_major, ppush_threat, pinned_piece;
    PackedScore stm_bonus;
};

enum OutpostKind : int { DEFENDED, HELD, REACHED, NO_OUTPOST };
enum PasserKind : int { PASSER_HELD, PASSER_MOBILE, PASSER_FREE };

Weights weights;

PackedScore plain(eval_param::Handle param) {
    return static_cast<PackedScore>(param->packed);
}

PackedScore product(float factor, eval_param::Handle param) {
    return pack(static_cast<int>(factor * param->mg), static_cast<int>(factor * param->eg));
}

PackedScore product(double factor, eval_param::Handle param) {
    return pack(static_cast<int>(factor * static_cast<double>(param->mg)),
                static_cast<int>(factor * static_cast<double>(param->eg)));
}

template <std::size_t N>
void multiply_out(PackedScore (&products)[N], const float (&factors)[N], eval_param::Handle param) {
    for (std::size_t i = 0; i < N; ++i) products[i] = product(factors[i], param);
}

// ---- Weights multiplied out ----

void derive_squares(Weights& w) {
    using namespace eval_param;
    for (int square = 0; square < 64; ++square) {
        w.pawn[1][square] = plain(mtl_pawn) + plain(PST_P1[square]);
        w.pawn[0][square] = plain(mtl_pawn) + plain(PST_P2[square]);
        w.connected_pawn[square] = plain(PST_CP[square]);
        w.defended_pawn[square] = plain(PST_DP[square]);
        w.knight[square] = plain(mtl_knight) + plain(PST_N[square]);
        w.bishop[square] = plain(mtl_bishop) + plain(PST_B[square]);
        w.rook[square] = plain(mtl_rook) + plain(PST_R[square]);
        w.queen[square] = plain(mtl_queen) + plain(PST_Q[square]);
        w.king[square] = plain(PST_K[square]);
    }
}

void derive_pieces(Weights& w) {
    using namespace eval_param;
    multiply_out(w.knight_mobility, KNIGHT_MOBILITY, knight_mobility);
    multiply_out(w.bishop_mobility, SLIDER_MOBILITY, bishop_mobility);
    multiply_out(w.rook_mobility, SLIDER_MOBILITY, rook_mobility);
    multiply_out(w.queen_mobility, QUEEN_MOBILITY, queen_mobility);
    constexpr float outposts[4] = {OUTPOST_DEFENDED, OUTPOST_HELD, OUTPOST_REACHED, 0};
    multiply_out(w.knight_outpost, outposts, knight_outpost);
    multiply_out(w.bishop_outpost, outposts, bishop_outpost);
}

void derive_passers(Weights& w) {
    using namespace eval_param;
    multiply_out(w.passer[PASSER_HELD], PASSER_BASE, ppawn_base);
    multiply_out(w.passer[PASSER_MOBILE], PASSER_BASE, ppawn_mobile);
    multiply_out(w.passer[PASSER_FREE], PASSER_BASE, ppawn_free);
    multiply_out(w.passer_connected, PASSER_CONNECTED, ppawn_connected);
    for (int rank = 0; rank < 8; ++rank) {
        const float unit = PASSER_KING_DISTANCE[rank] * 0.25f;
        for (int distance = 0; distance <= MAX_KING_DISTANCE; ++distance) {
            const int steps = distance - KING_DISTANCE_OFFSET;
            // A king that stands in the way of its own pawn is no nearer than one beside the way.
            w.own_king_to_passer[rank][distance] =
                product(static_cast<float>(std::max(steps, -1)) * unit, ppawn_fkprox);
            w.enemy_king_to_passer[rank][distance] = product(static_cast<float>(steps) * unit, ppawn_ekprox);
        }
        for (int distance = 0; distance < 6; ++distance) {
            w.candidate[distance][rank] =
                product(CANDIDATE_KING_DISTANCE[distance] * CANDIDATE_RANK[rank], ppawn_candidate);
        }
    }
}

void derive_kings(Weights& w) {
    using namespace eval_param;
    multiply_out(w.king_to_pawns, KING_TO_PAWNS, king_pawn_dist);
    for (int pawns = 0; pawns <= FULL_SHIELD; ++pawns) {
        w.shield[pawns] = product(static_cast<float>(pawns - FULL_SHIELD) * SHIELD_UNIT, pawn_shield);
    }
}

void copy_plain(Weights& w) {
    using namespace eval_param;
    w.pawn_isolated = plain(pawn_isolated);
    w.pawn_weak = plain(pawn_weak);
    w.pawn_blocked = plain(pawn_blocked);
    w.pawn_doubled = plain(pawn_doubled);
    w.bishop_pair = plain(bishop_pair);
    w.bishop_infiltration = plain(bishop_infiltration);
    w.bishop_rampawns = plain(bishop_rampawns);
    w.rook_infiltration = plain(rook_infiltration);
    w.rook_openfile = plain(rook_openfile);
    w.rook_7th = plain(rook_7th);
    w.enemy_checks = plain(enemy_checks);
    w.king_trapped = plain(king_trapped);
    w.hung_pawn = plain(hung_pawn);
    w.attacked_pawn = plain(attacked_pawn);
    w.hung_minor = plain(hung_minor);
    w.attacked_minor = plain(attacked_minor);
    w.hung_major = plain(hung_major);
    w.ppush_threat = plain(ppush_threat);
    w.pinned_piece = plain(pinned_piece);
    w.stm_bonus = plain(stm_bonus);
}

// ---- Directions seen by a colour ----

constexpr Bitboard north_or_south(int c, Bitboard b, int ranks) {
    return c == WHITE ? b << 8 * ranks : b >> 8 * ranks;
}

template <int C>
constexpr Bitboard forward(Bitboard b) {
    return north_or_south(C, b, 1);
}

// The squares and everything in front of them.
template <int C>
constexpr Bitboard forward_fill(Bitboard b) {
    b |= north_or_south(C, b, 1);
    b |= north_or_south(C, b, 2);
    return b | north_or_south(C, b, 4);
}

constexpr Bitboard west_of(Bitboard b) {
    return (b & ~FILE_A) >> 1;
}
constexpr Bitboard east_of(Bitboard b) {
    return (b & ~FILE_H) << 1;
}
constexpr Bitboard beside(Bitboard b) {
    return west_of(b) | east_of(b);
}

// One king step in every direction, the squares themselves included.
constexpr Bitboard grown(Bitboard b) {
    b |= beside(b);
    return b | b << 8 | b >> 8;
}

template <int C>
Bitboard file_ahead(int square) {
    return C == WHITE ? ray_north[square] : ray_south[square];
}

// ---- Set-up ----

// Centre of the king zone for a king on a file or rank.
constexpr int off_the_edge(int index) {
    return std::clamp(index, 1, 6);
}

float phase_of(const Position& position) {
    const auto both = [&](int type) { return count_of(position, WHITE, type) + count_of(position, BLACK, type); };
    const int material = 3 * (both(KNIGHT) + both(BISHOP)) + 5 * both(ROOK) + both(PAWN) + 10 * both(QUEEN);
    return std::min(1.0f, 0.017f * static_cast<float>(material));
}

void set_up_king(const Position& position, EvalScratch& s, int c) {
    const int king = position.king_square[c];
    const int centre = make_square(off_the_edge(file_of(king)), off_the_edge(rank_of(king)));
    s.king_zone[c] = king_attacks[centre] | bit(centre);
    s.attacks[c][0] = s.attacks[c][KING] = king_attacks[king];
    s.double_attacks[c] = 0;
    s.pst_mirror[c] = static_cast<std::uint8_t>((king & QUEEN_SIDE_FILES ? 0 : 7) + c * 56);
}

void set_up(const Position& position, EvalScratch& s) {
    s.occupied = occupancy(position);
    s.phase = phase_of(position);
    for (const int c : {WHITE, BLACK}) set_up_king(position, s, c);
    s.same_wing = ((position.king_square[WHITE] ^ position.king_square[BLACK]) & QUEEN_SIDE_FILES) == 0;
    s.hung = s.free_passers = 0;
}

// Enters attacks of a piece into the sets of its colour and into the attack on the enemy king. `reach` goes beyond
// the attacks where the piece attacks through others.
template <int C>
void add_attacks(EvalScratch& s, int type, Bitboard attacks, Bitboard reach) {
    s.double_attacks[C] |= reach & s.attacks[C][0];
    s.attacks[C][type] |= attacks;
    s.attacks[C][0] |= attacks;
    s.king_attack_units[C ^ 1] += KING_ATTACK_WEIGHT[type] * ((reach & s.king_zone[C ^ 1]) != 0);
}

// ---- Pawns ----

template <int C>
void gather_pawn_attacks(const Position& position, EvalScratch& s) {
    const Bitboard ahead = forward<C>(position.pieces[C][PAWN]);
    const Bitboard left = west_of(ahead);
    const Bitboard right = east_of(ahead);
    s.double_attacks[C] |= (left & right) | ((left | right) & s.attacks[C][0]);
    s.attacks[C][PAWN] = left | right;
    s.attacks[C][0] |= left | right;
    s.king_attack_units[C ^ 1] = KING_ATTACK_WEIGHT[PAWN] * popcount(ahead & s.king_zone[C ^ 1]);
}

// Sorts c's pawns by what the enemy pawns' front spans let through, and finds c's outposts.
template <int C>
void classify_pawns(const Position& position, EvalScratch& s, Bitboard enemy_front_span) {
    const Bitboard enemy_attack_span = beside(enemy_front_span);
    const Bitboard open = position.pieces[C][PAWN] & ~enemy_front_span;
    s.outposts[C] = OUTPOST_RANKS[C] & ~enemy_attack_span;
    s.passers |= open & ~enemy_attack_span;
    s.candidates |= open & enemy_attack_span;
}

// What depends on the pawns and the wings of the kings alone: material, squares and structure.
template <int C>
PackedScore pawn_structure(const Position& position, const EvalScratch& s) {
    const Bitboard pawns = position.pieces[C][PAWN];
    const Bitboard defended = pawns & s.attacks[C][PAWN];
    const Bitboard connected = pawns & beside(pawns);
    const PackedScore* table = weights.pawn[s.same_wing];
    PackedScore sum = 0;
    for (Bitboard b = pawns; b;) {
        const int square = pop_lsb(b);
        const int index = square ^ s.pst_mirror[C];
        sum += table[index];
        if (defended & bit(square)) sum += weights.defended_pawn[index];
        if (connected & bit(square)) sum += weights.connected_pawn[index];
    }
    const Bitboard ahead = forward_fill<C>(pawns);
    const Bitboard neighbour_files = beside(ahead | forward_fill<C ^ 1>(pawns));
    sum += popcount(pawns & ~neighbour_files) * weights.pawn_isolated;
    sum += popcount(pawns & neighbour_files & ~beside(ahead)) * weights.pawn_weak;
    sum += popcount(pawns & forward<C>(ahead)) * weights.pawn_doubled;
    return sum;
}

std::uint64_t pawn_hash_key(const Position& position) {
    constexpr std::uint64_t wing_keys[2][2] = {{0x6C43EB52AULL, 0}, {0x3E2571CB4ULL, 0}};  // queen side, king side
    std::uint64_t key = position.pawn_key;
    for (const int c : {WHITE, BLACK}) key ^= wing_keys[c][(position.king_square[c] & QUEEN_SIDE_FILES) != 0];
    return key;
}

const PawnHashEntry& pawn_scores(HceState& state, const Position& position, int ply) {
    const std::uint64_t key = pawn_hash_key(position);
    PawnHashEntry& entry = state.pawn_hash[key & (PAWN_HASH_SIZE - 1)];
    ++state.pawn_probes;
    if (entry.key == key && ply > 1) {
        ++state.pawn_hits;
    } else {
        entry.key = key;
        entry.score[WHITE] = pawn_structure<WHITE>(position, state.scratch);
        entry.score[BLACK] = pawn_structure<BLACK>(position, state.scratch);
    }
    return entry;
}

void eval_pawns(HceState& state, const Position& position, int ply) {
    EvalScratch& s = state.scratch;
    const Bitboard white = position.pieces[WHITE][PAWN];
    const Bitboard black = position.pieces[BLACK][PAWN];
    s.all_pawns = white | black;
    gather_pawn_attacks<WHITE>(position, s);
    gather_pawn_attacks<BLACK>(position, s);
    s.passers = s.candidates = 0;
    classify_pawns<WHITE>(position, s, forward<BLACK>(forward_fill<BLACK>(black)));
    classify_pawns<BLACK>(position, s, forward<WHITE>(forward_fill<WHITE>(white)));

    const PawnHashEntry& entry = pawn_scores(state, position, ply);
    const int blocked_white = popcount(forward<WHITE>(white) & s.occupied);
    const int blocked_black = popcount(forward<BLACK>(black) & s.occupied);
    s.group[GROUP_PAWNS][WHITE] = entry.score[WHITE] + blocked_white * weights.pawn_blocked;
    s.group[GROUP_PAWNS][BLACK] = entry.score[BLACK] + blocked_black * weights.pawn_blocked;
}

// ---- Pieces ----

template <int C>
PackedScore outpost(const EvalScratch& s, int square, Bitboard attacks, const PackedScore (&bonus)[4]) {
    const int on_outpost = s.attacks[C][PAWN] & bit(square) ? DEFENDED : HELD;
    const int beside_it = attacks & s.outposts[C] ? REACHED : NO_OUTPOST;
    return bonus[s.outposts[C] & bit(square) ? on_outpost : beside_it];
}

template <int C>
void eval_knights(const Position& position, EvalScratch& s) {
    const Bitboard unsafe = s.attacks[C ^ 1][PAWN] | position.pieces[C][0];
    PackedScore sum = 0;
    s.attacks[C][KNIGHT] = 0;
    for (Bitboard b = position.pieces[C][KNIGHT]; b;) {
        const int square = pop_lsb(b);
        const Bitboard attacks = knight_attacks[square];
        add_attacks<C>(s, KNIGHT, attacks, attacks);
        sum += weights.knight[square ^ s.pst_mirror[C]];
        sum += weights.knight_mobility[popcount(attacks & ~unsafe)];
        sum += outpost<C>(s, square, attacks, weights.knight_outpost);
    }
    s.group[GROUP_KNIGHTS][C] = sum;
}

// Bishop pair, and own pawns that are rammed on squares of a bishop's colour.
template <int C>
PackedScore bishops_and_pawns(const Position& position) {
    const Bitboard bishops = position.pieces[C][BISHOP];
    const Bitboard rammed = position.pieces[C][PAWN] & forward<C ^ 1>(position.pieces[C ^ 1][PAWN]);
    const unsigned light = (bishops & LIGHT_SQUARES) != 0;
    const unsigned dark = (bishops & DARK_SQUARES) != 0;
    const Bitboard counted = rammed & (light * LIGHT_SQUARES | dark * DARK_SQUARES);
    return popcount(counted) * weights.bishop_rampawns + (light & dark) * weights.bishop_pair;
}

template <int C>
void eval_bishops(const Position& position, EvalScratch& s, Bitboard queens) {
    const Bitboard unsafe = s.attacks[C ^ 1][PAWN] | position.pieces[C][0];
    const Bitboard blockers = s.occupied & ~queens;
    PackedScore sum = bishops_and_pawns<C>(position);
    s.attacks[C][BISHOP] = 0;
    for (Bitboard b = position.pieces[C][BISHOP]; b;) {
        const int square = pop_lsb(b);
        const Bitboard attacks = bishop_attacks(square, blockers);
        add_attacks<C>(s, BISHOP, attacks, attacks);
        sum += weights.bishop[square ^ s.pst_mirror[C]];
        sum += weights.bishop_mobility[popcount(attacks & ~unsafe)];
        sum += popcount(attacks & CENTRE_BOX) * weights.bishop_infiltration;
        sum += outpost<C>(s, square, attacks, weights.bishop_outpost);
    }
    s.group[GROUP_BISHOPS][C] = sum;
    s.minor_attacks[C] = s.attacks[C][PAWN] | s.attacks[C][KNIGHT] | s.attacks[C][BISHOP];
}

template <int C>
void eval_rooks(const Position& position, EvalScratch& s, Bitboard queens) {
    constexpr int seventh = 6;
    const Bitboard unsafe = s.minor_attacks[C ^ 1] | position.pieces[C][0];
    const Bitboard blockers = s.occupied & ~(queens | position.pieces[C][ROOK]);
    PackedScore sum = 0;
    s.attacks[C][ROOK] = 0;
    for (Bitboard b = position.pieces[C][ROOK]; b;) {
        const int square = pop_lsb(b);
        const Bitboard file = FILE_A << file_of(square);
        const Bitboard attacks = rook_attacks(square, blockers);
        add_attacks<C>(s, ROOK, attacks, attacks);
        sum += weights.rook[square ^ s.pst_mirror[C]];
        sum += weights.rook_mobility[popcount(attacks & ~unsafe)];
        sum += popcount(attacks & file & ENEMY_HALF[C]) * weights.rook_infiltration;
        if (!(s.all_pawns & file)) sum += weights.rook_openfile;
        if (relative_rank(C, square) == seventh && relative_rank(C, position.king_square[C ^ 1]) >= seventh) {
            sum += weights.rook_7th;
        }
    }
    s.group[GROUP_ROOKS][C] = sum;
    s.minor_rook_attacks[C] = s.minor_attacks[C] | s.attacks[C][ROOK];
}

template <int C>
void eval_queens(const Position& position, EvalScratch& s) {
    const Bitboard unsafe = s.minor_rook_attacks[C ^ 1] | position.pieces[C][0];
    const Bitboard bishops = position.pieces[C][BISHOP];
    const Bitboard rooks = position.pieces[C][ROOK];
    PackedScore sum = 0;
    s.attacks[C][QUEEN] = 0;
    for (Bitboard b = position.pieces[C][QUEEN]; b;) {
        const int square = pop_lsb(b);
        const Bitboard diagonals = bishop_attacks(square, s.occupied);
        const Bitboard lines = rook_attacks(square, s.occupied);
        // Through an own bishop or rook that moves the same way.
        Bitboard reach = diagonals | lines;
        if (diagonals & bishops) reach |= bishop_attacks(square, s.occupied & ~bishops);
        if (lines & rooks) reach |= rook_attacks(square, s.occupied & ~rooks);
        add_attacks<C>(s, QUEEN, diagonals | lines, reach);
        sum += weights.queen[square ^ s.pst_mirror[C]];
        sum += weights.queen_mobility[popcount((diagonals | lines) & ~unsafe)];
    }
    s.group[GROUP_QUEENS][C] = sum;
    s.nonking_attacks[C] = s.minor_rook_attacks[C] | s.attacks[C][QUEEN];
}

// ---- Kings ----

// Pawns on the ranks of the king zone moved one rank forward, or up to two ranks behind them.
template <int C>
int shield_pawns(const Position& position, const EvalScratch& s) {
    const Bitboard pawns = position.pieces[C][PAWN];
    const Bitboard cover = pawns | north_or_south(C, pawns, 1) | north_or_south(C, pawns, 2);
    return std::min(popcount(cover & forward<C>(s.king_zone[C])), FULL_SHIELD);
}

// Shield, checks and attack on the king of C; only asked for when the enemy has a rook or a queen.
template <int C>
PackedScore king_safety(const Position& position, const EvalScratch& s) {
    constexpr int E = C ^ 1;
    const int king = position.king_square[C];
    const Bitboard zone = s.king_zone[C];
    const int shield = shield_pawns<C>(position, s);
    PackedScore sum = weights.shield[shield];

    // Enemy attacks by piece on squares that C does not cover with something cheaper.
    const Bitboard knights = s.attacks[E][KNIGHT] & ~s.minor_attacks[C];
    const Bitboard bishops = s.attacks[E][BISHOP] & ~s.minor_attacks[C];
    const Bitboard rooks = s.attacks[E][ROOK] & ~s.minor_rook_attacks[C];
    const Bitboard queens = s.attacks[E][QUEEN] & ~s.nonking_attacks[C];

    const Bitboard safe = ~((s.attacks[C][0] & ~s.double_attacks[E]) | position.pieces[E][0]);
    const Bitboard knight_checks = knight_attacks[king] & safe;
    const Bitboard diagonal_checks = bishop_attacks(king, s.occupied) & safe;
    const Bitboard line_checks = rook_attacks(king, s.occupied) & safe;
    const int queen_checks = ((queens & diagonal_checks) != 0) + ((queens & line_checks) != 0);
    const int checks =
        popcount((rooks & line_checks) | (bishops & diagonal_checks) | (knights & knight_checks)) + queen_checks;
    sum += checks * weights.enemy_checks;

    const int units = popcount(s.attacks[E][PAWN] & ~s.attacks[C][PAWN] & zone) - shield - 2 + s.king_attack_units[C] +
                      KING_ATTACK_WEIGHT[KNIGHT] * popcount((knight_checks | zone) & knights) +
                      KING_ATTACK_WEIGHT[BISHOP] * popcount((diagonal_checks | zone) & bishops) +
                      KING_ATTACK_WEIGHT[ROOK] * popcount((line_checks | zone) & rooks) +
                      KING_ATTACK_WEIGHT[QUEEN] * (queen_checks + popcount(zone & queens));
    if (units > 0) {
        const double danger = KING_DANGER_UNIT * (units * units);
        sum += product(danger, position.pieces[E][QUEEN] ? eval_param::king_danger1 : eval_param::king_danger2);
    }
    return sum;
}

// Squares from which a king needs none, one or two steps, or fewer, until it stands beside or on a square in front of
// a pawn of either colour. Most kings do.
struct NearPawns {
    Bitboard within[3];
};

NearPawns near_pawns(Bitboard front_spans) {
    const Bitboard beside_or_on = grown(front_spans);
    const Bitboard one = grown(beside_or_on);
    return {beside_or_on, one, grown(one)};
}

int steps_to_pawns(int king, const NearPawns& near) {
    const Bitboard k = bit(king);
    int steps = !(near.within[0] & k) + !(near.within[1] & k) + !(near.within[2] & k);
    if (steps == 3) {
        for (Bitboard b = grown(near.within[2]); !(b & k) && steps < 7; b = grown(b)) ++steps;
    }
    return steps;
}

template <int C>
void eval_king(const Position& position, EvalScratch& s, const NearPawns& near) {
    constexpr int E = C ^ 1;
    const int king = position.king_square[C];
    PackedScore sum = weights.king[king ^ s.pst_mirror[C]];
    if (position.pieces[E][ROOK] | position.pieces[E][QUEEN]) sum += king_safety<C>(position, s);
    if (!(s.attacks[C][KING] & ~(s.attacks[E][0] | position.pieces[C][0]))) sum += weights.king_trapped;
    if (near.within[0]) sum += weights.king_to_pawns[steps_to_pawns(king, near)];
    s.group[GROUP_KING][C] = sum;
}

void eval_kings(const Position& position, EvalScratch& s) {
    const Bitboard front_spans = forward<WHITE>(forward_fill<WHITE>(position.pieces[WHITE][PAWN])) |
                                 forward<BLACK>(forward_fill<BLACK>(position.pieces[BLACK][PAWN]));
    const NearPawns near = near_pawns(front_spans);
    eval_king<WHITE>(position, s, near);
    eval_king<BLACK>(position, s, near);
}

// ---- Passed pawns and candidates ----

// Nothing cheap covers the way, and every square on it that the enemy holds is held more firmly by C.
template <int C>
bool way_is_free(const Position& position, const EvalScratch& s, Bitboard ahead) {
    constexpr int E = C ^ 1;
    const Bitboard contested = ahead & (s.attacks[E][0] | position.pieces[E][0]);
    return !(ahead & s.minor_attacks[E]) && !(contested & ~(s.attacks[C][0] & ~s.double_attacks[E]));
}

// No exchange on the empty square `stop` costs anything. An enemy piece that could capture there attacks it already,
// or attacks the pawn from behind.
template <int C>
bool can_advance(const Position& position, const EvalScratch& s, int square, int stop) {
    return !(s.attacks[C ^ 1][0] & (bit(stop) | bit(square))) || see(position, C, square, stop) == 0;
}

template <int C>
PackedScore passer(const Position& position, EvalScratch& s, int square) {
    constexpr int push = pawn_push(C);
    const Bitboard ahead = file_ahead<C>(square);
    if (ahead & s.all_pawns) return 0;

    const int rank = relative_rank(C, square);
    int stop = square + push;
    if (rank == 1 && !(s.occupied & bit(stop))) stop += push;
    PasserKind kind = PASSER_HELD;
    if (!(s.occupied & bit(stop)) && can_advance<C>(position, s, square, stop)) {
        kind = way_is_free<C>(position, s, ahead) ? PASSER_FREE : PASSER_MOBILE;
    }
    if (kind == PASSER_FREE) s.free_passers |= bit(square);

    const int target = rank < 6 ? stop + push : stop;
    const int own_king = std::min(king_distance(position.king_square[C], target), MAX_KING_DISTANCE);
    const int enemy_king = std::min(king_distance(position.king_square[C ^ 1], target), MAX_KING_DISTANCE);
    PackedScore sum = weights.passer[kind][rank];
    sum += weights.own_king_to_passer[rank][own_king];
    sum += weights.enemy_king_to_passer[rank][enemy_king];
    if (s.attacks[C][PAWN] & bit(stop)) sum += weights.passer_connected[rank];
    return sum;
}

template <int C>
PackedScore candidate(const Position& position, const EvalScratch& s, int square) {
    constexpr int E = C ^ 1;
    const Bitboard ahead = file_ahead<C>(square);
    const int supporters = popcount(beside(bit(square)) & position.pieces[C][PAWN]);
    const int attackers = popcount(ahead & s.attacks[E][0]) + ((ahead & s.double_attacks[E]) != 0);
    if (attackers > supporters) return 0;
    const int before_promotion = make_square(file_of(square), C == WHITE ? 6 : 1);
    const int distance = std::min(king_distance(position.king_square[E], before_promotion), 5);
    return weights.candidate[distance][relative_rank(C, square)];
}

template <int C>
void eval_passers(const Position& position, EvalScratch& s) {
    PackedScore sum = 0;
    for (Bitboard b = s.passers & position.pieces[C][PAWN]; b;) sum += passer<C>(position, s, pop_lsb(b));
    // Candidates count from the fourth rank on, with nothing at all before them.
    const Bitboard behind_pieces = forward<C ^ 1>(forward_fill<C ^ 1>(s.occupied));
    const Bitboard candidates = s.candidates & position.pieces[C][PAWN] & FROM_FOURTH_RANK[C] & ~behind_pieces;
    for (Bitboard b = candidates; b;) sum += candidate<C>(position, s, pop_lsb(b));
    s.group[GROUP_PASSERS][C] = sum;
}

// ---- Threats ----

// Pieces of C that the enemy attacks; enters those that are as good as lost into `hung`.
template <int C>
PackedScore threats_to_pieces(const Position& position, EvalScratch& s) {
    constexpr int E = C ^ 1;
    const Bitboard by_pawn = s.attacks[E][PAWN];
    const Bitboard defended_by_pawn = s.attacks[C][PAWN];
    // Squares where the enemy's attack outweighs the defence.
    const Bitboard lost =
        (~(defended_by_pawn | s.double_attacks[C]) & s.double_attacks[E]) | (~s.attacks[C][0] & s.attacks[E][0]);

    const Bitboard pawns = position.pieces[C][PAWN] & s.attacks[E][0] & ~(defended_by_pawn | by_pawn);
    const Bitboard minors = (position.pieces[C][KNIGHT] | position.pieces[C][BISHOP]) & s.attacks[E][0];
    const Bitboard majors = (position.pieces[C][ROOK] | position.pieces[C][QUEEN]) & s.minor_attacks[E];
    const Bitboard hung_pawns = pawns & lost;
    const Bitboard hung_minors = minors & (lost | by_pawn);
    s.hung |= hung_pawns | hung_minors | majors;
    return popcount(hung_pawns) * weights.hung_pawn + popcount(pawns & ~lost) * weights.attacked_pawn +
           popcount(hung_minors) * weights.hung_minor +
           popcount(minors & ~(lost | defended_by_pawn)) * weights.attacked_minor +
           popcount(majors) * weights.hung_major;
}

// Pieces of C that an enemy pawn could attack by a safe push.
template <int C>
PackedScore threats_by_pushes(const Position& position, const EvalScratch& s) {
    constexpr int E = C ^ 1;
    const Bitboard empty = ~s.occupied;
    const Bitboard single = forward<E>(position.pieces[E][PAWN]) & empty;
    const Bitboard twice = forward<E>(single) & DOUBLE_PUSH_RANK[E] & empty;
    const Bitboard covered = s.attacks[C][PAWN] | (s.attacks[C][0] & ~s.attacks[E][PAWN]);
    const Bitboard threatened = beside(forward<E>((single | twice) & ~covered));
    const Bitboard targets = position.pieces[C][0] & ~position.pieces[C][PAWN] & ~s.hung;
    return popcount(threatened & targets) * weights.ppush_threat;
}

void eval_threats(const Position& position, EvalScratch& s) {
    s.group[GROUP_THREATS][WHITE] = threats_to_pieces<WHITE>(position, s);
    s.group[GROUP_THREATS][BLACK] = threats_to_pieces<BLACK>(position, s);
    s.group[GROUP_THREATS][WHITE] += threats_by_pushes<WHITE>(position, s);
    s.group[GROUP_THREATS][BLACK] += threats_by_pushes<BLACK>(position, s);
}

void eval_pins(const Position& position, EvalScratch& s) {
    for (const int c : {WHITE, BLACK}) {
        const Bitboard pinned = pinned_pieces(position, c) & ~position.pieces[c][PAWN];
        s.group[GROUP_SPECIAL][c] = popcount(pinned) * weights.pinned_piece;
    }
}

// ---- Drawish endings ----

// Piece material with a queen at 9, as the drawishness rules count it.
int piece_value(const Position& position, int c) {
    return 3 * (count_of(position, c, KNIGHT) + count_of(position, c, BISHOP)) + 5 * count_of(position, c, ROOK) +
           9 * count_of(position, c, QUEEN);
}

// Only rook pawns on one file, no bishop that covers their promotion square, and the enemy king beside it.
bool wrong_bishop(const Position& position, int c) {
    const Bitboard pawns = position.pieces[c][PAWN];
    const bool a_file = !(pawns & ~FILE_A);
    if (!a_file && (pawns & ~FILE_H)) return false;
    const Bitboard corner = bit(make_square(a_file ? 0 : 7, c == WHITE ? 7 : 0));
    const Bitboard corner_colour = corner & LIGHT_SQUARES ? LIGHT_SQUARES : DARK_SQUARES;
    return (grown(corner) & position.pieces[c ^ 1][KING]) && !(position.pieces[c][BISHOP] & corner_colour);
}

// One bishop a side on squares of different colours, and about equal material.
bool opposite_bishops(const Position& position, int material_difference) {
    const Bitboard bishops = position.pieces[WHITE][BISHOP] | position.pieces[BLACK][BISHOP];
    return count_of(position, WHITE, BISHOP) == 1 && count_of(position, BLACK, BISHOP) == 1 &&
           (bishops & LIGHT_SQUARES) && (bishops & DARK_SQUARES) && std::abs(material_difference) <= 2;
}

// Factor on a blended score (from White's view).
float scale_factor(const Position& position, int score) {
    const int pieces[2] = {piece_value(position, WHITE), piece_value(position, BLACK)};
    const int difference = pieces[WHITE] - pieces[BLACK];
    if (pieces[WHITE] > 8 || pieces[BLACK] > 8 || std::abs(difference) >= 4 || score == 0) return 1.0f;

    const int ahead = score > 0 ? WHITE : BLACK;
    const int behind = ahead ^ 1;
    const int pawns = count_of(position, ahead, PAWN);
    const bool bishops_only = !(position.pieces[ahead][KNIGHT] | position.pieces[ahead][ROOK]);
    if (bishops_only && pawns && wrong_bishop(position, ahead)) return 0.05f;

    const bool rooks = position.pieces[WHITE][ROOK] | position.pieces[BLACK][ROOK];
    const int all_difference = difference + count_of(position, WHITE, PAWN) - count_of(position, BLACK, PAWN);
    const bool opposite = !rooks && opposite_bishops(position, all_difference);
    if (!pawns) return opposite ? 0.325f : 0.65f;

    const float factor = opposite ? 0.5f : 1.0f;
    const bool minor_behind = position.pieces[behind][KNIGHT] | position.pieces[behind][BISHOP];
    return pawns == 1 && pieces[ahead] <= pieces[behind] && minor_behind ? factor * 0.75f : factor;
}

}  // namespace

void derive_hce_weights() {
    derive_squares(weights);
    derive_pieces(weights);
    derive_passers(weights);
    derive_kings(weights);
    copy_plain(weights);
}

int hce_evaluate(HceState& state, const Position& position, int ply) {
    EvalScratch& s = state.scratch;
    const Bitboard queens = position.pieces[WHITE][QUEEN] | position.pieces[BLACK][QUEEN];
    set_up(position, s);
    eval_pawns(state, position, ply);
    eval_knights<WHITE>(position, s);
    eval_knights<BLACK>(position, s);
    eval_bishops<WHITE>(position, s, queens);
    eval_bishops<BLACK>(position, s, queens);
    eval_rooks<WHITE>(position, s, queens);
    eval_rooks<BLACK>(position, s, queens);
    eval_queens<WHITE>(position, s);
    eval_queens<BLACK>(position, s);
    eval_kings(position, s);
    eval_passers<WHITE>(position, s);
    eval_passers<BLACK>(position, s);
    eval_threats(position, s);
    eval_pins(position, s);

    s.score[WHITE] = s.score[BLACK] = 0;
    s.score[position.side] = weights.stm_bonus;
    for (const auto& group : s.group) {
        s.score[WHITE] += group[WHITE];
        s.score[BLACK] += group[BLACK];
    }
    const int score = taper(s.score[WHITE] - s.score[BLACK], s.phase);
    s.scale = scale_factor(position, score);
    const int scaled = static_cast<int>(static_cast<float>(score) * s.scale);
    return (1 - 2 * position.side) * scaled;
}
