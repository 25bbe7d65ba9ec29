// EPD analysis: scoring of answers, the files and texts of a run, collected positions, and runs that cannot work.
#include "tools/epd_analysis.h"

#include "frontend/words.h"
#include "position/notation.h"
#include "shared_data.h"
#include "tools/pollers.h"
#include "tools/tool_fixture.h"

#include <algorithm>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

// Positions whose best move is beyond doubt at any depth.
constexpr const char* MATE_IN_ONE = "6k1/5ppp/8/8/8/8/8/R3K3 w Q -";          // Ra8 mates
constexpr const char* TWO_MATES = "6k1/5ppp/8/8/8/8/8/RR2K3 w - -";           // Ra8 and Rb8 mate
constexpr const char* ONLY_MOVE = "7k/8/8/8/8/8/r7/7K w - -";                 // Kg1
constexpr const char* MATED = "R5k1/5ppp/8/8/8/8/8/4K3 b - -";                // nothing to play
constexpr const char* NO_BLACK_KING = "8/5ppp/8/8/8/8/8/R3K3 w Q - bm Ra8;";  // cannot be searched

class EpdAnalysis : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        settings.depth_limit = 3;
        settings.threads = 1;
        settings.quit = 0;
    }
    void TearDown() override {
        settings.quit = 0;
        ToolTest::TearDown();
    }

    static std::vector<std::string> split_lines(const std::string& text) {
        std::istringstream in(text);
        std::vector<std::string> lines;
        for (std::string line; std::getline(in, line);) lines.push_back(line);
        return lines;
    }

    struct Run {
        int status = 0;
        std::vector<std::string> printed;
        std::string errors;
    };
    static Run analyse(const std::string& input, Candidates candidates = Candidates::IGNORED,
                       InputPoller poll = do_not_poll) {
        Run run;
        run.errors = errors([&] {
            run.printed = split_lines(printed([&] { run.status = analyse_epd(input.c_str(), candidates, poll); }));
        });
        return run;
    }

    static Move move_of(const std::string& text) {
        Move move = NULL_MOVE;
        EXPECT_EQ(parse_move(game_record->position, text, move), text == "-" ? 0 : 1) << text;
        return move;
    }
};

}  // namespace

TEST_F(EpdAnalysis, answers_are_scored_by_best_moves_avoided_moves_and_points) {
    constexpr const char* PROMOTES = "7k/4P3/8/8/8/8/8/4K2R w K -";
    constexpr const char* CAPTURES = "4k3/8/8/3p4/4P3/8/5Q2/4K3 w - -";
    const struct {
        const char* fen;
        const char* operations;
        const char* answer;
        AnswerScore score;
    } cases[] = {
        {START_FEN, "bm Nf3,e4;", "g1f3", {1, 0, 0}},
        {START_FEN, "bm Nf3,e4;", "e2e4", {1, 0, 0}},
        {START_FEN, "bm Nf3, e4;", "e2e4", {1, 0, 0}},
        {START_FEN, "bm Nf3,e4;", "d2d4", {0, 0, 0}},
        {START_FEN, "bm Nf3 e4;", "e2e4", {0, 0, 0}},  // run together: Nf3e4
        {START_FEN, "bm \"e4\";", "e2e4", {1, 0, 0}},
        {START_FEN, "bm e2e4;", "e2e4", {1, 0, 0}},
        {START_FEN, "bm e4,e4;", "e2e4", {2, 0, 0}},  // every word counts
        {START_FEN, "bm Qh5,Zz9;", "e2e4", {0, 0, 0}},
        {START_FEN, "bm e4;", "-", {0, 0, 0}},
        {START_FEN, "am e4;", "e2e4", {0, 0, 0}},
        {START_FEN, "am e4;", "d2d4", {1, 0, 0}},
        {START_FEN, "am Qh5;", "d2d4", {0, 0, 0}},        // no move to avoid
        {START_FEN, "am e4,d4;", "g1f3", {0, 0, 0}},      // one move, not a list
        {START_FEN, "bm e4; am d4;", "g1f3", {0, 0, 0}},  // best moves come first
        {START_FEN, "c0 \"e4=10, d4=8\";", "e2e4", {0, 10, 10}},
        {START_FEN, "c0 \"e4=10, d4=8\";", "d2d4", {0, 8, 10}},
        {START_FEN, "c0 \"e4=10, d4=8\";", "a2a3", {0, 0, 10}},
        {START_FEN, "bm d4; c0 \"  e4=1,d4=20\";", "d2d4", {1, 20, 20}},
        {START_FEN, "c0 e4=3;", "e2e4", {0, 3, 3}},
        {START_FEN, "c0 \"no points\";", "e2e4", {0, 0, 0}},
        {START_FEN, "c0 \"Qh5=5, e4, =7, d4=x\";", "d2d4", {0, 0, 7}},
        {START_FEN, "c0 \"e4=99999999999999999999\";", "e2e4", {0, 1000000, 1000000}},
        {START_FEN, "id \"e4=5\";", "e2e4", {0, 0, 0}},
        {PROMOTES, "bm e8=Q+; c0 \"e8=Q+=100, e8=N=3\";", "e8=Q", {1, 100, 100}},
        {PROMOTES, "bm e8=Q; c0 \"e8=Q=100, e8=N=3\";", "e8=N", {0, 3, 100}},
        {PROMOTES, "bm O-O+,0-0;", "e1g1", {2, 0, 0}},
        {CAPTURES, "bm exd5; c0 \"exd5=9, Qa7+=4\";", "exd5", {1, 9, 9}},
        {CAPTURES, "am exd5; c0 \"exd5=9, Qf7+=-4\";", "Qf7", {1, -4, 9}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.operations) + " answered by " + c.answer);
        set_game(c.fen);
        const Move answer = c.answer[0] == '-' ? NULL_MOVE : move_of(c.answer);
        EpdLine line;
        parse_epd(std::string(c.fen) + " " + c.operations, line);
        const AnswerScore score = score_answer(game_record->position, line, answer);
        EXPECT_EQ(score.correct, c.score.correct);
        EXPECT_EQ(score.points, c.score.points);
        EXPECT_EQ(score.possible, c.score.possible);
    }
}

