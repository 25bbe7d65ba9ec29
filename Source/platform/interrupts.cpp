// Interrupts by the signals that every platform has.
#include "platform/interrupts.h"

#include "platform/relaxed.h"

#include <csignal>
#include <cstdint>

namespace {

Relaxed<std::uint8_t> noted = 0;
void (*interrupt_action)() = nullptr;

void note_interrupt(int signal) {
    noted = 1;
    std::signal(signal, SIG_DFL);
    if (interrupt_action) interrupt_action();
}

void catch_signal(int signal) {
    // Whoever started the program may have told it to ignore interrupts: a job in the background goes on.
    if (std::signal(signal, note_interrupt) == SIG_IGN) std::signal(signal, SIG_IGN);
}

}  // namespace

void catch_interrupts(void (*action)()) {
    noted = 0;
    interrupt_action = action;
    catch_signal(SIGINT);
    catch_signal(SIGTERM);
}

bool interrupted() {
    return noted != 0;
}
