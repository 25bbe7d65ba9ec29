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

// A long console command watches the input without handling it. Lines that came with the command wait for its end, so
// that a script gets its answers. A "." or "quit" typed later ends the command. Ten minutes after the end of the input
// it ends by itself.
struct InputWatch {
    double start = 0;         // of the command, monotonic seconds
    bool settled = false;     // what came with the command is there
    std::size_t unseen = 0;   // index in `pending` of the first line typed later that was not looked at
    double end_of_input = 0;  // when the end was seen; 0: not yet
};

enum class Wish { NONE, STOP, QUIT };

// One look at what has come up to the time `now`.
Wish look_at_input(InputWatch& watch, const LineBuffer& buffer, bool ended, double now);

// Begins to watch standard input.
void watch_input();
// True when the command must end. The program is told to quit when that was asked for.
bool must_stop_command();
