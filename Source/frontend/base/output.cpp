// The line printer and the log file. One spin lock covers every write, and is never held while anything waits
// but the write itself.
#include "frontend/base/output.h"

#include "frontend/base/settings.h"
#include "platform/console_input.h"
#include "platform/file_ops.h"
#include "platform/process.h"
#include "platform/relaxed.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <thread>

namespace {

constexpr const char* LOG_NAME = "tarn.log";
constexpr std::size_t SHORT_LINE = 1024;  // longer lines take memory from the heap

std::atomic_flag output_lock = ATOMIC_FLAG_INIT;
std::FILE* log_file = nullptr;

struct OutputGuard {
    OutputGuard() {
        // The owner may wait for a reader that is slow to empty its pipe: leave the processor to others.
        for (int spins = 0; output_lock.test_and_set(std::memory_order_acquire); ++spins) {
            if (spins >= 100) std::this_thread::yield();
        }
    }
    ~OutputGuard() { output_lock.clear(std::memory_order_release); }
    OutputGuard(const OutputGuard&) = delete;
    OutputGuard& operator=(const OutputGuard&) = delete;
};

Relaxed<std::uint8_t> write_failed = 0;  // the last write to standard output

void write_to_log(std::string_view line) {
    std::fwrite(line.data(), 1, line.size(), log_file);
    std::fflush(log_file);
}

// `line` includes its newline.
void emit(const char* line, std::size_t size) {
    const OutputGuard guard;
    write_failed = !write_output(line, size);
    if (write_failed) end_wait();  // the main thread may have to give up a search that nobody waits for
    if (settings.log && log_file) write_to_log({line, size});
}

std::string format_long(std::size_t size, const char* format, std::va_list arguments) {
    std::string text(size + 1, '\0');
    std::vsnprintf(text.data(), size + 1, format, arguments);
    text.resize(size);
    return text;
}

std::string format_list(const char* format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    const int size = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    return size < 0 ? std::string() : format_long(static_cast<std::size_t>(size), format, arguments);
}

}  // namespace

void print_line(std::string_view text) {
    if (text.size() < SHORT_LINE) {
        char line[SHORT_LINE];
        std::memcpy(line, text.data(), text.size());
        line[text.size()] = '\n';
        emit(line, text.size() + 1);
        return;
    }
    std::string line(text);
    line += '\n';
    emit(line.data(), line.size());
}

void print_format(const char* format, ...) {
    char line[SHORT_LINE];
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list again;
    va_copy(again, arguments);
    const int size = std::vsnprintf(line, SHORT_LINE, format, arguments);
    va_end(arguments);
    if (size >= 0 && static_cast<std::size_t>(size) < SHORT_LINE) {
        line[size] = '\n';
        emit(line, static_cast<std::size_t>(size) + 1);
    } else if (size >= 0) {
        print_line(format_long(static_cast<std::size_t>(size), format, again));
    }
    va_end(again);
}

std::string format_text(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::string text = format_list(format, arguments);
    va_end(arguments);
    return text;
}

void print_raw(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = format_list(format, arguments);
    va_end(arguments);
    write_output(text.data(), text.size());
}

bool output_is_lost() {
    return write_failed || output_is_closed();
}

void open_log() {
    if (!settings.log || log_file) return;
    if (file_exists(LOG_NAME) && !delete_file(LOG_NAME)) {
        print_line("log file in use.");
        settings.log = 0;
        return;
    }
    log_file = open_file(LOG_NAME, "w");
    if (!log_file) settings.log = 0;
}

void close_log() {
    if (log_file) std::fclose(log_file);
    log_file = nullptr;
}

void log_command(std::string_view line) {
    if (!settings.log || !log_file) return;
    std::string entry = "CMD: ";
    entry.append(line);
    entry += '\n';
    const OutputGuard guard;
    write_to_log(entry);
}
