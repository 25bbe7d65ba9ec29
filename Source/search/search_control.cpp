// The one SearchControl record, and the commands that reach a running search.
#include "search/search_control.h"

#include "frontend/base/settings.h"
#include "platform/wait_point.h"

SearchControl search_control;

namespace {

WaitPoint commands;  // hold_answer waits for them

bool answer_is_due() {
    const std::uint16_t flags = search_control.think_flags;
    if ((flags & THINK_STOPPED) || settings.quit) return true;
    return !(flags & THINK_PONDER) && !search_control.infinite;
}

}  // namespace

void stop_search() {
    search_control.think_flags.fetch_or(THINK_STOPPED);
    notify_waiters(commands);
    search_control.stop = 1;
}

void ponder_hit() {
    std::uint16_t pondering = THINK_PONDER;
    search_control.think_flags.compare_exchange_strong(pondering, THINK_CLOCK);
    notify_waiters(commands);
}

void hold_answer() {
    wait_until(commands, answer_is_due);
}
