// Records made from the positions of the repository's data, small models, and a folder for what a test writes.
#pragma once

#include "eval/evaluate.h"
#include "eval/network.h"
#include "frontend/settings.h"
#include "position/board.h"
#include "temp_folder.h"
#include "tools/train/trainer.h"
#include "tools/training_record.h"

#include <gtest/gtest.h>

#include <cstdio>
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

    TrainFixture() { init_game_state(*game, position); }
    ~TrainFixture() override { settings = saved_settings; }

    std::string path(const std::string& name) const { return folder.name(name); }
    std::string write(const std::string& name, const std::string& bytes) const { return folder.write(name, bytes); }

    TrainingRecord record(std::string_view fen, int result = 0, int score = 0) {
        set_position(position, fen);
        return make_training_record(position, result, 0, score);
    }
    Features features(std::string_view fen) {
        Features f;
        EXPECT_TRUE(read_features(record(fen), f)) << fen;
        f.target = 0.5f;
        return f;
    }

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
};

inline void fill(Batch& batch, const std::vector<TrainingRecord>& records, ThreadTeam& team) {
    fill_batch(
        batch, static_cast<int>(records.size()),
        [&records](int i) -> const TrainingRecord& { return records[static_cast<std::size_t>(i)]; }, team);
}

// Loads a network file as NN_File would; the line that it prints is dropped.
inline void load_quietly(const std::string& name) {
    std::snprintf(settings.nn_file, sizeof settings.nn_file, "%s", name.c_str());
    testing::internal::CaptureStdout();
    load_network();
    testing::internal::GetCapturedStdout();
}

inline bool same_values(const AlignedArray<float>& a, const AlignedArray<float>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}
