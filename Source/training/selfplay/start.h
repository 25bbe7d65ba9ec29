// Where games begin: the standard position or a book position, then a few random moves.
#pragma once

#include "position/position.h"
#include "training/random.h"
#include "training/selfplay/options.h"

#include <string>
#include <vector>

struct OpeningBook {
    std::vector<std::vector<std::string>> files;  // FENs, one list for each file
};

// Reads the EPD files. False, with a message on the error stream, when one cannot be read or holds no position that
// can be played. Sets the game record's position.
bool load_openings(const std::vector<std::string>& names, OpeningBook& book);

struct Start {
    std::string fen;          // with counters; empty: the standard position
    std::vector<Move> moves;  // the random ones
    bool from_book = false;
};

// Legal moves of the position; its current move list is overwritten.
std::vector<Move> legal_moves(Position& position);

// Sets up the position of a start on the game record and makes its random moves. False when they ended the game.
bool set_up_start(const OpeningBook& book, const SelfplayOptions& options, Random& random, Start& start);
