// The program's main loop once start-up is done: waits for input, turns requests into book moves or searches
// and prints their results.
#pragma once

#include "search/parallel.h"

// Returns when settings.quit is set.
void think_loop(InputPoller poll);
