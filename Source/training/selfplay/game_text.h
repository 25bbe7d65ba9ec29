// A finished game as text.
#pragma once

#include "training/selfplay/game.h"

#include <cstdint>
#include <string>

// One line for each kept position, "FEN ce SCORE; gr RESULT;" with the search score and the result for the side to
// move. Uses the game record's position.
std::string game_as_epd(const Game& game);

// The game in PGN. Every searched move has a comment {+0.35/14 0.001s}: pawns from the view of the side that moved,
// depth and time; random moves have {random}. Uses the game record's position.
std::string game_as_pgn(const Game& game, std::uint64_t number);
