// Large aligned blocks from the ordinary allocator.
#include "platform/memory.h"

#include <cstdint>
#include <cstdlib>
#if defined(__unix__)
#include <sys/mman.h>
#endif

bool allocate_large(std::size_t size, LargeBlock& block) {
    constexpr std::size_t LARGE_PAGE = std::size_t{2} << 20;
    block = LargeBlock{};
    // Fresh zero pages: touching them to clear them would only cost time.
    char* const allocation = static_cast<char*>(std::calloc(1, size + LARGE_PAGE));
    if (!allocation) return false;
    const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(allocation);
    block.allocation = allocation;
    block.data = allocation + (LARGE_PAGE - address % LARGE_PAGE) % LARGE_PAGE;
#if defined(MADV_HUGEPAGE)  // on Windows large pages need a privilege that players do not have
    madvise(block.data, size, MADV_HUGEPAGE);
#endif
    return true;
}

void free_large(LargeBlock& block) {
    std::free(block.allocation);
    block = LargeBlock{};
}
