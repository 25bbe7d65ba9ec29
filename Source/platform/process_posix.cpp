// Process set-up by POSIX signals.
#include "platform/process.h"

#include <signal.h>
#include <unistd.h>

Arguments begin_process(int count, const char* const* arguments) {
    return {count, arguments};
}

void survive_closed_output() {
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
}

bool error_output_is_terminal() {
    return isatty(STDERR_FILENO) == 1;
}
