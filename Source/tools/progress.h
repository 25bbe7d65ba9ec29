// A counter on the error stream while a long job runs.
#pragma once

#include <cstddef>

struct Progress {
    const char* what;      // is counted, e.g. "positions read"
    double next_time = 0;  // of the next report, monotonic seconds
    bool shown = false;
};

// Shows the count a few times a second, and only on a terminal. Cheap enough to be called every few thousand items.
void show_progress(Progress& progress, std::size_t count);
// Looks at the clock and at interrupts every few thousand items; true when the job was interrupted.
bool interrupted_at(Progress& progress, std::size_t count);
// Clears the counter's line.
void end_progress(Progress& progress);
