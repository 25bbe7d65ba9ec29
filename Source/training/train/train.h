// The entry of the training variant (TARN_TRAIN).
#pragma once

#include "frontend/command_line.h"

// Trains a network with settings.threads threads and reports on standard output; a progress line goes to the error
// output. The request's file may be a recipe (see training_plan.h). Returns the exit status.
int run_training(const TrainingRequest& request);
