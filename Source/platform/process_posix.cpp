// Process set-up by POSIX signals.
#include "platform/process.h"

#include <signal.h>

void survive_closed_output() {
    signal(SIGPIPE, SIG_IGN);
}
