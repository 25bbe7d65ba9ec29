// Training data: which lines become records, damaged ones, the scale of results, the split by material, and which
// positions are made into training lines.
#include "tools/training_data.h"

#include "eval/network_fixture.h"
#include "platform/words.h"
#include "tools/tool_fixture.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <tuple>
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

// The scores of a result come from an independent calculation of the logistic scale in single precision.
TEST_F(TrainingData, lines_become_records_or_are_dropped) {
    const struct {
        const char* operations;
        bool kept;
        int result = 0, ce = 0, sc = 0;
    } cases[] = {
        {"", false},
        {"ce;", false},
        {"ce 120;", true, 119, 120, 120},
        {"sc -75;", true, -75, -75, -75},
        {"ce 12; sc 34, gr 0.5", true, 11, 12, 12},  // the unpacked form: its last operation has no semicolon
        {"ce 4000;", true, 2300, 4000, 3000},
        {"ce 1; sc -32000; gr 0.3;", true, -141, 1, -3000},
        {"ce 99999999999; sc 1; gr 0.9;", true, 366, 32767, 1},
        {"ce 5x; sc 1.9; gr 0.7;", true, 141, 5, 1},
        {"ce 0; gr nan;", true, -2302, 0, 0},  // reads as 0
        {"ce 0; gr -3;", true, 0, 0, 0},       // negative: as if absent
        {"ce 0; gr 7;", true, 2300, 0, 0},
        // A draw needs an expected result of 0.1 to 0.9: scores within ln 9 / 0.006 = 366.2.
        {"sc 366; gr 0.5;", true, 0, 366, 366},
        {"sc 367; gr 0.5;", false},
        {"sc -367; gr 0.5;", false},
        {"sc 367; gr 0.51;", true, 6, 367, 367},  // ln(51 / 49) / 0.006 = 6.7
        // A loss at most 0.8, a win at least 0.2: ln 4 / 0.006 = 231.05.
        {"sc 231; gr 0.0;", true, -2302, 231, 231},
        {"sc 232; gr 0.0;", false},
        {"sc -231; gr 1.0;", true, 2300, -231, -231},
        {"sc -232; gr 1.0;", false},
        {"ce -900; sc 0; gr 1.0;", true, 2300, -900, 0},  // sc decides, not ce
    };
    for (const auto& c : cases) {
        TrainingRecord record{};
        ASSERT_EQ(pack(KINGS + " " + c.operations, record), c.kept) << c.operations;
        if (!c.kept) continue;
        EXPECT_EQ(std::tuple(record.result, record.ce, record.sc), std::tuple(c.result, c.ce, c.sc)) << c.operations;
    }
}

TEST_F(TrainingData, epd_becomes_records_and_records_become_epd) {
    const std::string castling = "3qk3/8/8/8/3pP3/8/8/R3K2R b KQ e3";
    std::string epd = "# comment\n; comment\n " + KINGS + " ce 1;\n\nce 5;\nnonsense, but of the length of a line\n";
    for (const char* unplayable : {"4k3/8/8/8/8/8/8/8", "4k2R/8/8/8/8/8/8/4K3", "P3k3/8/8/8/8/8/8/4K3"}) {
        epd += std::string(unplayable) + " w - - ce 1;\n";
    }
    epd += KINGS + " 12 34 ce 250; sc -34; gr 1.0;\r\n";
    epd += "4k3/8/8/8/8/8/8/4K3 w - e6 ce 0;\n";  // no pawn has just passed e6
    epd += castling + " sc 77; gr 0.0; id \"" + std::string(300, 'x') + "\";\n";
    epd += KINGS + " ce -32768;";
    const std::string name = write("my.epd.txt", epd);
    printed([&] { EXPECT_EQ(epd_to_bin(name.c_str()), 0); });
    printed([&] { EXPECT_EQ(bin_to_epd(path("my.bin").c_str()), 0); });
    EXPECT_EQ(read("my.epd"), KINGS + " ce 250; sc -34, gr 1.0\n" + KINGS + " ce 0; sc 0, gr 0.5\n" + castling +
                                  " ce 77; sc 77, gr 0.0\n" + KINGS + " ce -32768; sc -3000, gr 0.0\n");
}

TEST_F(TrainingData, damaged_records_are_left_out) {
    const struct {
        const char* fault;
        std::size_t byte;
        int value;
    } cases[] = {
        {"piece code 7", 10, 0x07},
        {"piece code 8", 10, 0x80},
        {"piece code 15", 10, 0x0F},
        {"no white king", 2, 0},
        {"no black king", 30, 0},
        {"third side to move", 32, 0x20},
        {"en passant beyond the board", 33, 65},
    };
    TrainingRecord record{};
    ASSERT_TRUE(pack(KINGS + " ce 0;", record));
    const std::string good(reinterpret_cast<const char*>(&record), sizeof record);
    for (const auto& c : cases) {
        std::string bad = good;
        bad[c.byte] = static_cast<char>(c.value);
        const std::string bin = write("d.bin", bad + good + "torn");
        errors([&] { printed([&] { EXPECT_EQ(bin_to_epd(bin.c_str()), 0); }); });
        EXPECT_EQ(read("d.epd"), KINGS + " ce 0; sc 0, gr 0.5\n") << c.fault;
        errors([&] { printed([&] { EXPECT_EQ(gen_train_data(bin.c_str()), 0); }); });
        EXPECT_EQ(read("tmp__0.bin"), good) << c.fault;
    }
    // Castling rights that the board does not allow are dropped.
    ASSERT_TRUE(pack("4k2r/8/8/8/8/8/8/R3K3 w Qk - ce 0;", record));
    record.side_castling = 0x1F;
    ASSERT_TRUE(record_to_position(record, game_record->position));
    EXPECT_EQ("4k2r/8/8/8/8/8/8/R3K3 b Qk -", position_to_fen(game_record->position, false));
    // Scores are cut to what the format allows.
    record = make_training_record(game_record->position, -9999, 70000, 4000);
    EXPECT_EQ(std::tuple(record.result, record.ce, record.sc), std::tuple(-3000, 32767, 3000));
}

