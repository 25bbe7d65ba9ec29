// What is read, what is held out, and the order of an epoch.
#include "tools/train/training_set.h"

#include "train_fixture.h"

#include <algorithm>

namespace {

using TrainingSetTest = TrainFixture;

std::string bytes(const std::vector<TrainingRecord>& records) {
    return {reinterpret_cast<const char*>(records.data()), records.size() * sizeof(TrainingRecord)};
}

std::set<std::string> held_out(const TrainingSet& set) {
    std::set<std::string> all;
    for (const TrainingRecord& r : set.held_out()) all.emplace(reinterpret_cast<const char*>(&r), sizeof r);
    return all;
}

TEST_F(TrainingSetTest, files_and_folders_are_read) {
    const std::vector<TrainingRecord> all = records(30);
    write("b.bin", bytes({all.begin() + 10, all.end()}) + "part");  // an unfinished record at the end
    write("a.bin", bytes({all.begin(), all.begin() + 10}));
    write("c.txt", "not a training file");
    std::vector<TrainingRecord> got;
    ASSERT_EQ("", read_records(folder.path.string(), SIZE_MAX, got));
    EXPECT_EQ(bytes(all), bytes(got));

    got.clear();
    ASSERT_EQ("", read_records(folder.path.string(), 12, got));
    EXPECT_EQ(12u, got.size());
    EXPECT_NE("", read_records(path("none.bin"), SIZE_MAX, got));
    std::filesystem::create_directory(folder.path / "empty");
    EXPECT_NE("", read_records(path("empty"), SIZE_MAX, got));
}

TEST_F(TrainingSetTest, the_position_alone_decides_what_is_held_out) {
    ThreadTeam team(2);
    std::vector<TrainingRecord> all = records(1900);
    const TrainingSet small = make_training_set(all, 0.05, 0, team);
    const TrainingSet large = make_training_set(all, 0.2, 0, team);
    EXPECT_NEAR(0.05 * 1900, static_cast<double>(small.held_out().size()), 40);
    EXPECT_NEAR(0.2 * 1900, static_cast<double>(large.held_out().size()), 80);
    const std::set<std::string> in_small = held_out(small);
    const std::set<std::string> in_large = held_out(large);
    EXPECT_TRUE(std::includes(in_large.begin(), in_large.end(), in_small.begin(), in_small.end()));

    std::reverse(all.begin(), all.end());
    EXPECT_EQ(in_small, held_out(make_training_set(all, 0.05, 0, team)));
    for (TrainingRecord& r : all) r.sc = static_cast<std::int16_t>(-r.sc);
    EXPECT_EQ(small.held_out().size(), make_training_set(all, 0.05, 0, team).held_out().size());

    EXPECT_NEAR(500, static_cast<double>(make_training_set(all, 0.02, 500, team).held_out().size()), 100);
    EXPECT_NEAR(950, static_cast<double>(make_training_set(all, 0.02, 5000, team).held_out().size()), 150);
    EXPECT_EQ(0u, make_training_set({}, 0.02, 5000, team).training);
}

TEST_F(TrainingSetTest, records_of_no_playable_position_are_refused) {
    const TrainingRecord good = record("4k3/8/8/8/8/8/8/4K3 w - -");
    Features f;
    ASSERT_TRUE(read_features(good, f));
    struct {
        const char* fault;
        int byte;
        std::uint8_t value;
    } const cases[] = {
        {"piece code 7", 10, 0x07},  {"piece code 8", 10, 0x80},         {"piece code 15", 10, 0x0F},
        {"no white king", 2, 0},     {"two white kings", 10, 0x06},      {"two black kings", 10, 0xE0},
        {"pawn on rank 1", 0, 0x01}, {"black pawn on rank 8", 28, 0x90}, {"third side to move", 32, 0x20},
    };
    for (const auto& c : cases) {
        TrainingRecord bad = good;
        reinterpret_cast<std::uint8_t*>(&bad)[c.byte] = c.value;
        EXPECT_FALSE(read_features(bad, f)) << c.fault;
    }
    TrainingRecord crowd = good;
    std::memset(crowd.board + 8, 0x22, 8);  // sixteen knights beside the king
    EXPECT_FALSE(read_features(crowd, f));
}

TEST_F(TrainingSetTest, damaged_records_are_left_out) {
    ThreadTeam team(1);
    std::vector<TrainingRecord> all = records(100);
    all[3].board[0] = 0x77;
    all[50].side_castling = 0xF0;
    const TrainingSet set = make_training_set(all, 0.1, 0, team);
    EXPECT_EQ(2u, set.rejected);
    EXPECT_EQ(98u, set.training + set.held_out().size());
}

TEST_F(TrainingSetTest, every_epoch_has_its_own_order_of_all_records) {
    std::vector<std::uint32_t> first, again, second, sorted;
    shuffle_order(first, 5000, 7, 0);
    shuffle_order(again, 5000, 7, 0);
    shuffle_order(second, 5000, 7, 1);
    EXPECT_EQ(first, again);
    EXPECT_NE(first, second);
    sorted = second;
    std::sort(sorted.begin(), sorted.end());
    for (std::uint32_t i = 0; i < 5000; ++i) ASSERT_EQ(i, sorted[i]);
    // A record's place says nothing about where it comes from: neighbours are 1667 apart on average.
    double distance = 0;
    for (std::size_t i = 1; i < 5000; ++i) distance += std::abs(1.0 * second[i] - second[i - 1]);
    EXPECT_NEAR(5000 / 3.0, distance / 4999, 60);
}

}  // namespace
