// Console sessions, a command a line; the board editor takes the lines that follow it.
#include "fuzz/engine.h"

FUZZ_TARGET(console) {
    reset_engine();
    settings.uci_mode = 0;
    send_lines(input);
}
