// Standard input on Windows. A thread of its own reads it, be it a pipe, a file or a console, because only the read
// itself waits alike for all of them; the main thread waits for the events that this thread and others set.
#include "platform/console_input.h"

#include "platform/utf8_windows.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <mutex>
#include <string>

#include <windows.h>

namespace {

constexpr std::size_t CHUNK = 65536;          // bytes that the thread reads at once
constexpr DWORD CONSOLE_UNITS = CHUNK / 4;    // of UTF-16, each of which becomes at most 3 bytes
constexpr std::size_t MAX_UNTAKEN = 1 << 20;  // a fast writer must not fill our memory
constexpr wchar_t CONSOLE_END = 0x1A;         // Ctrl-Z, as the first character of a line
constexpr double LONGEST_WAIT = 1e6;          // seconds; the caller waits again
constexpr double OUTPUT_LOOK = 0.1;           // seconds; nothing tells that our output was closed, so the caller looks

enum ResetMode : BOOL { AUTO_RESET = FALSE, MANUAL_RESET = TRUE };

HANDLE make_event(ResetMode mode) {
    return CreateEventW(nullptr, mode, FALSE, nullptr);
}

HANDLE wake_event() {
    static const HANDLE event = make_event(AUTO_RESET);
    return event;
}

HANDLE input_handle() {
    return GetStdHandle(STD_INPUT_HANDLE);
}

bool input_is_console() {
    static const bool console = [] {
        DWORD mode = 0;
        return GetConsoleMode(input_handle(), &mode) != 0;
    }();
    return console;
}

struct Reader {
    std::mutex lock;
    std::string untaken;                           // bytes read
    InputStatus status = InputStatus::NONE;        // END_OF_FILE or FAILED once there is no more to come
    const HANDLE news = make_event(MANUAL_RESET);  // set while there are untaken bytes or there is no more to come
    const HANDLE room = make_event(AUTO_RESET);    // set when bytes were taken
    bool started = false;                          // main thread only
};

// Never freed: the thread may be waiting in its read when the program ends.
Reader& reader() {
    static Reader& the_reader = *new Reader;
    return the_reader;
}

InputStatus read_bytes(char* buffer, std::size_t& count) {
    DWORD got = 0;
    if (!ReadFile(input_handle(), buffer, CHUNK, &got, nullptr)) {
        return GetLastError() == ERROR_BROKEN_PIPE ? InputStatus::END_OF_FILE : InputStatus::FAILED;
    }
    count = got;
    return got ? InputStatus::DATA : InputStatus::END_OF_FILE;
}

// Waits until Enter is pressed. Ctrl-C ends the wait without a line.
InputStatus read_console_line(char* buffer, std::size_t& count) {
    static wchar_t units[CONSOLE_UNITS];
    DWORD got = 0;
    SetLastError(ERROR_SUCCESS);
    if (!ReadConsoleW(input_handle(), units, CONSOLE_UNITS, &got, nullptr)) return InputStatus::FAILED;
    if (got == 0) return GetLastError() == ERROR_OPERATION_ABORTED ? InputStatus::DATA : InputStatus::END_OF_FILE;
    if (units[0] == CONSOLE_END) return InputStatus::END_OF_FILE;
    const std::string text = utf8_text({units, got});
    count = text.copy(buffer, CHUNK);
    return InputStatus::DATA;
}

// False when there is no more to come.
bool hand_over(const char* bytes, std::size_t count, InputStatus status) {
    const std::lock_guard<std::mutex> guard(reader().lock);
    reader().untaken.append(bytes, count);
    if (status != InputStatus::DATA) reader().status = status;
    if (count != 0 || status != InputStatus::DATA) SetEvent(reader().news);
    return status == InputStatus::DATA;
}

std::size_t untaken_bytes() {
    const std::lock_guard<std::mutex> guard(reader().lock);
    return reader().untaken.size();
}

DWORD WINAPI read_input(void*) {
    static char chunk[CHUNK];
    for (;;) {
        std::size_t count = 0;
        const InputStatus status = input_is_console() ? read_console_line(chunk, count) : read_bytes(chunk, count);
        if (!hand_over(chunk, count, status)) return 0;
        while (untaken_bytes() > MAX_UNTAKEN) WaitForSingleObject(reader().room, INFINITE);
    }
}

// False when the thread cannot be created.
bool start_reader() {
    if (reader().started) return true;
    input_is_console();  // decided before the thread's read keeps the handle busy
    const HANDLE thread = CreateThread(nullptr, 0, read_input, nullptr, 0, nullptr);
    if (!thread) return false;
    CloseHandle(thread);
    reader().started = true;
    return true;
}

}  // namespace

void open_console_input() {
    DWORD mode = 0;
    if (reader().started || !GetConsoleMode(input_handle(), &mode)) return;
    SetConsoleMode(input_handle(), mode & ~static_cast<DWORD>(ENABLE_MOUSE_INPUT | ENABLE_WINDOW_INPUT));
    FlushConsoleInputBuffer(input_handle());
}

InputStatus read_available_input(char* buffer, std::size_t size, std::size_t& count) {
    count = 0;
    if (!start_reader()) return InputStatus::FAILED;
    const std::lock_guard<std::mutex> guard(reader().lock);
    std::string& untaken = reader().untaken;
    if (untaken.empty()) return reader().status;
    count = untaken.copy(buffer, size);
    untaken.erase(0, count);
    if (untaken.empty() && reader().status == InputStatus::NONE) ResetEvent(reader().news);
    SetEvent(reader().room);
    return InputStatus::DATA;
}

void wait_for_event(Watch watch, double seconds) {
    if (watch == Watch::INPUT && !start_reader()) return;  // the read tells
    const HANDLE events[] = {wake_event(), reader().news};
    const double longest = watch == Watch::OUTPUT_END ? OUTPUT_LOOK : LONGEST_WAIT;
    const double limit = std::clamp(seconds < 0 ? longest : seconds, 0.0, longest);
    const auto milliseconds = static_cast<DWORD>(std::ceil(limit * 1000));
    if (WaitForMultipleObjects(watch == Watch::INPUT ? 2 : 1, events, FALSE, milliseconds) == WAIT_FAILED) Sleep(1);
}

void end_wait() {
    SetEvent(wake_event());
}

bool output_is_closed() {
    return std::ferror(stdout) != 0;  // some write has failed
}
