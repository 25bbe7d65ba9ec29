// Records from the repository's data, batches of them, and a folder for what a test writes.
#pragma once

#include "captured.h"
#include "frontend/base/settings.h"
#include "platform/words.h"
#include "shared_data.h"
#include "temp_folder.h"
#include "training/train/trainer.h"
#include "training/train/training_set.h"

#include <gtest/gtest.h>

struct TrainFixture : testing::Test {
    const TempFolder folder;
    const Settings saved_settings = settings;
    ThreadTeam team{1};
    Workspace work;

    ~TrainFixture() override { settings = saved_settings; }

    // From all over the yardstick: games, endings, positions off the games. The networks of tests are thrown away.
    static std::vector<TrainingRecord> records(std::size_t count) {
        std::vector<TrainingRecord> all, some;
        EXPECT_EQ("", read_records(data_file("training/yardstick.bin"), SIZE_MAX, all));
        for (std::size_t i = 0; i < count; ++i) some.push_back(all[i * all.size() / count]);
        return some;
    }
    // Makes `count` records the batch of `work`.
    void fill_work(int count, double result_share = TARGET_RESULT_SHARE) {
        const std::vector<TrainingRecord> all = records(static_cast<std::size_t>(count));
        const auto record_at = [&all](int i) -> const TrainingRecord& { return all[static_cast<std::size_t>(i)]; };
        fill_batch(work.batch, count, record_at, result_share, team);
    }
};
