// Analysis of EPD files: every position is searched, the answers are scored against the file's best moves (bm), moves
// to avoid (am) and points (c0), and the positions are written again with what the search found.
#pragma once

#include "position/position.h"
#include "search/parallel.h"
#include "tools/epd.h"

// What one answer is worth.
struct AnswerScore {
    int correct = 0;   // best moves that the answer equals; 1 for a move to avoid that was not played
    int points = 0;    // of the answer
    int possible = 0;  // largest points of the line
};

// Scores the move (NULL_MOVE: none) against the operations of the line whose position is set.
AnswerScore score_answer(Position& position, const EpdLine& line, Move answer);

// Whether the good moves of each position lead to positions that are collected.
enum class Candidates { IGNORED, COLLECTED };

// Analyses the positions of the file `input` with the limits of `settings`, writes them to settings.output_file
// ("analysis.epd" when that is empty) and prints the totals. "tmp_0.epd" takes the positions after the moves that are
// at most 30 centipawns worse than the best of settings.multipv lines, when they are collected, and is left empty
// otherwise. Returns the exit status: 0, also when nothing was done because there is no such input or a file would be
// overwritten; 1 when the input cannot be read or an interrupt ended the run; -1 when something cannot be created or
// written. What went wrong has been reported.
int analyse_epd(const char* input, Candidates candidates, InputPoller poll);

// Grows a tree of opening positions: copies the file to "tmp_1.epd" and analyses that with fewer lines in each of 12
// passes, the positions collected in one pass being the input of the next. Returns the exit status as above; -1
// also when a file, the first one included, cannot be copied.
int build_opening_tree(const char* input, InputPoller poll);
