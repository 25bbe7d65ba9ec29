// Inputs of the network: rows counted by hand, and records that must not become inputs.
#include "train_fixture.h"

#include <algorithm>

namespace {

using FeaturesTest = TrainFixture;

std::vector<int> rows(const Features& f, int half) {
    std::vector<int> all(f.row[half], f.row[half] + f.pieces);
    std::sort(all.begin(), all.end());
    return all;
}

// row = (square ^ mirror) + 768 * bucket + type (king 0, pawn 64, knight 128, bishop 192, rook 256, queen 320) + 384
// for the other side's pieces.
TEST_F(FeaturesTest, rows_follow_the_king_of_each_perspective) {
    struct {
        const char* what;
        const char* fen;
        std::vector<int> mover, waiter;
    } const cases[] = {
        // e1 = 4, e8 = 60, a2 = 8; for Black e8 is 60 ^ 56 = 4, e1 is 60 and a2 is 8 ^ 56 = 48.
        {"both kings on the e-file", "4k3/8/8/8/8/8/P7/4K3 w - -", {4, 64 + 8, 384 + 60}, {4, 384 + 60, 384 + 64 + 48}},
        {"the halves change places with the side to move",
         "4k3/8/8/8/8/8/P7/4K3 b - -",
         {4, 384 + 60, 384 + 64 + 48},
         {4, 64 + 8, 384 + 60}},
        // White's king on d1 = 3 mirrors its view: d1 -> 4, e8 -> 59, a2 -> 15. Black's stays as it was, d1 -> 59.
        {"a king on the queen's side mirrors its own view",
         "4k3/8/8/8/8/8/P7/3K4 w - -",
         {4, 64 + 15, 384 + 59},
         {4, 384 + 59, 384 + 64 + 48}},
        // h3 = 23 is still near home, h4 = 31 is not.
        {"third rank", "4k3/8/8/8/8/7K/8/8 w - -", {23, 384 + 60}, {4, 384 + (23 ^ 56)}},
        {"fourth rank", "4k3/8/8/8/7K/8/8/8 w - -", {768 + 31, 768 + 384 + 60}, {4, 384 + (31 ^ 56)}},
        // a4 = 24 is the fourth rank's first square; its own view mirrors it to 31.
        {"the corner of the fourth rank", "4k3/8/8/8/K7/8/8/8 w - -", {768 + 31, 768 + 384 + 59}, {4, 384 + (24 ^ 56)}},
        // For Black the ranks count from the other end: h6 = 47 ^ 56 = 23, h5 = 39 ^ 56 = 31.
        {"Black's third rank", "8/8/7k/8/8/8/8/4K3 b - -", {23, 384 + 60}, {4, 384 + 47}},
        {"Black's fourth rank", "8/8/8/7k/8/8/8/4K3 b - -", {768 + 31, 768 + 384 + 60}, {4, 384 + 39}},
        // b1 = 1, c1 = 2, d8 = 59, f8 = 61, each of its own type.
        {"every type has its place",
         "3q1r1k/8/8/8/8/8/8/1NB4K w - -",
         {7, 128 + 1, 192 + 2, 384 + 63, 384 + 256 + 61, 384 + 320 + 59},
         {7, 256 + 5, 320 + 3, 384 + 63, 384 + 128 + 57, 384 + 192 + 58}},
    };
    for (const auto& c : cases) {
        const Features f = features(c.fen);
        EXPECT_EQ(c.mover, rows(f, 0)) << c.what;
        EXPECT_EQ(c.waiter, rows(f, 1)) << c.what;
    }
}

// Minor pieces 3, rooks 5, queens 10; the heavier side decides; the borders are 20, 15, 10 and 5.
TEST_F(FeaturesTest, output_rows_change_at_their_borders) {
    struct {
        const char* fen;
        int row;
    } const cases[] = {
        {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -", 0},
        {"4k3/8/8/8/8/8/8/QRRBK3 w - -", 0},  // 23
        {"qrr1k3/8/8/8/8/8/8/4K3 w - -", 1},  // 20
        {"4k3/8/8/8/8/8/8/QNNK4 b - -", 1},   // 16
        {"qr2k3/8/8/8/8/8/8/4K3 w - -", 2},   // 15
        {"4k3/8/8/8/8/8/8/RBBK4 w - -", 2},   // 11
        {"q3k3/8/8/8/8/8/8/R3K3 w - -", 3},   // 10
        {"4k3/8/8/8/8/8/8/BNK5 w - -", 3},    // 6
        {"r3k3/8/8/8/8/8/8/4K3 w - -", 4},    // 5
        {"4k3/pppppppp/8/8/8/8/8/4K3 w - -", 4},
    };
    for (const auto& c : cases) EXPECT_EQ(c.row, features(c.fen).output_row) << c.fen;
}

TEST_F(FeaturesTest, records_of_no_playable_position_are_refused) {
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

}  // namespace
