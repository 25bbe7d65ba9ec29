// Interrupts by the signals that every platform has.
#include "platform/interrupts.h"

#include "platform/relaxed.h"

#include <csignal>
#include <cstdint>

namespace {

struct Caught {
    int signal;
    Relaxed<std::uint8_t> is_ours;
};

Caught caught[] = {{SIGINT, 0}, {SIGTERM, 0}};
Relaxed<std::uint8_t> noted = 0;
void (*interrupt_action)() = nullptr;

void note_interrupt(int) {
    noted = 1;
    for (const Caught& each : caught) {
        if (each.is_ours) std::signal(each.signal, SIG_DFL);  // whichever comes next ends the process
    }
    if (interrupt_action) interrupt_action();
}

}  // namespace

void catch_interrupts(void (*action)()) {
    noted = 0;
    interrupt_action = action;
    for (Caught& each : caught) {
        // Whoever started the program may have told it to ignore interrupts: a job in the background goes on.
        each.is_ours = std::signal(each.signal, note_interrupt) != SIG_IGN;
        if (!each.is_ours) std::signal(each.signal, SIG_IGN);
    }
}

bool interrupted() {
    return noted != 0;
}
