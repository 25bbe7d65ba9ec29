// Scores a position: known endgames first (known_endgames.h), then the cache, then network or hand-crafted evaluation
// with the corrections for opposite bishops and contempt.
#include "eval/evaluate.h"

#include "eval/bishop_colours.h"
#include "eval/known_endgames.h"
#include "eval/network.h"
#include "frontend/base/output.h"
#include "frontend/base/settings.h"

#include <algorithm>
#include <cstring>

namespace {

// Counts changes of network or evaluator; read by search threads, changed while none runs.
Relaxed<std::uint32_t> evaluator_generation = 1;

// Centipawns in favour of the side to move at the root, which would rather play on while there is much material. The
// start position has 8520 points of it; at half of that the constant part of the term changes its sign.
int contempt_term(const Position& p) {
    constexpr int PIECES_LEFT_OUT = 1000, MOST_PAWNS = 1200;
    constexpr double FULL_MATERIAL = 8500.0, HALF_MATERIAL = 4250.0;
    const auto both = [&p](int type) { return count_of(p, WHITE, type) + count_of(p, BLACK, type); };
    const int pieces = 1060 * both(QUEEN) + 550 * both(ROOK) + 350 * (both(KNIGHT) + both(BISHOP));
    const int pawns = std::min(100 * both(PAWN), MOST_PAWNS);
    const int material = std::max(pieces - PIECES_LEFT_OUT, 0) + 2 * pawns;
    return static_cast<int>(static_cast<double>(settings.contempt_weight) * (material - HALF_MATERIAL) / HALF_MATERIAL +
                            static_cast<double>(settings.contempt) * material / FULL_MATERIAL);
}

// Opposite bishops without rooks and queens: much of an advantage cannot be turned into a win.
bool is_hard_to_win(const Position& p) {
    if (!opposite_bishops(p)) return false;
    return !(p.pieces[WHITE][ROOK] | p.pieces[WHITE][QUEEN] | p.pieces[BLACK][ROOK] | p.pieces[BLACK][QUEEN]);
}

int static_score(EvalState& state, const Position& p, int ply) {
    if (network_in_use()) {
        const int score = nn_evaluate(state.network, p, ply);
        if (score != NO_SCORE) return is_hard_to_win(p) ? score - score / 4 : score;
    }
    return hce_evaluate(state.hce, p, ply);
}

void empty_cache_of_other_evaluator(EvalState& state) {
    if (state.generation == evaluator_generation) return;
    std::memset(state.cache, 0, sizeof state.cache);
    state.generation = evaluator_generation;
}

}  // namespace

int evaluate(EvalState& state, Position& position, int side, int ply, bool in_check) {
    ++state.probes;
    state.ply = static_cast<std::int16_t>(ply);
    if (in_check) return ply - MATE;

    int score;
    if (known_endgame(position, side, score)) return score;

    empty_cache_of_other_evaluator(state);
    EvalCacheEntry& entry = state.cache[position.key & (EVAL_CACHE_SIZE - 1)];
    if (entry.key == position.key && ply > 2) {
        ++state.hits;
        return entry.score;
    }

    score = static_score(state, position, ply);
    if (position.owner->game_ply > 4 && !state.no_contempt) {
        const int contempt = contempt_term(position);
        score += side == state.root_side ? contempt : -contempt;
    }
    entry.key = position.key;
    entry.score = static_cast<std::int16_t>(score);
    return score;
}

void invalidate_eval_caches() {
    evaluator_generation += 1;
}

bool network_in_use() {
    return settings.use_nn && network.complete;
}

void report_missing_network() {
    static std::uint32_t reported = ~0u;
    if (!settings.use_nn || network.complete || reported == network.generation) return;
    reported = network.generation;
    print_line("info string no network loaded, using the hand-crafted evaluation");
}
