// Standard input by poll and read: the same for pipes, files and terminals. A terminal keeps its line editing,
// so bytes appear when a line is complete. Another thread ends a wait through a pipe of our own.
#include "platform/console_input.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace {

constexpr double LONGEST_WAIT = 1e6;  // seconds; the caller waits again
constexpr int WAIT_WITHOUT_PIPE = 1;  // milliseconds, where no pipe could be made
constexpr short NO_EVENTS = 0;        // errors and hang-ups are reported all the same

// Both ends never block: a full pipe ends the wait as well as one more byte would.
struct WakePipe {
    int ends[2] = {-1, -1};
    WakePipe() {
        if (pipe(ends) != 0) return;
        for (const int end : ends) {
            fcntl(end, F_SETFL, fcntl(end, F_GETFL) | O_NONBLOCK);
            fcntl(end, F_SETFD, FD_CLOEXEC);
        }
    }
};

const WakePipe& wake_pipe() {
    static const WakePipe pipe;
    return pipe;
}

void empty_wake_pipe() {
    char bytes[64];
    while (read(wake_pipe().ends[0], bytes, sizeof bytes) > 0) {}
}

// poll passes over negative descriptors.
pollfd watched(Watch watch) {
    switch (watch) {
        case Watch::INPUT: return {STDIN_FILENO, POLLIN, 0};
        case Watch::OUTPUT_END: return {STDOUT_FILENO, NO_EVENTS, 0};
        case Watch::NEITHER: break;
    }
    return {-1, NO_EVENTS, 0};
}

bool input_is_waiting() {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    return poll(&input, 1, 0) > 0;  // also true for a hang-up or a bad descriptor: read tells
}

}  // namespace

void open_console_input() {}

InputStatus read_available_input(char* buffer, std::size_t size, std::size_t& count) {
    count = 0;
    if (!input_is_waiting()) return InputStatus::NONE;
    const ssize_t got = read(STDIN_FILENO, buffer, size);
    if (got > 0) {
        count = static_cast<std::size_t>(got);
        return InputStatus::DATA;
    }
    if (got == 0) return InputStatus::END_OF_FILE;
    return errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK ? InputStatus::NONE : InputStatus::FAILED;
}

void wait_for_event(Watch watch, double seconds) {
    pollfd events[] = {{wake_pipe().ends[0], POLLIN, 0}, watched(watch)};
    if (wake_pipe().ends[0] < 0) {
        poll(events, std::size(events), WAIT_WITHOUT_PIPE);
        return;
    }
    const double limit = std::clamp(seconds < 0 ? LONGEST_WAIT : seconds, 0.0, LONGEST_WAIT);
    const double whole = std::floor(limit);
    const timespec timeout{static_cast<time_t>(whole), static_cast<long>((limit - whole) * 1e9)};
    ppoll(events, std::size(events), &timeout, nullptr);
    if (events[0].revents != 0) empty_wake_pipe();
}

void end_wait() {
    constexpr char BYTE = 0;
    [[maybe_unused]] const ssize_t written = write(wake_pipe().ends[1], &BYTE, 1);
}

bool output_is_closed() {
    pollfd output{STDOUT_FILENO, NO_EVENTS, 0};
    return poll(&output, 1, 0) > 0;
}
