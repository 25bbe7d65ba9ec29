// Standard input on Windows: a console is read by lines once a key waits, a pipe is peeked before it is read,
// a file is read at once.
#include "platform/console_input.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <conio.h>
#include <windows.h>

namespace {

HANDLE input_handle() {
    return GetStdHandle(STD_INPUT_HANDLE);
}

enum class PipeState { EMPTY, READY, CLOSED, BROKEN };

PipeState pipe_state() {
    DWORD waiting = 0;
    if (PeekNamedPipe(input_handle(), nullptr, 0, nullptr, &waiting, nullptr)) {
        return waiting ? PipeState::READY : PipeState::EMPTY;
    }
    return GetLastError() == ERROR_BROKEN_PIPE ? PipeState::CLOSED : PipeState::BROKEN;
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
            case PipeState::BROKEN: return InputStatus::FAILED;
            case PipeState::READY: break;
        }
    }
    return read_bytes(buffer, size, count);
}

void wait_for_input(int milliseconds) {
    if (input_is_terminal()) {
        WaitForSingleObject(input_handle(), static_cast<DWORD>(milliseconds));
        return;
    }
    if (GetFileType(input_handle()) != FILE_TYPE_PIPE) return;
    // A pipe cannot be waited for.
    for (int waited = 0; waited < milliseconds && pipe_state() == PipeState::EMPTY; ++waited) Sleep(1);
}
