// The loaded evaluation network as the start of a training run.
#pragma once

#include "training/train/model.h"

#include <span>

// Replaces the model's values by those of the loaded network. False when the network is incomplete, has another width
// or number of king buckets, or chooses its buckets by another rule.
bool import_network(Model& model);

// The mean of one or more models of one width. Each unit is first brought to the size that it has in the first model
// (its first-layer weights; the output weights make up for it), as each network is rounded with factors of its own.
// Only networks that were trained from one another have units that belong together.
Model mean_model(std::span<const Model> models);
