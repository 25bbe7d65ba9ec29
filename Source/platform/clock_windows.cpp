// Clock and sleeping on Windows, with the multimedia timer's period.
#include "platform/clock.h"

#include <algorithm>

#include <windows.h>

#include <mmsystem.h>  // needs the types of windows.h

namespace {

UINT timer_period = 0;  // milliseconds; 0 while none is set

LONGLONG counter_frequency() {
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    return frequency.QuadPart;
}

LONGLONG counter() {
    LARGE_INTEGER count;
    QueryPerformanceCounter(&count);
    return count.QuadPart;
}

}  // namespace

double monotonic_seconds() {
    static const LONGLONG frequency = counter_frequency();
    const LONGLONG count = counter();
    return static_cast<double>(count / frequency) +
           static_cast<double>(count % frequency) / static_cast<double>(frequency);
}

std::uint32_t monotonic_nanoseconds() {
    static const LONGLONG frequency = counter_frequency();
    return static_cast<std::uint32_t>(static_cast<double>(counter() % frequency) * 1e9 /
                                      static_cast<double>(frequency));
}

void sleep_milliseconds(int milliseconds) {
    Sleep(milliseconds > 0 ? static_cast<DWORD>(milliseconds) : 0);
}

const char* begin_timer_resolution() {
    TIMECAPS capabilities;
    if (timeGetDevCaps(&capabilities, sizeof capabilities) != MMSYSERR_NOERROR)
        return "error setting timer resolution\n";
    timer_period = std::min(std::max(capabilities.wPeriodMin, UINT{5}), capabilities.wPeriodMax);
    if (timeBeginPeriod(timer_period) == TIMERR_NOERROR) return nullptr;
    timer_period = 0;
    return "Error setting timer resolution";
}

void end_timer_resolution() {
    if (timer_period) timeEndPeriod(timer_period);
    timer_period = 0;
}
