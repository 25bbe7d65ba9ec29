// One game of the engine against itself, with the positions of it that are worth learning from.
#pragma once

#include "position/types.h"
#include "tools/training_record.h"
#include "training/random.h"
#include "training/selfplay/options.h"
#include "training/selfplay/start.h"
#include "training/selfplay/statistics.h"

#include <cstdint>
#include <string>
#include <vector>

struct PlayedMove {
    Move move = NULL_MOVE;
    std::int16_t score = 0;  // centipawns for the side that moved
    std::int8_t depth = 0;   // 0: a random move, without a score
    float seconds = 0;
};

struct Game {
    std::string start_fen;  // empty: the standard position
    std::vector<PlayedMove> moves;
    std::vector<TrainingRecord> records;     // results filled in; the deviations stand behind the game's own positions
    std::vector<TrainingRecord> deviations;  // while the game is played
    int result = 0;                          // +1 White won, -1 Black won
    Ending ending = TOO_LONG;
};

// Keys of the positions kept so far, so that a position that many games pass through is kept once. Of fixed size: an
// entry gives way to a newer one of the same slot, so a rare duplicate gets through in very long runs.
class SeenPositions {
public:
    SeenPositions() : keys_(std::size_t{1} << BITS) {}
    // True when the key is new; it is remembered.
    bool insert(std::uint64_t key) {
        std::uint64_t& slot = keys_[key * GOLDEN_RATIO >> (64 - BITS)];
        const bool known = slot == key;
        slot = key;
        return !known;
    }

private:
    static constexpr int BITS = 22;  // 32 MiB
    // Spreads keys over the slots that differ in few bits, as those of one board with either side to move do.
    static constexpr std::uint64_t GOLDEN_RATIO = 0x9E3779B97F4A7C15ULL;
    std::vector<std::uint64_t> keys_;
};

struct GameMaker {
    const SelfplayOptions& options;
    const OpeningBook& book;
    SeenPositions& seen;
    Statistics& statistics;
    bool (*stop)();  // asked before each search
};

enum class GameOutcome { FINISHED, STOPPED, NO_START };

// Plays one game on the game record. STOPPED: nothing of it is to be kept. NO_START: no even start was found in very
// many attempts.
GameOutcome play_game(const GameMaker& maker, Random random, Game& game);
