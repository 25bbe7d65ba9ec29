// Progress of long jobs.
#include "tools/progress.h"

#include "platform/clock.h"
#include "platform/interrupts.h"
#include "platform/process.h"

#include <cstdio>

constexpr double SECONDS_BETWEEN_REPORTS = 0.25;
constexpr std::size_t ITEMS_BETWEEN_LOOKS = 4096;

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

bool interrupted_at(Progress& progress, std::size_t count) {
    if (count % ITEMS_BETWEEN_LOOKS != 0) return false;
    show_progress(progress, count);
    return interrupted();
}

void end_progress(Progress& progress) {
    if (progress.shown) std::fprintf(stderr, "\r%40s\r", "");
    progress.shown = false;
}