TEST_F(EpdAnalysis, writes_and_counts_what_can_be_searched) {
    const std::string mate(MATE_IN_ONE);
    const std::string long_line = mate + " gr 1.0; id \"" + std::string(600, 'x') + "\"; bm Ra8;";
    const std::string input = write("suite.any",
                                    "# comment 6k1/5ppp/8/8/8/8/8/R3K3 w Q - bm Ra8;\r\n"
                                    "; comment\n"
                                    " 6k1/5ppp/8/8/8/8/8/R3K3 w Q - bm Ra8;\n"
                                    "8/8/8 w -\n\n" +
                                        std::string(NO_BLACK_KING) + "\n" +          //
                                        mate + " bm Ra8; id \"1\";\r\n" +            //
                                        mate + " 0 1 am Ra8; c0 \"Ra8=7\";\n" +      //
                                        mate + " gr 1.0; bm Kd2;\r\n" +              //
                                        long_line + "\n" +                           //
                                        MATED + " bm Kh8;\n" +                       //
                                        ONLY_MOVE + " bm Kg1; c0 \"Kg1=3, a=9\";");  // no line feed
    const Run run = analyse(input);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
    const std::vector<std::string> written = split_lines(read("tmp0.epd"));
    ASSERT_EQ(written.size(), 5u) << read("tmp0.epd");
    // Mate in one is 10000 less the two plies to the mated position.
    EXPECT_EQ(written[0], mate + " bm a1a8; ce 9998;");
    EXPECT_EQ(written[1], mate + " bm a1a8; ce 9998;");
    EXPECT_EQ(written[2], mate + " gr 1.0; bm Kd2; sc 9998;");
    EXPECT_EQ(written[3], long_line.substr(0, 510) + " sc 9998;");
    EXPECT_TRUE(std::regex_match(written[4], std::regex(std::string(ONLY_MOVE) + " bm h1g1; ce -\\d+;"))) << written[4];
    EXPECT_EQ(read("tmp0.epd").find('\r'), std::string::npos);
    EXPECT_TRUE(std::filesystem::is_empty(path("tmp_0.epd")));

    ASSERT_EQ(run.printed.size(), 10u);
    EXPECT_EQ(run.printed[0], "Analyzing " + input + "...");
    EXPECT_EQ(run.printed[1], "2 / 6 correct best moves");
    const char* const totals[] = {R"(total nodes= \d+)",  R"(total time= \d+\.\d\d seconds)",
                                  R"(avg depth= \d\.\d)", R"(avg nodes= \d+\.0)",
                                  R"(node_rate= \d+)",    R"(avg bf= 2\.00)",
                                  R"(score= 10 / 16)",    ""};
    for (int i = 0; i < 8; ++i) {
        EXPECT_TRUE(std::regex_match(run.printed[i + 2], std::regex(totals[i]))) << run.printed[i + 2];
    }
}

