// Files of choices: positions with a score for every legal move, as a stronger player sees them. Self-play writes them;
// the tuner fits the hand-crafted evaluation to them.
#pragma once

#include "platform/output_file.h"
#include "tools/training_record.h"

#include <cstdint>
#include <cstdio>
#include <vector>

struct ScoredMove {
    Move move;
    std::int16_t score;  // centipawns for the side that makes the move
};
static_assert(sizeof(ScoredMove) == 4);

// In the file, little-endian: the record, the number of moves in two bytes, the moves.
struct Choice {
    TrainingRecord position;  // sc: the best move's score
    std::vector<ScoredMove> moves;
};

// False once a write has failed, which has then been reported.
bool put_choice(OutputFile& output, const Choice& choice);

// Reads the next choice. False at the end of the file, at a choice that is cut off, and at one with an impossible
// number of moves, after which nothing in the file can be trusted.
bool read_choice(std::FILE* file, Choice& choice);
