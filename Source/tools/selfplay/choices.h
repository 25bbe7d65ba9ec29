// Choices: every legal move of the positions of games, scored by searches.
#pragma once

struct SelfplayOptions;

// Plays games from the options' starts and writes options.count of their positions to options.choices_output. Prints
// what it wrote. False, with one line on the error stream, when the output cannot be written or no start can be found.
bool write_choices(const SelfplayOptions& options);
