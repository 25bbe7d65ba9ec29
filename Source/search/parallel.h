// Starting searches: the coordinator (search thread 0), the secondary threads and the launchers.
#pragma once

#include <cstdint>

// Reads and handles at most one line of input without waiting (the front end's poll_input). True when it handled
// one: the next may have come with it, so the caller polls again without a pause.
using InputPoller = bool (*)();

// Readies record `index` for a search of game_record's position. 0, or -1 when the record could not be created.
int prepare_thread(int index);

// Runs one search with the given think flag (THINK_CLOCK, THINK_PONDER, THINK_TOOL). Detached: on a
// coordinator thread, while this thread polls input and the clock; otherwise on the calling thread.
// Returns when the search has finished.
void start_search(std::uint16_t mode, bool detached, InputPoller poll);

// A tool's search on the calling thread.
void analysis_search();

// Serialises the library's random generator, per-depth node totals and hash-move reports. Taken before the
// output lock, never after it.
class SharedLock {
public:
    SharedLock();
    ~SharedLock();
    SharedLock(const SharedLock&) = delete;
    SharedLock& operator=(const SharedLock&) = delete;
};
