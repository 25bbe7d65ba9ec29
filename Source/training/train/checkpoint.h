// A training state in a file.
#pragma once

#include "training/train/trainer.h"

#include <cstdint>
#include <string>

// What a run must have in common with the one that it continues.
struct RunIdentity {
    std::int32_t hidden = 0;
    std::int32_t batch = 0;
    std::uint64_t seed = 0;
    std::uint64_t training_records = 0;
};

// Writes beside `name` first and then renames, so that the file is always a whole checkpoint. False on failure.
bool write_checkpoint(const std::string& name, const RunIdentity& identity, const TrainingState& state);

// Empty on success, else what is wrong; the state is then not usable.
std::string read_checkpoint(const std::string& name, RunIdentity& identity, TrainingState& state);
