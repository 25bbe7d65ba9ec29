// Making training lines: the filter by hand-made numbers, and whole runs with a network that gives every position the
// same score for its side to move, so that the answers are known without searching.
#include "tools/training_data.h"

#include "eval/network_fixture.h"
#include "tools/tool_fixture.h"

#include <string>

namespace {

// Scores at the edges: 0.9 and 0.1 lie between 366 and 367 centipawns (ln 9 / 0.006 = 366.2).
TEST(TrainingFilter, keeps_quiet_positions_whose_result_fits_their_score) {
    const struct {
        const char* what;
        SearchedPosition searched;
        double result;
        bool kept;
    } cases[] = {
        {"nothing to object to", {50, 50, 60, false}, 0.5, true},
        {"captures win 75", {50, 125, 60, true}, 1.0, true},
        {"captures win 76, and one is best", {50, 126, 60, true}, 1.0, false},
        {"captures win 76, but none is best", {50, 126, 60, false}, 1.0, true},
        {"a capture is best, but wins nothing", {50, 50, 60, true}, 1.0, true},
        {"won and drawn", {400, 400, 367, false}, 0.5, false},
        {"won and lost", {400, 400, 367, false}, 0.0, false},
        {"won and better than a draw", {400, 400, 367, false}, 0.51, true},
        {"nearly won and lost", {400, 400, 366, false}, 0.0, true},
        {"lost and drawn", {-400, -400, -367, false}, 0.5, false},
        {"lost and won", {-400, -400, -367, false}, 1.0, false},
        {"lost and worse than a draw", {-400, -400, -367, false}, 0.49, true},
        {"nearly lost and won", {-400, -400, -366, false}, 1.0, true},
        {"equal and drawn", {20, 20, -20, false}, 0.5, false},
        {"equal and drawn, the other way round", {-20, -20, 20, false}, 0.5, false},
        {"equal and not quite drawn", {0, 0, 0, false}, 0.50001, true},
        {"equal and won", {0, 0, 0, false}, 1.0, true},
        {"static score not equal", {21, 21, 0, false}, 0.5, true},
        {"static score not equal, for the other side", {-21, -21, 0, false}, 0.5, true},
        {"score not equal", {0, 0, 21, false}, 0.5, true},
        {"mate", {0, 0, 9990, false}, 1.0, true},
    };
    for (const auto& c : cases) EXPECT_EQ(is_training_position(c.searched, c.result), c.kept) << c.what;
}

struct TrainingLines : ToolTest {
    void TearDown() override {
        load("embedded");
        ToolTest::TearDown();
    }
    static void load(const std::string& name) {
        std::snprintf(settings.nn_file, sizeof settings.nn_file, "%s", name.c_str());
        printed([] { load_network(); });
        ASSERT_TRUE(network.complete);
    }
    // One unit of value 1 that only the half of the side to move sees, with that weight.
    void load_constant(std::int16_t score) const {
        NetworkFile file;
        file.quantisation = 1;
        file.scale = 1;
        file.values.assign(file.full_size(), 0);
        const std::size_t outputs = 2 * 768 * 8;
        const std::size_t biases = outputs + 16 * 8;
        file.values[biases] = file.values[biases + 8] = 1;
        for (std::size_t row = 0; row < 5; ++row) file.values[outputs + row * 16] = score;
        load(write("constant.nn", file.bytes()));
    }
    std::string make(const std::string& epd, int depth) const {
        settings.depth_limit = static_cast<std::int8_t>(depth);
        write("in.epd", epd);
        EXPECT_EQ(printed([] { EXPECT_EQ(make_train_data("in.epd", "out.epd"), 0); }),
                  "infile= in.epd, outfile= out.epd\n\n");
        return read("out.epd");
    }
};

// Two plies from the start nothing can be captured with profit: the line has two moves, White is to move again, and
// the labels are those of the input. Searched to an even depth the score is the constant.
TEST_F(TrainingLines, have_the_labels_of_their_position) {
    const struct {
        std::int16_t constant;
        const char* operations;
        const char* labels;  // nullptr: dropped
        int depth = 2;
    } cases[] = {
        {400, "gr 1.0;", " ce 400; sc 400; gr 1.0;\n"},
        {400, "gr 0.6; ce 77;", " ce 77; sc 400; gr 0.6;\n"},
        {400, "gr 0.5; ce 77;", nullptr},
        {400, "ce 77;", " sc 400;\n"},  // without a result: that of the score, 0.92
        {400, "", " sc 400;\n"},
        {-400, "gr 0.4; ce -9;", " ce -9; sc -400; gr 0.4;\n"},
        {-400, "gr 0.5; ce -9;", nullptr},
        {-400, "", " sc -400;\n"},
        {20, "gr 0.5;", nullptr},
        {20, "gr 0.0;", " ce 20; sc 20; gr 0.0;\n"},
        {21, "gr 0.5;", " ce 21; sc 21; gr 0.5;\n"},
        {0, "", nullptr},                                     // the result of score 0 is exactly a draw
        {300, "gr 0.5;", " ce -300; sc -300; gr 0.5;\n", 1},  // the opponent is to move at the end
        {0, "gr nonsense; ce 5x;", " ce 5; sc 0; gr 0.0;\n"},
    };
    std::int16_t loaded = 0;
    load_constant(0);
    for (const auto& c : cases) {
        if (c.constant != loaded) load_constant(loaded = c.constant);
        const std::string line = make(std::string(START_FEN) + " " + c.operations + "\n", c.depth);
        if (!c.labels) {
            EXPECT_EQ(line, "") << c.constant << " " << c.operations;
            continue;
        }
        const std::size_t at = line.find(" w KQkq -");
        ASSERT_NE(at, std::string::npos) << line;
        EXPECT_EQ(line.substr(at + 9), c.labels) << c.constant << " " << c.operations;
    }
}

// To be to move is bad here, so White stalemates: a line of one move, at whose end everything is seen from Black's
// side.
TEST_F(TrainingLines, change_sides_with_every_move_of_the_line) {
    load_constant(-100);
    EXPECT_EQ(make("7k/8/5P1K/p7/P7/8/8/8 w - - ce 33; gr 0.3;\n", 2),
              "7k/5P2/7K/p7/P7/8/8/8 b - - ce -33; sc 0; gr 0.7;\n");
}

TEST_F(TrainingLines, come_from_positions_that_can_be_searched) {
    load_constant(100);
    const std::string skipped =
        "# comment\n; comment\n \n\n"
        "4k3/8/8/8/8/8/8/8 w - - gr 1.0;\n"                  // a king is missing
        "4k3/pppppppp/8/8/8/8/PPPPrPPP/4K3 w - - gr 1.0;\n"  // in check
        "6k1/5ppp/8/8/8/8/5PPP/R5K1 w - - gr 1.0;\n"         // the line ends in mate
        "nonsense\n";
    EXPECT_EQ(make(skipped, 2), "");
    const std::string lines = make(skipped + START_FEN + " gr 1.0;\r\n" + START_FEN + " 0 1 gr 1.0;", 2);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2) << lines;
    EXPECT_EQ(settings.depth_limit, 2) << "the settling search must not keep its depth";
}

}  // namespace
