// What evaluation keeps per search thread: the evaluation cache, the network's accumulators and the pawn hash
// of the hand-crafted evaluation. A SearchThread contains one; only its thread writes it.
#pragma once

#include "eval/hce.h"
#include "eval/inference.h"
#include "platform/relaxed.h"

#include <cstdint>

struct EvalCacheEntry {
    std::uint64_t key;
    std::int16_t score;
};

constexpr int EVAL_CACHE_SIZE = 16384;

struct EvalState {
    EvalCacheEntry cache[EVAL_CACHE_SIZE];
    NetworkState network;
    HceState hce;
    std::uint32_t generation;       // evaluator generation that the cache entries belong to
    std::int16_t ply;               // distance from the root of the position being evaluated
    std::uint8_t root_side;         // side to move at the root of this search: contempt favours it
    std::uint8_t no_contempt;       // set for static displays and tool searches
    Relaxed<std::uint64_t> probes;  // evaluations asked for, this search
    Relaxed<std::uint64_t> hits;    // served from the cache
};
