// Worker processes by fork.
#include "platform/workers.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

int running = 0;
int failed = 0;
pid_t launcher = 0;

}  // namespace

void* allocate_shared(std::size_t bytes) {
    void* const memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return memory == MAP_FAILED ? nullptr : memory;
}

int start_workers(int count) {
    launcher = getpid();
    for (int i = 0; i < count; ++i) {
        const pid_t child = fork();
        if (child == 0) return i;
        if (child < 0) break;
        ++running;
    }
    failed = count - running;
    return running == 0 ? -1 : count;
}

bool workers_running() {
    while (running > 0) {
        int status = 0;
        const pid_t child = waitpid(-1, &status, WNOHANG);
        if (child == 0) return true;
        if (child < 0) return false;
        --running;
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) ++failed;
    }
    return false;
}

int workers_failed() {
    return failed;
}

bool launcher_is_gone() {
    return launcher != 0 && getppid() != launcher;
}
