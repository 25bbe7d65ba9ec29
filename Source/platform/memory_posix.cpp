#include "platform/memory.h"

#include <sys/mman.h>

void advise_large_pages([[maybe_unused]] void* start, [[maybe_unused]] std::size_t size) {
#if defined(MADV_HUGEPAGE)
    madvise(start, size, MADV_HUGEPAGE);
#endif
}
