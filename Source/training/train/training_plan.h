// Everything that a training run can be told, and the recipe file that tells it.
#pragma once

#include "training/train/trainer.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct TrainingPlan {
    std::vector<std::string> data;     // record files and folders of them
    std::string held_out_data;         // file or folder to judge by, in place of a share of the data
    std::string yardstick;             // file or folder of records that each epoch's network is measured by
    std::size_t positions = SIZE_MAX;  // records read at most
    std::string output = "trained.nn";
    std::vector<std::string> network;  // to begin with their mean, if asked for; none: with the embedded one
    int hidden = 1536;
    int epochs = 0;
    int batch = 16384;
    double learning_rate = 0.001;
    double final_rate = 0.01;                   // share of the learning rate at the end of the cosine
    int warm_up = 200;                          // steps in which the rate rises
    double decay = 0;                           // of first-layer weights, relative to the learning rate
    double result_share = TARGET_RESULT_SHARE;  // of the game's result in the target
    Loss loss = Loss::SQUARED;
    bool shared_rows = true;
    double held_out = 0.02;  // share of the records
    std::uint64_t seed = 1;
    int report_steps = 100;  // between two lines of the log
    bool keep_all = false;   // one network file for each epoch
};

// Reads a recipe: lines "name = value", the rest of a line after "#" being a comment. Returns what is wrong with it,
// or an empty text.
std::string read_recipe(const std::string& name, TrainingPlan& plan);

// The names that a recipe knows, with their meaning, for people.
std::string recipe_usage();

// Learning rate of a step (from 0) of a run of `steps`: a linear rise, then half a cosine down to the final rate.
double learning_rate_at(const TrainingPlan& plan, std::int64_t step, std::int64_t steps);
