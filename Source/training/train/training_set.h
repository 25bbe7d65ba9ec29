// The records of a training run in memory: what is learnt from, and what is held out to judge by.
#pragma once

#include "tools/training_record.h"
#include "training/train/thread_team.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

struct TrainingSet {
    std::vector<TrainingRecord> records;  // training records, then those held out
    std::size_t training = 0;             // number of the former
    std::vector<TrainingRecord> yardstick;
    std::size_t rejected = 0;  // damaged records that were left out

    std::span<const TrainingRecord> held_out() const { return std::span(records).subspan(training); }
};

// Appends up to `limit` records of a file ("*.bin"), or of all such files of a folder in the order of their names, to
// `records`. A part of a record at the end of a file is ignored. Empty on success, else what went wrong.
std::string read_records(const std::string& path, std::size_t limit, std::vector<TrainingRecord>& records);

// Drops damaged records and parts the rest. The hash of a position decides, so that a position is on the same side in
// every run with the same share, and a larger share contains a smaller one. At least `least` records (at most half)
// are held out.
TrainingSet make_training_set(std::vector<TrainingRecord> records, double held_out_share, std::size_t least,
                              ThreadTeam& team);

// Order in which an epoch visits the training records; the same for the same seed and epoch.
void shuffle_order(std::vector<std::uint32_t>& order, std::size_t count, std::uint64_t seed, int epoch);
