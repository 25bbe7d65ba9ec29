// What the whole process asks of its platform.
#pragma once

#include <cstddef>

struct Arguments {
    int count;
    const char* const* words;  // UTF-8; they live as long as the process
};

// The first step of `main`: takes its arguments, makes the standard streams carry the program's bytes as they are, and
// has a Windows console show them as UTF-8 until the program ends, by Ctrl-C too. A limit on the size of files makes
// writes fail from now on, and a failed allocation that no caller checks ends the process with one line and status 1.
Arguments begin_process(int count, const char* const* arguments);

// Installs that end of the process; each platform's begin_process calls it.
void tell_missing_memory();

// The last step of `main`: gives the console back and returns the exit status. On Windows it ends the process, without
// the end routines of the libraries, because the thread that reads the input may still be waiting.
int end_process(int status);

// Makes a Windows console what it was before begin_process; does nothing elsewhere.
void give_console_back();

// Writes all of it to standard output, which has no buffer or an empty one, and waits for a reader that is slow, also
// where the output does not block. False when that cannot be done.
bool write_output(const char* bytes, std::size_t size);

// A reader that closes its end of our output must not kill the program in the middle of a write: writes fail
// quietly instead, and the end of the input ends the program in order.
void survive_closed_output();

// True when the error stream is an interactive terminal.
bool error_output_is_terminal();
