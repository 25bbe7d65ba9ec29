// A training run from its plan to its files.
#pragma once

#include "training/train/checkpoint.h"
#include "training/train/train.h"
#include "training/train/training_plan.h"
#include "training/train/training_set.h"

#include <functional>
#include <span>
#include <string>

// The files of a run stand beside its network file.
std::string checkpoint_name(const TrainingPlan& plan);
std::string log_name(const TrainingPlan& plan);
std::string report_name(const TrainingPlan& plan);

// Prints the yardstick's report of each network that the plan names. Returns what is wrong, or an empty text.
std::string measure_networks(const TrainingPlan& plan, std::span<const TrainingRecord> yardstick);

// Sets up the state that the start asks for. Returns what is wrong, or an empty text. A checkpoint in the middle of an
// epoch must belong to the same plan and data; one between epochs may go on with others.
std::string start_state(const TrainingPlan& plan, TrainingStart start, const TrainingSet& set, TrainingState& state);

// Trains until the plan's epochs are done or `stop` says so, which is asked after every step. Each finished epoch
// writes network, checkpoint and report; a stop writes the checkpoint. False when a file could not be written.
bool train_epochs(const TrainingPlan& plan, const TrainingSet& set, TrainingState& state, ThreadTeam& team,
                  const std::function<bool()>& stop);
