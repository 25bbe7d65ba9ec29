// How large the first-layer sums of a network can become over playable positions: one king and at most 15 other
// pieces a side, of any types. Sums of 16 bits saturate; a network whose sums all fit gives the same result in
// whatever order and by whatever additions they are made.
#pragma once

#include "eval/network.h"

constexpr int SIDE_PIECES = 15;  // beside the king

// The largest absolute value that a first-layer sum of a complete network can take, partial sums included. All sums
// fit if it is at most 32767. `added`, 0 to SIDE_PIECES, says which sums are meant:
//     0             a full refresh, and updates at no moment of which a side has more than 15 pieces or a square has
//                   two pieces of one side
//     n             also updates that add at most n pieces to a side (the old ones may not yet have been removed, and
//                   may stand on the same squares)
//     SIDE_PIECES   also any other update from one playable position to another
// Kings are not counted as added: a king that has moved is assumed to be removed first. Takes some 5 to 15
// milliseconds.
int largest_first_layer_sum(const Network& net, int added);

// The same for BOUND_UNITS units at once and one sign: writes the largest values of sign * sum, at least 0. `weights`
// are `buckets` times 768 rows of BOUND_UNITS values in the order of the network file, `bias` is one such row.
constexpr int BOUND_UNITS = 16;
void largest_sums(const float* weights, int buckets, const float* bias, float sign, int added, float* largest);
