// Iterative deepening at the root, and the reports of its progress.
#pragma once

#include "search/search_thread.h"

// What every search thread runs for one search: prepares its root and deepens until the stop flag or an end
// condition. The main thread (index 0) reports, and sets the stop flag when it ends.
void root_search(int thread_index);

// Copies the thread's result to search_control and prints it.
void report_best(SearchThread& thread);

// Prints the info (UCI) or console line of one principal variation. `line` is indexed by ply.
void print_info(int thread_index, int multipv_index, int depth, int score, const Relaxed<Move>* line);

// Text of a score in UCI form: "cp 12", "mate 3", "mate -2".
struct ScoreText {
    char text[24];
};
ScoreText score_text(int score);

// Adds up the counters of the threads into search_control.
void sum_statistics();
