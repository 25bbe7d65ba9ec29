// Starting searches: the coordinator (search thread 0), the secondary threads and the launchers.
#pragma once

#include <cstdint>
#include <mutex>

enum class InputState {
    HANDLED,  // a line, or the end of the input; the next line may have come with it: poll again before waiting
    NOTHING_YET,
    ENDED,      // no line will come, but the end of the output would still matter
    UNWATCHED,  // no line will come, and nothing depends on it
};

// Reads and handles at most one line of input without waiting (the front end's poll_input).
using InputPoller = InputState (*)();

// Readies record `index`, which exists, for a search of game_record's position.
void prepare_thread(int index);

// Polls once. Where that handled nothing, waits for input, for end_wait or for `seconds` (negative: no limit).
void poll_and_wait(InputPoller poll, double seconds);

// Runs one search with the given think flag (THINK_CLOCK, THINK_PONDER, THINK_TOOL). Detached: on a
// coordinator thread, while this thread polls input and the clock; otherwise on the calling thread.
// Returns when the search has finished. False when the program must end: a thread or a record could not be created, or
// another room asked for the end meanwhile.
bool start_search(std::uint16_t mode, bool detached, InputPoller poll);

// A tool's search on the calling thread; false as above.
bool analysis_search();

// The main thread's first iteration has settled what the root is, or its search has ended: the secondary threads go on.
void release_secondary_threads();

// Serialises the library's random generator, per-depth node totals and hash-move reports. Taken before the
// output lock, never after it.
inline std::mutex shared_lock;
