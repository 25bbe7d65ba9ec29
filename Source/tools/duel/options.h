// The command line of the duel.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct DuelOptions {
    std::vector<std::string> params;    // two parameter files, or one to climb from; "built-in" names the program's own
    std::vector<std::string> openings;  // EPD files
    std::string climb;                  // not empty: tune by games and write this parameter file
    std::vector<std::string> towards;   // parameter files to climb towards or away from; none: along the tables' shapes
    std::uint64_t pairs = 1000;
    std::uint64_t nodes = 1000;
    std::uint64_t seed = 1;
    int processes = 1;
    double distance = 8;
    double rate = 0.02;
};

// Reads the command line; false when it makes no sense.
bool read_duel_options(int count, const char* const* arguments, DuelOptions& options);

void print_duel_usage();
