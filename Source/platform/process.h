// What the whole process asks of its platform at the start.
#pragma once

// A reader that closes its end of our output must not kill the program in the middle of a write: writes fail
// quietly instead, and the end of the input ends the program in order.
void survive_closed_output();
