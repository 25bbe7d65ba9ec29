// Book building: the opening moves of a file of games become a Polyglot book.
#pragma once

#include "position/position.h"

constexpr const char* BUILT_BOOK = "tmp_book.bin";

// Counts for the first moves of every game in settings.pgn_file how the side that played them did, and writes those
// that were played often and well enough to "tmp_book.bin", replacing it. Games are replayed on the board. Returns the
// exit status: 0, also without a new book when there is no such file of games; 1, without a new book, when the games
// cannot be read, need more memory than there is or lie in the file of the book, or an interrupt ended the reading; -1
// when the book cannot be written. What went wrong has been reported.
int build_book(Position& board);
