// Process set-up on Windows, where a closed pipe only fails the write.
#include "platform/process.h"

#include <io.h>
#include <cstdio>

void survive_closed_output() {}

bool error_output_is_terminal() {
    return _isatty(_fileno(stderr)) != 0;
}
