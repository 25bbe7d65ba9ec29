// Lost pages of mapped files on POSIX: a handler of SIGBUS puts pages of zeros in their place.
#include "platform/map_guard.h"

#include <errno.h>
#include <signal.h>
#include <sys/mman.h>
#if defined(__linux__)
#include <sys/syscall.h>
#endif
#include <unistd.h>

#include <atomic>

namespace {

// The handler may walk the list at any moment, in any thread: guards are used again, never freed.
struct Guard {
    std::atomic<std::uintptr_t> begin;  // 0: free
    std::atomic<std::uintptr_t> end;
    Guard* next;
};
std::atomic<Guard*> guards = nullptr;

std::uintptr_t page_size = 0;  // 0: no handler yet
struct sigaction previous_action;

// Past ThreadSanitizer where that is possible, which takes mmap for a write to pages that other threads read.
bool map_zeros(std::uintptr_t begin, std::uintptr_t end) {
    constexpr int FLAGS = MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED;
#if defined(__linux__) && defined(__LP64__)
    return syscall(SYS_mmap, begin, end - begin, PROT_READ, FLAGS, -1L, 0L) == static_cast<long>(begin);
#else
    void* const place = reinterpret_cast<void*>(begin);
    return mmap(place, end - begin, PROT_READ, FLAGS, -1, 0) == place;
#endif
}

// False when the address lies in no guarded mapping, or the system refuses.
bool put_zeros_from(std::uintptr_t address) {
    for (const Guard* guard = guards; guard; guard = guard->next) {
        const std::uintptr_t begin = guard->begin;
        const std::uintptr_t end = guard->end;
        if (begin == 0 || address < begin || address >= end) continue;
        if (guard->begin != begin) continue;  // `end` may be another mapping's
        return map_zeros(address & ~(page_size - 1), end);
    }
    return false;
}

// The instruction that failed runs again on return. Any fault that is not the guards' business then ends the program
// as it would have done without them. A signal that was sent has no such instruction and no address.
void on_bus_error(int signal, siginfo_t* info, void*) {
    const int error = errno;
    const bool sent = info->si_code <= 0;
    if (sent || !put_zeros_from(reinterpret_cast<std::uintptr_t>(info->si_addr))) {
        sigaction(signal, &previous_action, nullptr);
        if (sent) raise(signal);
    }
    errno = error;
}

void install_handler() {
    if (page_size != 0) return;
    page_size = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    struct sigaction action {};
    action.sa_sigaction = on_bus_error;
    action.sa_flags = SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    sigaction(SIGBUS, &action, &previous_action);
}

// The guard of the mapping that begins there, or nullptr; 0 finds a free one.
Guard* find_guard(std::uintptr_t begin) {
    Guard* guard = guards;
    while (guard && guard->begin != begin) guard = guard->next;
    return guard;
}

}  // namespace

void guard_map(const FileMap& map) {
    install_handler();
    Guard* guard = find_guard(0);
    if (!guard) {
        guard = new Guard{};
        guard->next = guards;
        guards = guard;
    }
    const auto begin = reinterpret_cast<std::uintptr_t>(map.data);
    guard->end = begin + map.size;
    guard->begin = begin;
}

void release_guard(const FileMap& map) {
    if (!map.data) return;
    if (Guard* const guard = find_guard(reinterpret_cast<std::uintptr_t>(map.data))) guard->begin = 0;
}
