// The program's main loop once start-up is done: waits for input, turns requests into book moves or searches
// and prints their results.
#pragma once

#include "search/parallel.h"

// Returns when settings.quit is set.
void think_loop(InputPoller poll);

// Effective branching factor over the last four iterations of the last search; 2 when it did not get that far.
double branching_factor();
