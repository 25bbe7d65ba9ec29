// The command line of self-play.
#pragma once

#include "training/switches.h"

#include <cstdint>
#include <string>
#include <vector>

struct SelfplayOptions {
    // Games.
    std::string output;       // prefix of the files
    std::uint64_t games = 0;  // of this run, all processes together; 0: until interrupted
    std::uint64_t nodes = 1000;
    int random_plies_low = 8;  // random moves from the standard start position
    int random_plies_high = 10;
    std::vector<std::string> openings;  // EPD files
    int opening_share = 50;             // percent of the games that begin from them
    int hash_mb = 4;
    bool use_network = true;
    std::string network;  // empty: the built-in one
    std::string params;   // empty: the built-in ones
    std::string syzygy;
    std::uint64_t seed = 0;  // 0: from the clock
    int processes = 1;
    bool adjudicate_wins = true;
    bool adjudicate_draws = true;
    int adjudicate_share = 75;  // percent of the games in which clear results are adjudicated
    int deviations = 0;         // tries for a position off the game, at each move
    int samples = 0;            // tries for a position from inside the search, at each move
    std::uint64_t deviation_nodes = 150;
    bool score_labels = false;  // records carry their search score in place of the game's result
    bool write_bin = false;
    bool write_epd = false;
    bool write_pgn = false;

    // Work on record files in place of games.
    std::vector<std::string> inputs;
    std::string merge_output;  // not empty: merge them and do nothing else
    int holdout = 0;           // percent of the merged records that go to a second file
    std::string vary_output;   // not empty: vary their positions and do nothing else
    int copies = 4;            // variations tried for each record

    // Records from the endgame tables in place of games; the inputs are materials.
    std::string endings_output;       // not empty: write them and do nothing else
    std::uint64_t count = 1'000'000;  // records of each material
};

// Reads the command line; prints what --help asks for.
SwitchesResult read_options(int count, const char* const* arguments, SelfplayOptions& options);
