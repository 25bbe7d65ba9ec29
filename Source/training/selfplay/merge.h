// Merging files of training records into one that is ready for training.
#pragma once

#include "training/selfplay/options.h"

// Reads all inputs, leaves out damaged records and positions (board, side to move, castling rights and en-passant
// square) that occurred before, shuffles the rest and writes it; with a hold-out, two files. Prints counts and
// checksums. False, with a message, when something fails.
bool merge_records(const SelfplayOptions& options);
