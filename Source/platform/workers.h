// Worker processes: copies of this process that share one block of memory with it, and nothing else.
#pragma once

#include <cstddef>

// Zero-filled memory that workers started afterwards share with this process; nullptr when there is not enough.
void* allocate_shared(std::size_t bytes);

// Turns this process into a launcher and `count` workers, which go on from here. To be called before any thread
// exists. Returns 0 .. count - 1 in a worker and `count` in the launcher, -1 when the platform has no such copies or
// the first one could not be made. A launcher that can make only some of them goes on with those.
int start_workers(int count);

// Launcher: true while a worker runs.
bool workers_running();
// Launcher: workers that did not end with status 0, so far.
int workers_failed();
// Worker: true once the launcher is gone.
bool launcher_is_gone();
