// Progress of long jobs.
#include "tools/progress.h"

#include "platform/clock.h"
#include "platform/process.h"

#include <cstdio>

namespace {

constexpr double SECONDS_BETWEEN_REPORTS = 0.25;

}  // namespace

void show_progress(Progress& progress, std::size_t count) {
    static const bool on_terminal = error_output_is_terminal();
    if (!on_terminal) return;
    const double now = monotonic_seconds();
    if (progress.next_time == 0) progress.next_time = now + SECONDS_BETWEEN_REPORTS;
    if (now < progress.next_time) return;
    progress.next_time = now + SECONDS_BETWEEN_REPORTS;
    progress.shown = true;
    std::fprintf(stderr, "\r%zu %s", count, progress.what);
}

void end_progress(Progress& progress) {
    if (progress.shown) std::fprintf(stderr, "\r%40s\r", "");
    progress.shown = false;
}
