// Standard input by poll and read: the same for pipes, files and terminals. A terminal keeps its line editing,
// so bytes appear when a line is complete.
#include "platform/console_input.h"

#include <errno.h>
#include <poll.h>
#include <unistd.h>

namespace {

bool wait_readable(int milliseconds) {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    return poll(&input, 1, milliseconds) > 0;  // also true for a hang-up or a bad descriptor: read tells
}

}  // namespace

bool input_is_terminal() {
    return isatty(STDIN_FILENO) == 1;
}

void open_console_input() {}

InputStatus read_available_input(char* buffer, std::size_t size, std::size_t& count) {
    count = 0;
    if (!wait_readable(0)) return InputStatus::NONE;
    const ssize_t got = read(STDIN_FILENO, buffer, size);
    if (got > 0) {
        count = static_cast<std::size_t>(got);
        return InputStatus::DATA;
    }
    if (got == 0) return InputStatus::END_OF_FILE;
    return errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK ? InputStatus::NONE : InputStatus::FAILED;
}

void wait_for_input(int milliseconds) {
    wait_readable(milliseconds);
}
