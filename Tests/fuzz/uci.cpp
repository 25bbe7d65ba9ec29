// UCI sessions, a command a line.
#include "fuzz/engine.h"

FUZZ_TARGET(uci) {
    reset_engine();
    send_lines(input);
}
