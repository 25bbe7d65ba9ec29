// Standard input without waiting, and the one wait of the main thread: for input, for another thread, for a time.
#pragma once

#include <cstddef>

enum class InputStatus {
    NONE,         // nothing to read now
    DATA,         // bytes were read
    END_OF_FILE,  // the other side closed its end
    FAILED        // the read failed
};

// Prepares standard input on first use: drops mouse and window events of a Windows console; nothing elsewhere.
void open_console_input();
// Reads up to `size` bytes that are waiting; never blocks. `count` is the number of bytes read.
InputStatus read_available_input(char* buffer, std::size_t size, std::size_t& count);

// What may end a wait beside the time and other threads.
enum class Watch {
    INPUT,       // bytes, or the end of the input
    OUTPUT_END,  // once the input has ended: that the reader of standard output closes it, where the platform can tell
    NEITHER,
};

// Waits until what is watched happens, end_wait is called, or `seconds` have passed (negative: no limit). It may return
// early. Main thread only.
void wait_for_event(Watch watch, double seconds);
// Ends the wait of wait_for_event: the running one, or else the next. Any thread.
void end_wait();
// True when the reader of standard output is known to have closed its end.
bool output_is_closed();
