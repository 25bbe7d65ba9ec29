// Iterative deepening at the root.
#pragma once

// What every search thread runs for one search: prepares its root and deepens until the stop flag or an end
// condition. The main thread (index 0) reports, and sets the stop flag when it ends.
void root_search(int thread_index);
