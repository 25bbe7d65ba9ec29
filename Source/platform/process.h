// What the whole process asks of its platform.
#pragma once

// A reader that closes its end of our output must not kill the program in the middle of a write: writes fail
// quietly instead, and the end of the input ends the program in order. Nor must a limit on the size of files.
void survive_closed_output();

// True when the error stream is an interactive terminal.
bool error_output_is_terminal();
