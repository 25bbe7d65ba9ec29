// Records of random endgame positions, labelled by the endgame tables: which endings are won, and what brings the win
// nearer. Searched games seldom reach them, and their scores do not know.
#pragma once

#include "training/selfplay/options.h"

// Writes `count` records for each material of the inputs, such as KRPvKR. The engine and the tables have been brought
// up. False, with a message, when a material is none, has no complete tables or is scored without a network, or when
// the output fails; an interrupt ends the work with what has been written. Prints how many are won, drawn and lost for
// the side to move.
bool write_endings(const SelfplayOptions& options);
