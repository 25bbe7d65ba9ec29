// What a self-play run counts. Each process writes its own record; the launcher reads and adds them.
#pragma once

#include "platform/relaxed.h"

#include <cstdint>

// How games end.
enum Ending : int {
    CHECKMATE,
    STALEMATE,
    REPETITION,
    FIFTY_MOVES,
    DEAD_MATERIAL,
    TABLEBASE,
    WIN_ADJUDICATED,
    DRAW_ADJUDICATED,
    TOO_LONG,
    ENDINGS
};
extern const char* const ENDING_NAMES[ENDINGS];

// Bounds, in centipawns, of the classes by absolute score that the summary shows.
constexpr int SCORE_CLASS_BOUNDS[] = {25, 50, 100, 200, 400, 800, 1600};
constexpr int SCORE_CLASSES = 8;

using Counter = Relaxed<std::uint64_t>;

struct Statistics {
    Counter games;
    Counter results[3];  // Black's wins, draws, White's wins
    Counter endings[ENDINGS];
    Counter plies;  // searched and random
    Counter searches;
    Counter nodes;
    Counter depths;  // sum over the searches
    Counter positions;
    Counter score_classes[SCORE_CLASSES];  // of the kept positions
    Counter duplicates;                    // quiet positions that had been kept before
    Counter rejected_starts;
};

// Adds `part` to `sum`.
void add_statistics(Statistics& sum, const Statistics& part);

// Class of a score in score_classes.
int score_class(int score);

// Prints the progress line to the error stream, over the one before it.
void print_progress(const Statistics& sum, double seconds);
// Prints the summary to standard output.
void print_summary(const Statistics& sum, double seconds);
