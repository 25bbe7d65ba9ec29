// Records made from the positions of the repository's data, batches of them, and a folder for what a test writes.
#pragma once

#include "frontend/base/settings.h"
#include "position/board.h"
#include "temp_folder.h"
#include "tools/training_record.h"
#include "training/train/trainer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

struct TrainFixture : testing::Test {
    std::unique_ptr<GameState> game = std::make_unique<GameState>();
    Position position{};
    const TempFolder folder;
    const Settings saved_settings = settings;
    ThreadTeam team{1};
    Workspace work;

    TrainFixture() { init_game_state(*game, position); }
    ~TrainFixture() override { settings = saved_settings; }

    // Playable positions of all kinds: random games, endings, kings anywhere. Scores and results are random.
    std::vector<TrainingRecord> records(std::size_t count) {
        std::mt19937 random(11);
        std::vector<TrainingRecord> all;
        std::set<std::string> seen;
        for (const char* file : {"position/see.tsv", "position/notation.tsv", "perft/random.epd"}) {
            for (const std::string& line : read_lines(data_file(file))) {
                const std::string fen = line.substr(0, line.find_first_of("\t;"));
                if (all.size() == count) return all;
                if (!seen.insert(fen).second || fen.find('/') == std::string::npos) continue;
                set_position(position, fen);
                if (!is_playable(position)) continue;
                const int result = result_to_score(0.5 * static_cast<double>(random() % 3));
                const int score = static_cast<int>(random() % 1200) - 600;
                all.push_back(make_training_record(position, result, 0, score));
            }
        }
        EXPECT_EQ(count, all.size());
        return all;
    }
    // Makes `count` records the batch of `work`.
    void fill_work(int count) {
        const std::vector<TrainingRecord> all = records(static_cast<std::size_t>(count));
        const auto record_at = [&all](int i) -> const TrainingRecord& { return all[static_cast<std::size_t>(i)]; };
        fill_batch(work.batch, count, record_at, team);
    }

    // Does it without showing its output; returns what it wrote to standard output.
    template <class Action>
    static std::string quietly(Action action) {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        action();
        testing::internal::GetCapturedStderr();
        return testing::internal::GetCapturedStdout();
    }
};

inline bool same_values(const AlignedArray<float>& a, const AlignedArray<float>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}
