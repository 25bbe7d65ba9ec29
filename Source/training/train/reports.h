// What is measured on held-out records after each epoch.
#pragma once

#include "tools/training_record.h"
#include "training/train/trainer.h"

#include <span>
#include <string>

// Mean squared errors of the model's expected results over the records; 0 for no records.
struct HeldOutError {
    double target = 0;  // against what is trained towards
    double score = 0;   // against the search score alone, which the chances of a game do not blur
};

HeldOutError held_out_error(const Model& model, std::span<const TrainingRecord> records, Workspace& workspace,
                            ThreadTeam& team);

struct QuantisationError {
    int positions = 0;
    double mean = 0;  // of the absolute difference, centipawns
    double most = 0;
};

// Compares the model's scores with nn_evaluate of the loaded network.
QuantisationError quantisation_error(const Model& model, std::span<const TrainingRecord> records, Workspace& workspace,
                                     ThreadTeam& team);

// A table of score bins from -300 to 300: how the games of the records went against the win probability of the
// score, for the model's scores and for those of the records. Lines end with a newline.
std::string calibration_report(const Model& model, std::span<const TrainingRecord> records, Workspace& workspace,
                               ThreadTeam& team);
