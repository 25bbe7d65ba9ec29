// Process set-up by POSIX signals.
#include "platform/process.h"

#include <signal.h>
#include <unistd.h>

Arguments begin_process(int count, const char* const* arguments) {
    tell_missing_memory();
    signal(SIGXFSZ, SIG_IGN);
    return {count, arguments};
}

void survive_closed_output() {
    signal(SIGPIPE, SIG_IGN);
}

bool error_output_is_terminal() {
    return isatty(STDERR_FILENO) == 1;
}
