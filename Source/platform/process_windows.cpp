// Set-up and end of the process on Windows, where a closed pipe only fails the write.
#include "platform/process.h"

#include "platform/utf8_windows.h"

#include <fcntl.h>
#include <io.h>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <windows.h>

// Of the C runtime: the arguments of `wmain`.
struct StartupInfo {
    int new_mode;
};
extern "C" int __cdecl __wgetmainargs(int* count, wchar_t*** arguments, wchar_t*** environment, int expand_wildcards,
                                      StartupInfo* info);

namespace {

// The console before us. It outlives the process, and so does what the process sets.
UINT console_code_page = 0;  // 0: not set by us
DWORD console_input_mode = 0;
bool input_is_console = false;

// Called where nobody has caught the interrupt; the handler after it ends the process.
BOOL WINAPI give_console_back_first(DWORD) {
    give_console_back();
    return FALSE;
}

bool is_console(DWORD stream) {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(stream), &mode) != 0;
}

void show_utf8() {
    if (!is_console(STD_OUTPUT_HANDLE) && !is_console(STD_ERROR_HANDLE)) return;
    const UINT before = GetConsoleOutputCP();
    if (before != 0 && SetConsoleOutputCP(CP_UTF8)) console_code_page = before;
}

void keep_console() {
    input_is_console = GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &console_input_mode) != 0;
    SetConsoleCtrlHandler(give_console_back_first, TRUE);
}

// Without text mode: a line ends with a line feed alone, on both streams, as on other systems.
void write_bytes_as_they_are() {
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
}

// Those of `main` are in the code page of the system, which lacks most letters.
std::vector<std::string> utf8_arguments() {
    int count = 0;
    wchar_t** wide = nullptr;
    wchar_t** environment = nullptr;
    StartupInfo info{};
    std::vector<std::string> arguments;
    if (__wgetmainargs(&count, &wide, &environment, 0, &info) < 0) return arguments;
    for (int i = 0; i < count; ++i) arguments.push_back(utf8_text(wide[i]));
    return arguments;
}

}  // namespace

Arguments begin_process(int count, const char* const* arguments) {
    tell_missing_memory();
    write_bytes_as_they_are();
    keep_console();
    show_utf8();
    static const std::vector<std::string> texts = utf8_arguments();
    if (texts.empty()) return {count, arguments};
    static std::vector<const char*> words;
    for (const std::string& text : texts) words.push_back(text.c_str());
    words.push_back(nullptr);
    return {static_cast<int>(texts.size()), words.data()};
}

int end_process(int status) {
    std::fflush(nullptr);
    give_console_back();
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(status));
    return status;
}

void give_console_back() {
    if (console_code_page != 0) SetConsoleOutputCP(console_code_page);
    if (input_is_console) SetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), console_input_mode);
}

bool write_output(const char* bytes, std::size_t size) {
    return std::fwrite(bytes, 1, size, stdout) == size && std::fflush(stdout) == 0;
}

void survive_closed_output() {}

bool error_output_is_terminal() {
    return _isatty(_fileno(stderr)) != 0;
}
