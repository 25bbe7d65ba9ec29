// The one path for output lines: standard output and the log, whole lines, flushed at once.
#pragma once

#include <string>
#include <string_view>

// Prints the text and a newline to standard output and, with logging on, to the log. Any thread may call it.
void print_line(std::string_view text);
// The same with printf formatting; the line is never cut.
[[gnu::format(printf, 1, 2)]] void print_format(const char* format, ...);
// printf formatting into a string of any length.
[[gnu::format(printf, 1, 2)]] std::string format_text(const char* format, ...);
// Writes directly to standard output, without a newline, the lock or the log (batch tools, console reports).
[[gnu::format(printf, 1, 2)]] void print_raw(const char* format, ...);

// True when standard output takes nothing any more: the last write to it failed, or its reader closed it.
bool output_is_lost();

// Opens "tarn.log" afresh when settings.log is set and it is not open; clears settings.log (with the line
// "log file in use.") when that fails.
void open_log();
void close_log();
// Writes "CMD: line" to the log only, when logging is on and the log is open.
void log_command(std::string_view line);
