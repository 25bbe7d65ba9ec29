// Standard input without waiting.
#pragma once

#include <cstddef>

enum class InputStatus {
    NONE,         // nothing to read now
    DATA,         // bytes were read
    END_OF_FILE,  // the other side closed its end
    FAILED        // the read failed
};

// True when standard input is an interactive terminal.
bool input_is_terminal();
// Prepares standard input on first use: drops mouse and window events of a Windows console; nothing elsewhere.
void open_console_input();
// Reads up to `size` bytes that are waiting; never blocks. `count` is the number of bytes read.
InputStatus read_available_input(char* buffer, std::size_t size, std::size_t& count);
// Waits until input can be read or `milliseconds` have passed.
void wait_for_input(int milliseconds);
