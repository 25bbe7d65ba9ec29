// What the tuner puts out: the parameter text, and the tables for the eye.
#pragma once

#include "training/tune/fit.h"

#include <cstdio>
#include <string>

// The registry's value that changes[value] is counted from.
double table_value(std::size_t value);

// The whole registry as parameter text, its tables changed and rounded; load_params_text reads it back.
std::string params_text(const TableChange& change);

// Characters of the built-in text. The format of the text (docs/file-formats.md) fixes the length with the rest, so the
// text of a fit, which is to take the place of the built-in one, has to have it.
std::size_t fixed_text_length();

// Changes free values so that params_text has exactly `length` characters, to the nearest ones with a character more
// or less, where that costs least by the curvature of the error. False, with nothing changed, when that is not enough.
bool fit_text_length(TableChange& change, const TableChange& curvature, std::size_t length);

// Prints the registry's tables, rank 8 first: middle game, end game, and how many positions show each entry.
// Entries that a fit never changes are marked "=", those that no position can use are left blank.
void print_tables(std::FILE* out, const std::array<std::uint64_t, TABLE_ENTRIES>& counts);
