// From bytes on standard input to handled lines. Main thread only.
#pragma once

#include "search/parallel.h"

#include <cstddef>
#include <string>

// Reads what is waiting and handles at most one line; never waits. NUL, line feed, carriage return and '@' end
// a line; empty lines are ignored. At the end of the input an unlimited search is stopped, a limited one
// finishes while somebody reads the output, and once nothing is left to answer the program is told to quit.
InputState poll_input();

// Waits for the next non-empty line and returns it unhandled; false at the end of the input.
bool wait_for_line(std::string& line);

// Batch tools run to their end whatever happens to the input: its end then only stops the polling.
void ignore_end_of_input();

// Splits a byte stream into lines. Lines grow up to MAX_LINE bytes; a longer one is dropped whole.
struct LineBuffer {
    std::string pending;
    std::size_t scanned = 0;  // bytes of `pending` known to hold no separator
    bool dropping = false;    // inside a line that is too long
};

constexpr std::size_t MAX_LINE = 1 << 20;

void append_input(LineBuffer& buffer, const char* bytes, std::size_t size);
// Takes the next complete, non-empty line, at the end of the input also an unfinished last one. Adds the
// number of lines dropped on the way to `too_long`.
bool take_line(LineBuffer& buffer, bool end_of_input, std::string& line, int& too_long);
