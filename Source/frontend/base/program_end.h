// The end of the program where it cannot go on. A room below the front end asks for it here, after it has said why, and
// returns; every loop ends on settings.quit, and the front end ends the program with the status asked for.
#pragma once

// Asks for the end with an exit status; of several calls the first counts. Raises settings.quit and ends the main
// thread's wait. Any thread.
void end_program(int status);
// True once the end was asked for.
bool program_ends();
// The status to end with: the one asked for, or `usual` when none was.
int end_status(int usual);
