// The life of the program: start-up in its fixed order, the selected run mode, tear-down.
#pragma once

#include <cstdint>

// Runs the whole program; returns its exit status.
int run_program(int count, const char* const* arguments);

// The table size to use when a depth or node limit makes a large table pointless to clear: at most hash_mb.
int capped_hash_mb(int hash_mb, int depth_limit, std::uint64_t node_limit);
