// The loaded evaluation network as the start of a training run.
#pragma once

#include "tools/train/model.h"

// Replaces the model's values by those of the loaded network. False when the network is incomplete, has another width
// or number of king buckets, or chooses its buckets by another rule.
bool import_network(Model& model);
