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

HeldOutError held_out_error(const Model& model, std::span<const TrainingRecord> records, double result_share,
                            Workspace& workspace, ThreadTeam& team);

struct QuantisationError {
    int positions = 0;
    double mean = 0;  // of the absolute difference, centipawns
    double most = 0;
};

// Compares the model's scores with nn_evaluate of the loaded network.
QuantisationError quantisation_error(const Model& model, std::span<const TrainingRecord> records, Workspace& workspace,
                                     ThreadTeam& team);

// How well the loaded network, by nn_evaluate, foretells what deeper knowledge says of the records: mean squared errors
// of expected results against the records' scores, and against the results of those that carry one.
struct YardstickError {
    int positions = 0;
    double score = 0;
    int games = 0;  // positions whose result is a win, a draw or a loss, not a score
    double result = 0;
    double scale = 0;  // of a centipawn, in place of 0.006: the one with the least error against these results
};
YardstickError yardstick_error(std::span<const TrainingRecord> records);

// The same in two lines, which end with a newline.
std::string yardstick_report(std::span<const TrainingRecord> records);

// A table of score bins from -300 to 300: how the games of the records went against the win probability of the
// score, for the model's scores and for those of the records. Lines end with a newline.
std::string calibration_report(const Model& model, std::span<const TrainingRecord> records, Workspace& workspace,
                               ThreadTeam& team);