TEST_F(EpdAnalysis, nothing_to_analyse_gives_zeros) {
    for (const char* text : {"", "short\n", "\n\n", "8/8/8/8/8\n"}) {
        const Run run = analyse(write("in.epd", text));
        EXPECT_EQ(run.status, 0);
        const std::vector<std::string> expected = {"Analyzing " + path("in.epd") + "...",
                                                   "0 / 0 correct best moves",
                                                   "total nodes= 0",
                                                   "total time= 0.00 seconds",
                                                   "avg depth= 0.0",
                                                   "avg nodes= 0.0",
                                                   "node_rate= 0",
                                                   "avg bf= 0.00",
                                                   "score= 0 / 0",
                                                   ""};
        EXPECT_EQ(run.printed, expected);
    }
}

TEST_F(EpdAnalysis, shows_positions_and_answers_when_not_silent) {
    settings.noise = 5000;
    const std::string line = std::string(MATE_IN_ONE) + " bm Ra8;";
    const Run run = analyse(write("in.epd", line + "\r\n" + line + "\n"));
    std::vector<std::string> found;
    for (std::size_t i = 0; i + 1 < run.printed.size(); ++i) {
        if (run.printed[i].starts_with("pos= ")) {
            found.push_back(run.printed[i]);
            EXPECT_EQ(run.printed[i + 1], line);
            EXPECT_NE(run.printed[i + 2].find(MATE_IN_ONE), std::string::npos) << "no board after the line";
        }
        if (run.printed[i].starts_with("move= ")) {
            const std::regex answer(R"(move= a1a8, time= \d+\.\d{3}, score= 9998, nodes= \d+, \d+K nps)");
            EXPECT_TRUE(std::regex_match(run.printed[i], answer)) << run.printed[i];
            EXPECT_EQ(run.printed[i + 1], "");
            found.emplace_back("move");
        }
    }
    EXPECT_EQ(found, (std::vector<std::string>{"pos= 1", "move", "pos= 2", "move"}));
}

TEST_F(EpdAnalysis, every_position_meets_an_empty_table) {
    settings.depth_limit = 6;
    settings.noise = 5000;
    const std::vector<std::string> suite = read_lines(data_file("epd/bratko-kopec.epd"));
    ASSERT_EQ(suite.size(), 24u);
    const Run run = analyse(write("in.epd", suite[3] + "\n" + suite[4] + "\n" + suite[3] + "\n"));
    std::vector<std::string> nodes;
    for (const std::string& line : run.printed) {
        std::smatch found;
        if (std::regex_search(line, found, std::regex("^move= .* (nodes= \\d+),"))) nodes.push_back(found[1]);
    }
    ASSERT_EQ(nodes.size(), 3u);
    EXPECT_EQ(nodes[0], nodes[2]) << "the same position again";
    EXPECT_NE(nodes[0], nodes[1]);
}

TEST_F(EpdAnalysis, collects_the_positions_after_moves_as_good_as_the_best) {
    settings.multipv = 4;
    settings.noise = 5000;
    const Run run = analyse(write("in.epd", std::string(TWO_MATES) + "\n"), Candidates::COLLECTED);
    std::vector<std::string> positions = split_lines(read("tmp_0.epd"));
    std::sort(positions.begin(), positions.end());
    EXPECT_EQ(positions,
              (std::vector<std::string>{"1R4k1/5ppp/8/8/8/8/8/R3K3 b - -", "R5k1/5ppp/8/8/8/8/8/1R2K3 b - -"}));
    for (const char* shown : {"a1a8  9998", "b1b8  9998"}) {
        EXPECT_EQ(std::count(run.printed.begin(), run.printed.end(), shown), 1) << shown;
    }
    EXPECT_EQ(position_to_fen(game_record->position, false), TWO_MATES);
}

