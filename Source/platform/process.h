// What the whole process asks of its platform.
#pragma once

struct Arguments {
    int count;
    const char* const* words;  // UTF-8; they live as long as the process
};

// The first step of `main`: takes its arguments, makes the standard streams carry the program's bytes as they are, and
// has a Windows console show them as UTF-8 until the program ends. A limit on the size of files makes writes fail from
// now on, and a failed allocation that no caller checks ends the process with one line and status 1.
Arguments begin_process(int count, const char* const* arguments);

// Installs that end of the process; each platform's begin_process calls it.
void tell_missing_memory();

// A reader that closes its end of our output must not kill the program in the middle of a write: writes fail
// quietly instead, and the end of the input ends the program in order.
void survive_closed_output();

// True when the error stream is an interactive terminal.
bool error_output_is_terminal();
