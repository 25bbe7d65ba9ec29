// Standard input on Windows: a console is read by lines once a key waits, a pipe is peeked before it is read,
// a file is read at once. A pipe that cannot be peeked (compatibility layers pass on such) is read by a thread of its
// own, which may wait in the read.
#include "platform/console_input.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>

#include <conio.h>
#include <windows.h>

namespace {

std::atomic<bool> wait_ended{false};

HANDLE input_handle() {
    return GetStdHandle(STD_INPUT_HANDLE);
}

enum class PipeState { EMPTY, READY, CLOSED, NOT_PEEKED };

PipeState pipe_state() {
    DWORD waiting = 0;
    if (PeekNamedPipe(input_handle(), nullptr, 0, nullptr, &waiting, nullptr)) {
        return waiting ? PipeState::READY : PipeState::EMPTY;
    }
    return GetLastError() == ERROR_BROKEN_PIPE ? PipeState::CLOSED : PipeState::NOT_PEEKED;
}

InputStatus read_console_line(char* buffer, std::size_t size, std::size_t& count) {
    if (!_kbhit()) return InputStatus::NONE;
    if (!std::fgets(buffer, static_cast<int>(std::min<std::size_t>(size, 65536)), stdin)) {
        return std::feof(stdin) ? InputStatus::END_OF_FILE : InputStatus::FAILED;
    }
    count = std::strlen(buffer);
    return count ? InputStatus::DATA : InputStatus::NONE;
}

InputStatus read_bytes(char* buffer, std::size_t size, std::size_t& count) {
    DWORD got = 0;
    if (!ReadFile(input_handle(), buffer, static_cast<DWORD>(std::min<std::size_t>(size, 1 << 20)), &got, nullptr)) {
        return GetLastError() == ERROR_BROKEN_PIPE ? InputStatus::END_OF_FILE : InputStatus::FAILED;
    }
    count = got;
    return got ? InputStatus::DATA : InputStatus::END_OF_FILE;
}

constexpr std::size_t MAX_UNTAKEN = 1 << 20;  // a fast writer must not fill our memory

struct PipeReader {
    std::mutex lock;
    std::string untaken;                     // bytes read
    InputStatus status = InputStatus::NONE;  // END_OF_FILE or FAILED once there is no more to come
    bool started = false;                    // main thread only
};
// Never freed: the thread may be waiting in its read when the program ends.
PipeReader& pipe_reader = *new PipeReader;

std::size_t untaken_bytes() {
    const std::lock_guard<std::mutex> guard(pipe_reader.lock);
    return pipe_reader.untaken.size();
}

DWORD WINAPI read_pipe(void*) {
    static char chunk[65536];
    for (;;) {
        std::size_t count = 0;
        const InputStatus status = read_bytes(chunk, sizeof chunk, count);
        {
            const std::lock_guard<std::mutex> guard(pipe_reader.lock);
            pipe_reader.untaken.append(chunk, count);
            if (status != InputStatus::DATA) {
                pipe_reader.status = status;
                return 0;
            }
        }
        while (untaken_bytes() > MAX_UNTAKEN) Sleep(1);
    }
}

// False when the thread cannot be had.
bool start_pipe_reader() {
    if (!pipe_reader.started) {
        const HANDLE thread = CreateThread(nullptr, 0, read_pipe, nullptr, 0, nullptr);
        if (!thread) return false;
        CloseHandle(thread);
        pipe_reader.started = true;
    }
    return true;
}

InputStatus take_from_pipe_reader(char* buffer, std::size_t size, std::size_t& count) {
    if (!start_pipe_reader()) return InputStatus::FAILED;
    const std::lock_guard<std::mutex> guard(pipe_reader.lock);
    std::string& untaken = pipe_reader.untaken;
    if (untaken.empty()) return pipe_reader.status;
    count = untaken.copy(buffer, size);
    untaken.erase(0, count);
    return InputStatus::DATA;
}

bool pipe_is_quiet() {
    const PipeState state = pipe_state();
    if (state != PipeState::NOT_PEEKED) return state == PipeState::EMPTY;
    if (!start_pipe_reader()) return false;
    const std::lock_guard<std::mutex> guard(pipe_reader.lock);
    return pipe_reader.untaken.empty() && pipe_reader.status == InputStatus::NONE;
}

}  // namespace

bool input_is_terminal() {
    DWORD mode = 0;
    return GetConsoleMode(input_handle(), &mode) != 0;
}

void open_console_input() {
    DWORD mode = 0;
    if (!GetConsoleMode(input_handle(), &mode)) return;
    SetConsoleMode(input_handle(), mode & ~static_cast<DWORD>(ENABLE_MOUSE_INPUT | ENABLE_WINDOW_INPUT));
    FlushConsoleInputBuffer(input_handle());
}

InputStatus read_available_input(char* buffer, std::size_t size, std::size_t& count) {
    count = 0;
    if (input_is_terminal()) return read_console_line(buffer, size, count);
    if (GetFileType(input_handle()) == FILE_TYPE_PIPE) {
        switch (pipe_state()) {
            case PipeState::EMPTY: return InputStatus::NONE;
            case PipeState::CLOSED: return InputStatus::END_OF_FILE;
            case PipeState::NOT_PEEKED: return take_from_pipe_reader(buffer, size, count);
            case PipeState::READY: break;
        }
    }
    return read_bytes(buffer, size, count);
}

void wait_for_event(Watch watch, double seconds) {
    constexpr double LONGEST_WAIT = 1.0;
    const double limit = seconds < 0 || seconds > LONGEST_WAIT ? LONGEST_WAIT : seconds;
    const auto milliseconds = static_cast<DWORD>(limit * 1000) + 1;
    for (DWORD waited = 0; waited < milliseconds; ++waited) {
        if (wait_ended.exchange(false)) return;
        if (watch == Watch::INPUT && (input_is_terminal() ? _kbhit() != 0 : !pipe_is_quiet())) return;
        Sleep(1);
    }
}

void end_wait() {
    wait_ended = true;
}

bool output_is_closed() {
    return false;
}
