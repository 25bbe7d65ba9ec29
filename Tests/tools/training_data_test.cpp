// Training data: which lines become records, damaged ones, the scale of results, the split by material, and which
// positions are made into training lines.
#include "tools/training_data.h"

#include "eval/network_fixture.h"
#include "platform/words.h"
#include "position/board.h"
#include "shared_data.h"
#include "tools/tool_fixture.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

namespace {

const std::string KINGS = "4k3/8/8/8/8/8/8/4K3 w - -";

struct TrainingData : ToolTest {
    static bool pack(const std::string& line, TrainingRecord& record) {
        EpdLine epd;
        parse_epd(line, epd);
        return epd_to_record(epd, game_record->position, record);
    }
};

// Result scores by an independent calculation of the logistic scale in single precision.
TEST_F(TrainingData, lines_become_records_or_are_dropped) {
    const std::pair<const char*, std::array<int, 3>> kept[] = {
        {"ce 120;", {119, 120, 120}},
        {"ce 12; sc 34, gr 0.5", {11, 12, 12}},  // the unpacked form: its last operation has no semicolon
        {"ce 1; sc -32000; gr 0.3;", {-141, 1, -3000}},
        {"ce 99999999999; sc 1; gr 0.9;", {366, 32767, 1}},
        {"ce 5x; sc 1.9; gr 0.7;", {141, 5, 1}},
        {"ce 0; gr nan;", {-2302, 0, 0}},  // reads as 0
        {"ce 0; gr -3;", {0, 0, 0}},       // negative: as if absent
        {"ce 0; gr 7;", {2300, 0, 0}},
        {"sc 366; gr 0.5;", {0, 366, 366}},
        {"sc 367; gr 0.51;", {6, 367, 367}},          // ln(51 / 49) / 0.006 = 6.7
        {"ce -900; sc 0; gr 1.0;", {2300, -900, 0}},  // sc decides, not ce
    };
    TrainingRecord record{};
    for (const auto& [operations, labels] : kept) {
        ASSERT_TRUE(pack(KINGS + " " + operations, record)) << operations;
        EXPECT_EQ((std::array<int, 3>{record.result, record.ce, record.sc}), labels) << operations;
    }
    // A draw needs an expected result of 0.1 to 0.9, a score within ln 9 / 0.006 = 366.2; a loss one of at most 0.8, a
    // win one of at least 0.2: ln 4 / 0.006 = 231.05.
    for (const char* dropped : {"ce;", "sc 367; gr 0.5;", "sc -367; gr 0.5;", "sc 232; gr 0.0;", "sc -232; gr 1.0;"}) {
        EXPECT_FALSE(pack(KINGS + " " + dropped, record)) << dropped;
    }
}

TEST_F(TrainingData, damaged_records_are_left_out) {
    TrainingRecord record{};
    ASSERT_TRUE(pack(KINGS + " ce 0;", record));
    const std::string good(bytes_of(record));
    std::string bad = good;
    bad[33] = 65;  // en passant beyond the board
    write("d.bin", bad + good);
    printed([] { EXPECT_EQ(bin_to_epd("d.bin") + gen_train_data("d.bin"), 0); });
    EXPECT_EQ(read("d.epd"), KINGS + " ce 0; sc 0, gr 0.5\n");
    EXPECT_EQ(read("tmp__0.bin"), good);
    // Castling rights that the board does not allow are dropped, scores cut to what the format allows.
    ASSERT_TRUE(pack("4k2r/8/8/8/8/8/8/R3K3 w Qk - ce 0;", record));
    record.side_castling = 0x1F;
    ASSERT_TRUE(record_to_position(record, game_record->position));
    EXPECT_EQ("4k2r/8/8/8/8/8/8/R3K3 b Qk -", position_to_fen(game_record->position, false));
    EXPECT_EQ(make_training_record(game_record->position, -9999, 0, 0).result, -3000);
}

// Scores at the edges: 0.9 and 0.1 lie between 366 and 367 centipawns (ln 9 / 0.006 = 366.2).
TEST(TrainingFilter, keeps_quiet_positions_whose_result_fits_their_score) {
    const struct {
        const char* what;
        SearchedPosition searched;
        double result;
        bool kept;
    } cases[] = {
        {"captures win 75", {50, 125, 60, true}, 1.0, true},
        {"captures win 76, and one is best", {50, 126, 60, true}, 1.0, false},
        {"captures win 76, but none is best", {50, 126, 60, false}, 1.0, true},
        {"nearly won and lost", {400, 400, 366, false}, 0.0, true},
        {"lost and won", {-400, -400, -367, false}, 1.0, false},
        {"equal and drawn", {20, 20, -20, false}, 0.5, false},
        {"equal and not quite drawn", {0, 0, 0, false}, 0.50001, true},
        {"score not equal", {0, 0, 21, false}, 0.5, true},
    };
    for (const auto& c : cases) EXPECT_EQ(is_training_position(c.searched, c.result), c.kept) << c.what;
}

struct TrainingLines : ToolTest {
    void TearDown() override { NetworkFixture::load("embedded"); }
};

// Whole runs with a network that gives every position the same score for its side to move. Two plies from the start
// nothing can be captured with profit: the line has two moves, White is to move again, and the labels are those of the
// input. Searched to an even depth the score is the constant.
TEST_F(TrainingLines, have_the_labels_of_their_position) {
    const std::string start(START_FEN);
    const struct {
        std::int16_t constant;
        std::string line;
        const char* labels;  // "" for lines that come to nothing
        std::int8_t depth = 2;
    } cases[] = {
        {400, start + " 0 1 gr 0.6; ce 77;\r\n", " w KQkq - ce 77; sc 400; gr 0.6;\n"},
        {-400, start + " ce 77;", " w KQkq - sc -400;\n"},  // without a result: that of the score, 0.08
        {0, start, ""},                                     // its result is exactly a draw
        {300, start + " gr 0.5;", " w KQkq - ce -300; sc -300; gr 0.5;\n", 1},  // the opponent is to move at the end
        {100, "#" + start + " gr 1.0;", ""},                                    // a comment
        {100, "4k3/8/8/8/8/8/8/8 w - - gr 1.0;", ""},                           // a king is missing
        {100, "4k3/pppppppp/8/8/8/8/PPPPrPPP/4K3 w - - gr 1.0;", ""},           // in check
        {100, "6k1/5ppp/8/8/8/8/5PPP/R5K1 w - - gr 1.0;", ""},                  // the line ends in mate
    };
    for (const auto& c : cases) {
        NetworkFixture::load(write("constant.nn", NetworkFile::of_one_score(c.constant).bytes()));
        settings.depth_limit = c.depth;
        write("in.epd", c.line);
        printed([] { EXPECT_EQ(make_train_data("in.epd", "out.epd"), 0); });
        EXPECT_EQ(settings.depth_limit, c.depth) << "the settling search must not keep its depth";
        const std::string made = read("out.epd");
        EXPECT_EQ(made.substr(std::min(made.find(" w"), made.size())), c.labels) << c.line;
    }
}

}  // namespace
