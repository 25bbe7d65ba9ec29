// Windows cannot copy a running process: there are no workers.
#include "platform/workers.h"

#include <cstdlib>

void* allocate_shared(std::size_t bytes) {
    return std::calloc(1, bytes);
}

int start_workers(int) {
    return -1;
}

bool workers_running() {
    return false;
}

int workers_failed() {
    return 0;
}

bool launcher_is_gone() {
    return false;
}
