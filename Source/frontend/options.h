// The options that interfaces and configuration files set: one table, walked by the listing and by the setter.
#pragma once

#include <string_view>

// Applies one option and reports it; unknown names are ignored. Main thread, while no search runs.
void set_option(std::string_view name, std::string_view value);

// The answer to `uci`: identification, every option with its default and range, "uciok".
void print_option_list();

// Makes the transposition table as large as settings.hash_mb says. False, with one line on the error stream, when
// there is no memory for it: there is no table then.
bool resize_hash_table();
