// Monotonic time, sleeping and the timer resolution.
#pragma once

#include <cstdint>

// Seconds from an arbitrary start, nanosecond resolution, never going back.
double monotonic_seconds();
// Nanoseconds part (0..999,999,999) of the same clock.
std::uint32_t monotonic_nanoseconds();
// Sleeps about that long; 0 only yields the processor.
void sleep_milliseconds(int milliseconds);

// Asks for a timer resolution of at least 5 ms where the platform has such a setting; failures are reported
// as text lines for the user. Returns nullptr on success (and where nothing is to be done).
const char* begin_timer_resolution();
void end_timer_resolution();
