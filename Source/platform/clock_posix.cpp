// Clock and sleeping by POSIX calls. There is no timer period to ask for, but Linux lets a sleep end up to 50
// microseconds late unless it is told otherwise.
#include "platform/clock.h"

#include <sched.h>
#include <time.h>
#if defined(__linux__)
#include <sys/prctl.h>
#endif

namespace {

timespec now() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t;
}

}  // namespace

double monotonic_seconds() {
    const timespec t = now();
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

std::uint32_t monotonic_nanoseconds() {
    return static_cast<std::uint32_t>(now().tv_nsec);
}

void sleep_milliseconds(int milliseconds) {
    if (milliseconds <= 0) {
        sched_yield();
        return;
    }
    const timespec duration{milliseconds / 1000, milliseconds % 1000 * 1000000L};
    nanosleep(&duration, nullptr);  // a signal may cut it short: callers only want a pause
}

const char* begin_timer_resolution() {
#if defined(__linux__)
    prctl(PR_SET_TIMERSLACK, 1UL);  // nanoseconds; threads created later have it too
#endif
    return nullptr;
}

void end_timer_resolution() {}
