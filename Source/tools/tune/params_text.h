// What the tuner puts out: the parameter text, and the tables for the eye.
#pragma once

#include "tools/tune/fit.h"

#include <cstdio>
#include <string>

// The whole registry as parameter text, its tables changed and rounded; load_params_text reads it back.
std::string params_text(const TableChange& change);

// Prints the registry's tables, rank 8 first: middle game, end game, and how many positions show each entry.
// Entries that a fit never changes are marked "=", those that no position can use are left blank.
void print_tables(std::FILE* out, const std::array<std::uint64_t, TABLE_ENTRIES>& counts);
