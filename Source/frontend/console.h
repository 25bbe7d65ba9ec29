// The command language for a person at a terminal: games, positions, analysis and diagnostics. Main thread only.
#pragma once

#include <string_view>

// Handles one line.
void console_command(std::string_view line);
