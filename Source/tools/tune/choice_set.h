// The choices that the tables are fitted to: the moves of each position, as the small search with the values that the
// fit starts from sees them, beside the teacher's scores.
#pragma once

#include "tools/choice_file.h"
#include "tools/tune/tuning_set.h"

// Rows are moves, not positions; scores, factors and terms are those of the leaf, from the view of the side that makes
// the move (a term of Black's is one of the opponent's), the search score is the teacher's.
struct ChoiceSet {
    TuningSet moves;
    std::vector<std::uint32_t> first_move;  // of each choice; its moves end where the next one's begin
};

struct ChoiceCounts {
    std::uint64_t read;      // choices
    std::uint64_t damaged;   // no such position, or not playable
    std::uint64_t moves;     // of the others
    std::uint64_t illegal;   // moves that the position does not have
    std::uint64_t far;       // moves that neither side would think of
    std::uint64_t tactical;  // moves that the teacher sees quite differently
    std::uint64_t kept;      // moves
};

// Appends a file of choices to the two sets; the hold-out is chosen by blocks of consecutive choices. False when the
// file cannot be read. The result does not depend on the number of threads.
bool read_choices(const char* name, const ReadOptions& options, int threads, ChoiceSet& training, ChoiceSet& hold_out,
                  ChoiceCounts& counts);
