// The UCI side of the command language. Main thread only; a search is never started here: the handler records
// limits and sets think_flags.
#pragma once

#include <string_view>

// From this many seconds on a fixed time per move is no limit (`go infinite`, console analysis).
constexpr float UNLIMITED_TIME = 99999.0f;

// Handles one line.
void uci_command(std::string_view line);