TEST_F(EpdAnalysis, opening_tree_feeds_each_pass_with_the_positions_of_the_last) {
    const std::string input = write("tree.epd", std::string(TWO_MATES) + " bm Ra8,Rb8;\n");
    int status = -1;
    const auto build = [&] { status = build_opening_tree(input.c_str(), do_not_poll); };
    const std::vector<std::string> lines = split_lines(printed(build));
    EXPECT_EQ(status, 0);
    EXPECT_EQ(lines[0], "copy " + input + " tmp_1.epd");
    std::vector<std::string> counts;
    for (const std::string& line : lines) {
        if (line.ends_with("correct best moves")) counts.push_back(line.substr(0, 5));
    }
    // The root, the two mated positions behind it, then nothing.
    std::vector<std::string> expected(12, "0 / 0");
    expected[0] = "1 / 1";
    expected[1] = "0 / 2";
    EXPECT_EQ(counts, expected);
    EXPECT_EQ(settings.multipv, 3);
    EXPECT_EQ(read("tree.epd"), std::string(TWO_MATES) + " bm Ra8,Rb8;\n");

    // A copy that fails is reported; what "tmp_1.epd" holds is analysed, if there is one.
    write("tmp_1.epd", std::string(MATE_IN_ONE) + "\n");
    std::vector<std::string> again;
    const std::string complaint =
        errors([&] { again = split_lines(printed([&] { build_opening_tree("missing.epd", do_not_poll); })); });
    EXPECT_NE(complaint.find("missing.epd"), std::string::npos) << complaint;
    EXPECT_EQ(std::count(again.begin(), again.end(), "0 / 1 correct best moves"), 2)
        << "the mate and the position after it";
    std::filesystem::remove(path("tmp_1.epd"));
    EXPECT_NE(
        errors([&] { again = split_lines(printed([&] { status = build_opening_tree("missing.epd", do_not_poll); })); }),
        "");
    EXPECT_EQ(status, 0);
    EXPECT_EQ(again.size(), 1u);
}

TEST_F(EpdAnalysis, quit_ends_the_run_with_its_totals) {
    settings.depth_limit = 60;
    settings.level_time = 30;
    std::string text;
    for (int i = 0; i < 5; ++i) text += std::string(START_FEN) + "\n";
    const Run run = analyse(write("in.epd", text), Candidates::IGNORED, poll_a_quit);
    EXPECT_EQ(run.status, 0);
    ASSERT_GE(run.printed.size(), 2u);
    EXPECT_EQ(run.printed[1], "0 / 1 correct best moves");
    EXPECT_EQ(split_lines(read("tmp0.epd")).size(), 1u);
}

TEST_F(EpdAnalysis, runs_that_cannot_work_lose_no_file) {
    const std::string suite = std::string(MATE_IN_ONE) + " bm Ra8;\n";
    write("in.epd", suite);
    write("old.epd", "result of yesterday\n");
    const struct {
        const char* name;
        const char* input;
        const char* output;
        int status;
        const char* reported;
    } cases[] = {
        {"no such input", "missing.epd", "old.epd", 0, "can't read missing.epd: No such file"},
        {"input is output", "in.epd", "in.epd", 1, "in.epd"},
        {"the same by another name", "in.epd", "./in.epd", 1, "in.epd"},
        {"output cannot be created", "in.epd", "no/such/folder.epd", -1, "no/such/folder.epd"},
        {"output is the candidate file", "in.epd", "tmp_0.epd", 1, "tmp_0.epd"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        copy_text(settings.output_file, c.output);
        const Run run = analyse(c.input);
        EXPECT_EQ(run.status, c.status);
        EXPECT_TRUE(run.printed.empty()) << run.printed[0];
        EXPECT_NE(run.errors.find(c.reported), std::string::npos) << run.errors;
        EXPECT_EQ(read("in.epd"), suite);
        EXPECT_EQ(read("old.epd"), "result of yesterday\n");
    }
    // The candidates of an earlier run are a valid input of the opening tree, not of an analysis that empties them.
    write("tmp_0.epd", suite);
    copy_text(settings.output_file, "new.epd");
    EXPECT_EQ(analyse("tmp_0.epd").status, 1);
    EXPECT_EQ(read("tmp_0.epd"), suite);
    copy_text(settings.output_file, "in.epd");
    EXPECT_NE(errors([] { EXPECT_EQ(build_opening_tree("in.epd", do_not_poll), 1); }), "");
    EXPECT_EQ(read("in.epd"), suite);

    settings.output_file[0] = '\0';
    EXPECT_EQ(analyse("in.epd").status, 0);
    EXPECT_EQ(read("analysis.epd"), std::string(MATE_IN_ONE) + " bm a1a8; ce 9998;\n");
}
