// What is read, what is held out, and the order of an epoch.
#include "train_fixture.h"

#include <algorithm>
#include <set>

namespace {

using TrainingSetTest = TrainFixture;

std::string bytes(std::span<const TrainingRecord> records) {
    return {reinterpret_cast<const char*>(records.data()), records.size() * sizeof(TrainingRecord)};
}

TEST_F(TrainingSetTest, files_and_folders_are_read) {
    const std::string all = bytes(records(30));
    folder.write("b.bin", all.substr(400) + "part");  // an unfinished record at the end
    folder.write("a.bin", all.substr(0, 400));
    folder.write("c.txt", "not a training file");
    std::filesystem::create_directory(folder.path / "empty");
    std::vector<TrainingRecord> got;
    ASSERT_EQ("", read_records(folder.path.string(), SIZE_MAX, got));
    EXPECT_EQ(all, bytes(got));
    got.clear();
    ASSERT_EQ("", read_records(folder.path.string(), 12, got));
    EXPECT_EQ(all.substr(0, 480), bytes(got));
    for (const char* name : {"none.bin", "empty"}) EXPECT_NE("", read_records(folder.name(name), SIZE_MAX, got));
}

TEST_F(TrainingSetTest, the_position_alone_decides_what_is_held_out) {
    std::vector<TrainingRecord> all = records(1900);
    const auto boards = [&](double share, std::size_t least = 0) {
        std::set<std::string> held_out;
        const TrainingSet set = make_training_set(all, share, least, team);
        for (const TrainingRecord& record : set.held_out()) held_out.insert(bytes({&record, 1}).substr(0, 34));
        return held_out;
    };
    const std::set<std::string> small = boards(0.05), large = boards(0.2);
    EXPECT_TRUE(std::ranges::includes(large, small));
    // Shares of 1900; at least so many; at most half.
    const std::pair<int, std::size_t> sizes[] = {
        {95, small.size()}, {380, large.size()}, {500, boards(0.02, 500).size()}, {950, boards(0.02, 5000).size()}};
    for (const auto& [expected, size] : sizes) EXPECT_NEAR(expected, size, 0.1 * expected + 30);
    std::reverse(all.begin(), all.end());
    for (TrainingRecord& r : all) r.sc = static_cast<std::int16_t>(-r.sc);
    EXPECT_EQ(small, boards(0.05));
}

TEST_F(TrainingSetTest, damaged_records_and_unplayable_positions_are_left_out) {
    TrainingRecord kings{};
    kings.board[2] = 0x06;   // e1
    kings.board[30] = 0x0E;  // e8
    const std::tuple<const char*, int, int, std::size_t> cases[] = {
        {"piece code 7", 10, 0x07, 1},  {"piece code 8", 10, 0x80, 1},         {"piece code 15", 10, 0x0F, 1},
        {"no white king", 2, 0, 1},     {"two white kings", 10, 0x06, 1},      {"two black kings", 10, 0xE0, 1},
        {"pawn on rank 1", 0, 0x01, 1}, {"black pawn on rank 8", 28, 0x90, 1}, {"third side to move", 32, 0x20, 1},
        {"17 pieces", 8, 0x22, 8},
    };
    for (const auto& [fault, byte, value, count] : cases) {
        TrainingRecord bad = kings;
        std::fill_n(reinterpret_cast<std::uint8_t*>(&bad) + byte, count, static_cast<std::uint8_t>(value));
        const TrainingSet set = make_training_set({kings, bad, kings}, 0, 0, team);
        EXPECT_EQ(std::pair(set.rejected, set.training), (std::pair<std::size_t, std::size_t>(1, 2))) << fault;
    }
}

TEST_F(TrainingSetTest, every_epoch_has_its_own_order_of_all_records) {
    std::vector<std::uint32_t> first, second;
    shuffle_order(first, 5000, 7, 0);
    shuffle_order(second, 5000, 7, 1);
    EXPECT_NE(first, second);
    // A record's place says nothing about where it comes from: neighbours are 1667 apart on average.
    double distance = 0;
    for (std::size_t i = 1; i < 5000; ++i) distance += std::abs(1.0 * second[i] - second[i - 1]);
    EXPECT_NEAR(5000 / 3.0, distance / 4999, 60);
    EXPECT_TRUE(std::set(second.begin(), second.end()).size() == 5000 && std::ranges::max(second) == 4999);
}

}  // namespace
