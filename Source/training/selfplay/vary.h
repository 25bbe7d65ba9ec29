// Records for the first lessons of a network: many positions near those of games, with the static score of the
// evaluation that is to be imitated. They cost a few microseconds each, hundreds of times less than searched ones.
#pragma once

#include "training/selfplay/options.h"

// Reads the inputs one after another and writes the variations of each record: one to four random moves off its
// position, not in check, no endgame that is scored by its material alone. Their static score stands in all three
// labels. The evaluation has been brought up. False, with a message, when something fails; an interrupt ends the work
// with what has been written.
bool vary_records(const SelfplayOptions& options);
