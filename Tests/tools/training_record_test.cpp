// The training record: its bytes, its scale, and damaged records.
#include "tools/training_record.h"

#include "position/bitboard.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>

namespace {

class TrainingRecordTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        init_tables();
        init_zobrist();
    }
    void SetUp() override { init_game_state(*game, position); }

    std::unique_ptr<GameState> game = std::make_unique<GameState>();
    Position position{};
};

TEST_F(TrainingRecordTest, the_start_position_has_the_bytes_of_the_format) {
    set_position(position, "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -");
    const TrainingRecord record = make_training_record(position, -2302, 12, 4000);
    const std::uint8_t expected[40] =
        {
            0x24, 0x53, 0x36, 0x42, 0x11, 0x11, 0x11, 0x11, 0,  0, 0,    0,    0,    0,
            0,    0,    0,    0,    0,    0,    0,    0,    0,  0, 0x99, 0x99, 0x99, 0x99,
            0xAC, 0xDB, 0xBE, 0xCA, 0x0F, 64,   0x02, 0xF7, 12, 0, 0xB8, 0x0B,  // -2302, 12, 3000 after the clamp
        };
    EXPECT_EQ(0, std::memcmp(&record, expected, sizeof expected));
}

TEST_F(TrainingRecordTest, positions_survive_the_round_trip) {
    for (const char* fen :
         {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -", "r3k2r/8/8/8/8/8/8/R3K2R b KQkq -",
          "rnbqkbnr/pp1ppppp/8/8/2pPP3/8/PPP2PPP/RNBQKBNR b KQkq d3", "8/8/4k3/8/8/4K3/4P3/8 b - -"}) {
        set_position(position, fen);
        const TrainingRecord record = make_training_record(position, 0, 0, 0);
        ASSERT_TRUE(record_to_position(record, position)) << fen;
        EXPECT_EQ(fen, position_to_fen(position, false));
    }
}

TEST_F(TrainingRecordTest, rights_that_the_board_does_not_allow_are_dropped) {
    set_position(position, "4k2r/8/8/8/8/8/8/R3K3 w Qk -");
    TrainingRecord record = make_training_record(position, 0, 0, 0);
    record.side_castling = 0x1F;
    ASSERT_TRUE(record_to_position(record, position));
    EXPECT_EQ("4k2r/8/8/8/8/8/8/R3K3 b Qk -", position_to_fen(position, false));
}

TEST_F(TrainingRecordTest, damaged_records_are_refused) {
    set_position(position, "4k3/8/8/8/8/8/8/4K3 w - -");
    const TrainingRecord good = make_training_record(position, 0, 0, 0);
    ASSERT_TRUE(record_to_position(good, position));
    struct {
        const char* fault;
        int byte;
        std::uint8_t value;
    } const cases[] = {
        {"piece code 7", 10, 0x07},
        {"piece code 8", 10, 0x80},
        {"piece code 15", 10, 0x0F},
        {"no white king", 2, 0},
        {"no black king", 30, 0},
        {"third side to move", 32, 0x20},
        {"en passant beyond the board", 33, 65},
    };
    for (const auto& c : cases) {
        TrainingRecord record = good;
        reinterpret_cast<std::uint8_t*>(&record)[c.byte] = c.value;
        EXPECT_FALSE(record_to_position(record, position)) << c.fault;
    }
}

TEST(TrainingScale, results_and_scores_convert_both_ways) {
    struct {
        double g;
        int score;
    } const results[] = {{1.0, 2300}, {0.0, -2302},  {0.5, 0},     {0.75, 183},  // ln 3 / 0.006 = 183.1
                         {2.0, 2300}, {-1.0, -2302}, {NAN, -2302}, {INFINITY, 2300}};
    for (const auto& r : results) EXPECT_EQ(r.score, result_to_score(r.g)) << r.g;

    EXPECT_FLOAT_EQ(0.5f, win_probability(0));
    EXPECT_NEAR(0.952574, win_probability(500), 1e-6);  // 1 / (1 + e^-3)
    EXPECT_NEAR(0.047426, win_probability(-500), 1e-6);
}

TEST(TrainingScale, the_target_mixes_result_and_score) {
    TrainingRecord record{};
    record.result = 0;
    record.sc = 500;
    EXPECT_NEAR(0.35 * 0.5 + 0.65 * 0.952574, training_target(record), 1e-6);
}

}  // namespace
