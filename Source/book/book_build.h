// Book building: the opening moves of a file of games become a Polyglot book.
#pragma once

#include "position/position.h"

constexpr const char* BUILT_BOOK = "tmp_book.bin";

// Counts for the first moves of every game in settings.pgn_file how the side that played them did, and writes those
// that were played often and well enough to "tmp_book.bin", replacing it; an older book stays when there is no such
// move. Games are replayed on the board. Returns the exit status: 0, also without a new book when there is no such file
// of games or it is the book itself; 1, without a new book, when the games cannot be read or need more memory than
// there is, or an interrupt ended the reading; -1 when the book cannot be written. What went wrong has been reported.
int build_book(Position& board);
