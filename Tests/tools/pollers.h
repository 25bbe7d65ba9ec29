// Input pollers for tests of the tools that search.
#pragma once

#include "frontend/settings.h"

inline bool do_not_poll() {
    return false;
}

inline bool poll_a_quit() {
    settings.quit = 1;
    return false;
}