TEST(TrainingScale, odd_results_have_a_score_and_the_target_is_a_mix) {
    const std::pair<double, int> results[] = {
        {0.75, 183}, {2.0, 2300}, {-1.0, -2302}, {NAN, -2302}, {INFINITY, 2300}};  // ln 3 / 0.006 = 183.1
    for (const auto& [result, score] : results) EXPECT_EQ(score, result_to_score(result)) << result;
    TrainingRecord record{};
    record.sc = 500;  // 1 / (1 + e^-3)
    EXPECT_NEAR(0.35 * 0.5 + 0.65 * 0.952574, training_target(record), 1e-6);
    EXPECT_NEAR(0.952574, training_target(record, 0), 1e-6);
}

TEST_F(TrainingData, buckets_count_pieces_in_pairs) {
    const std::pair<const char*, int> cases[] = {
        {"q3k3/8/8/8/8/8/8/4K2Q w - -", 1},           // queens, but not among three
        {"4k3/8/8/8/8/8/8/RR2K2B w - -", 2},          // N = 3
        {"q3k3/8/8/8/8/8/8/RR2K3 w - -", 3},          // N = 3 with a queen
        {"rnbqkbnr/nn6/8/8/8/8/8/RNBQKBNR w - -", 7}  // N = 16: 8 + 1 is beyond the last
    };
    for (const auto& [fen, bucket] : cases) {
        set_position(game_record->position, fen);
        EXPECT_EQ(material_bucket(game_record->position), bucket) << fen;
    }
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
        {"won and drawn", {400, 400, 367, false}, 0.5, false},
        {"won and lost", {400, 400, 367, false}, 0.0, false},
        {"nearly won and lost", {400, 400, 366, false}, 0.0, true},
        {"lost and drawn", {-400, -400, -367, false}, 0.5, false},
        {"lost and won", {-400, -400, -367, false}, 1.0, false},
        {"lost and worse than a draw", {-400, -400, -367, false}, 0.49, true},
        {"nearly lost and won", {-400, -400, -366, false}, 1.0, true},
        {"equal and drawn", {20, 20, -20, false}, 0.5, false},
        {"equal and not quite drawn", {0, 0, 0, false}, 0.50001, true},
        {"static score not equal", {-21, -21, 0, false}, 0.5, true},
        {"score not equal", {0, 0, 21, false}, 0.5, true},
    };
    for (const auto& c : cases) EXPECT_EQ(is_training_position(c.searched, c.result), c.kept) << c.what;
}

struct TrainingLines : ToolTest {
    void TearDown() override { load("embedded"); }

    static void load(const std::string& name) {
        copy_text(settings.nn_file, name);
        printed([] { load_network(); });
        ASSERT_TRUE(network.complete);
    }
    // One unit of value 1 that only the half of the side to move sees, with that weight.
    void load_constant(std::int16_t score) const {
        NetworkFile file;
        file.quantisation = file.scale = 1;
        file.values.assign(file.full_size(), 0);
        load(write("constant.nn", file.bytes()));
        const std::int32_t biases = network.input_weight_count + network.output_weight_count;
        network.values[biases] = network.values[biases + network.hidden] = 1;
        for (int row = 0; row < 5; ++row) network.values[network.input_weight_count + row * network.hidden2] = score;
    }
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
        {400, start + " gr 1.0;\n", " w KQkq - ce 400; sc 400; gr 1.0;\n"},
        {400, start + " 0 1 gr 0.6; ce 77;\r\n", " w KQkq - ce 77; sc 400; gr 0.6;\n"},
        {400, start + " ce 77;", " w KQkq - sc 400;\n"},  // without a result: that of the score, 0.92
        {-400, start + " gr 0.4; ce -9;", " w KQkq - ce -9; sc -400; gr 0.4;\n"},
        {-400, start, " w KQkq - sc -400;\n"},
        {0, start, ""},                                                         // its result is exactly a draw
        {300, start + " gr 0.5;", " w KQkq - ce -300; sc -300; gr 0.5;\n", 1},  // the opponent is to move at the end
        {0, start + " gr nonsense; ce 5x;", " w KQkq - ce 5; sc 0; gr 0.0;\n"},
        {100, "# comment\n; comment\n \n\nnonsense\n", ""},
        {100, "4k3/8/8/8/8/8/8/8 w - - gr 1.0;", ""},                  // a king is missing
        {100, "4k3/pppppppp/8/8/8/8/PPPPrPPP/4K3 w - - gr 1.0;", ""},  // in check
        {100, "6k1/5ppp/8/8/8/8/5PPP/R5K1 w - - gr 1.0;", ""},         // the line ends in mate
    };
    for (const auto& c : cases) {
        load_constant(c.constant);
        settings.depth_limit = c.depth;
        write("in.epd", c.line);
        printed([] { EXPECT_EQ(make_train_data("in.epd", "out.epd"), 0); });
        EXPECT_EQ(settings.depth_limit, c.depth) << "the settling search must not keep its depth";
        const std::string made = read("out.epd");
        EXPECT_EQ(made.substr(std::min(made.find(" w"), made.size())), c.labels) << c.line;
    }
}

}  // namespace
