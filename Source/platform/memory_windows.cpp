#include "platform/memory.h"

// Large pages need a privilege that players do not have.
void advise_large_pages(void*, std::size_t) {}
