// -prune_nn: from a network with a wide first layer, one that keeps the PRUNED_WIDTH nodes that contribute most to the
// evaluations of a set of training positions.
#pragma once

#include "eval/inference.h"
#include "eval/network.h"
#include "position/position.h"

#include <array>
#include <cstdint>

constexpr int PRUNED_WIDTH = 1536;
using PrunedNodes = std::array<int, PRUNED_WIDTH>;  // old node of each new one

// Prunes the loaded network into "pruned.bin" in the working directory. `training_file` names the positions; empty for
// the usual file. Returns the exit status: 0, also when nothing is written because the network is no wider than
// PRUNED_WIDTH, there is no such file, or a file that is read would be overwritten; 1 when there is no network or no
// position, or when memory ran out, a read failed or an interrupt came; -1 when the file could not be written. Faults
// are reported on the error stream.
int prune_network(const char* training_file);

// Adds what each node contributes to the evaluation of a playable position to the statistics: H values for White's
// perspective, then H for Black's. False, after one line that says so, when the network cannot evaluate for lack of
// memory.
bool add_contributions(NetworkState& state, const Position& position, float* statistics);

// The nodes of a first layer of `hidden` nodes with the largest statistics, best first. The lower node comes first
// among equals, and node 0 fills the rest when no other node has contributed. Clears the statistics of the chosen
// nodes.
PrunedNodes select_nodes(float* statistics, int hidden);

// Values of the network that has only these nodes of `source`, in the order of a network file.
std::int32_t pruned_value_count(const Network& source);
void copy_nodes(const Network& source, const PrunedNodes& nodes, std::int16_t* values);
