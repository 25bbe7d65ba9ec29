// Large blocks of memory that live for long and are read all over: the system is asked to back them with large
// pages, which saves many address translations.
#pragma once

#include <cstddef>

struct LargeBlock {
    void* data = nullptr;        // starts at a large page; nullptr: nothing allocated
    void* allocation = nullptr;  // what the allocator gave
};

// Zero-filled memory of `size` bytes. False, with the block empty, when there is not enough.
bool allocate_large(std::size_t size, LargeBlock& block);
// Leaves the block empty; an empty one stays so.
void free_large(LargeBlock& block);
