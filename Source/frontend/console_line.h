// One console line in words, and the commands that have files of their own.
#pragma once

#include <array>
#include <string>
#include <string_view>

struct ConsoleLine {
    std::string_view text;
    std::array<std::string, 10> words;  // the command word and up to nine further words; missing ones are empty
};

// Shows a setting's new value or changes the search and play settings as a whole: console_settings.cpp.
void set_command(const ConsoleLine& line);
void print_settings_help();
// The board editor, and the position mirrored with colours exchanged: console_editor.cpp.
void edit_command(const ConsoleLine& line);
void reverse_command(const ConsoleLine& line);
// Games from and to PGN files: console_games.cpp.
void load_command(const ConsoleLine& line);
void save_command(const ConsoleLine& line);
// What evaluation sees in the position: console_reports.cpp.
void show_evaluation();
void network_report_command(const ConsoleLine& line);
void parameter_command(const ConsoleLine& line);
void swap_command(const ConsoleLine& line);
void line_command(const ConsoleLine& line);
void perft_command(const ConsoleLine& line);

// False, with one line that says so, for a position that must not be searched.
bool require_playable();
// Both sides have the whole time of the level again.
void reset_clocks();
