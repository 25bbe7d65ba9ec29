// Interrupts from the terminal, for jobs that must leave their files whole.
#pragma once

// From now on the first interrupt (Ctrl-C, or a request to terminate) is only noted; a second one, of either kind, ends
// the process at once. `action`, if there is one, runs inside the signal handler and may do no more than store to an
// atomic.
void catch_interrupts(void (*action)() = nullptr);
// True once an interrupt was noted.
bool interrupted();
