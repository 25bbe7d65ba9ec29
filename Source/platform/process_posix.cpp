// Process set-up by POSIX signals, and output to whatever standard output is.
#include "platform/process.h"

#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>

Arguments begin_process(int count, const char* const* arguments) {
    tell_missing_memory();
    signal(SIGXFSZ, SIG_IGN);
    return {count, arguments};
}

int end_process(int status) {
    return status;
}

void give_console_back() {}

bool write_output(const char* bytes, std::size_t size) {
    std::fflush(stdout);
    while (size > 0) {
        const ssize_t written = write(STDOUT_FILENO, bytes, size);
        if (written >= 0) {
            bytes += written;
            size -= static_cast<std::size_t>(written);
        } else if (errno == EAGAIN) {
            pollfd output{STDOUT_FILENO, POLLOUT, 0};
            poll(&output, 1, -1);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

void survive_closed_output() {
    signal(SIGPIPE, SIG_IGN);
}

bool error_output_is_terminal() {
    return isatty(STDERR_FILENO) == 1;
}
