// What a search prints of its progress: info lines over UCI, their counterparts in the console.
#pragma once

#include "search/search_thread.h"

// Copies the thread's result to search_control and prints it. Main search thread only.
void report_best(SearchThread& thread);

// Prints the info (UCI) or console line of one principal variation. `line` is indexed by ply.
void print_info(int thread_index, int multipv_index, int depth, int score, const Relaxed<Move>* line);

// Shows which root move is being searched; `number` counts from 1 in its window.
void print_current_move(Move move, int number);

// A short text by value: nothing is allocated while a search runs.
template <int SIZE>
struct FixedText {
    char text[SIZE] = "";
};

// Text of a score in UCI form: "cp 12", "mate 3", "mate -2".
using ScoreText = FixedText<24>;
ScoreText score_text(int score);

// Adds up the counters of the threads of this search into search_control.
void sum_statistics();
