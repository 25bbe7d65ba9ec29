// The entry of the training variant (TARN_TRAIN): what the command line asks for, and the run.
#pragma once

enum class TrainingStart {
    RANDOM,      // -train FILE N 0
    NETWORK,     // -train FILE N 1: an existing network
    CHECKPOINT,  // -train2: where an earlier run stopped
};

struct TrainingRequest {
    char file[150] = "";  // training records (.bin), a folder of them, or a recipe (see training_plan.h)
    int epochs = 0;
    TrainingStart start = TrainingStart::RANDOM;
    double learning_rate = 0;  // 0: not given
    int batch = 0;             // 0: not given
};

// Trains a network with settings.threads threads and reports on standard output; a progress line goes to the error
// output. Needs init_tables. Returns the exit status.
int run_training(const TrainingRequest& request);
