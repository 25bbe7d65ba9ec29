// What the whole process asks of its platform.
#pragma once

struct Arguments {
    int count;
    const char* const* words;  // UTF-8; they live as long as the process
};

// The first step of `main`: takes its arguments, makes the standard streams carry the program's bytes as they are, and
// has a Windows console show them as UTF-8 until the program ends.
Arguments begin_process(int count, const char* const* arguments);

// A reader that closes its end of our output must not kill the program in the middle of a write: writes fail
// quietly instead, and the end of the input ends the program in order. A limit on the size of files must not kill it
// either.
void survive_closed_output();

// True when the error stream is an interactive terminal.
bool error_output_is_terminal();
