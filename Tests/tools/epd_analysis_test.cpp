// EPD analysis: scoring of answers, the files and texts of a run, opening trees, and runs that cannot work.
#include "tools/epd_analysis.h"

#include "platform/words.h"
#include "position/notation.h"
#include "shared_data.h"
#include "tools/tool_fixture.h"

#include <regex>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace {

const std::string MATE_IN_ONE = "6k1/5ppp/8/8/8/8/8/R3K3 w Q -";

class EpdAnalysis : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        settings.depth_limit = 3;
    }

    // Analyses a file, or builds an opening tree from it. What is printed goes to `output` and `complaints`.
    int analyse(const char* input) {
        return run([input] { return analyse_epd(input, Candidates::IGNORED, [] { return InputState::UNWATCHED; }); });
    }
    int build_tree(const char* input) {
        return run([input] { return build_opening_tree(input, [] { return InputState::UNWATCHED; }); });
    }
    template <class Action>
    int run(Action action) {
        int status = 0;
        complaints = errors([&] { output = printed([&] { status = action(); }); });
        return status;
    }

    std::string output;
    std::string complaints;
};

TEST_F(EpdAnalysis, answers_are_scored_by_best_moves_avoided_moves_and_points) {
    constexpr const char* PROMOTES = "7k/4P3/8/8/8/8/8/4K2R w K -";
    constexpr const char* CAPTURES = "4k3/8/8/3p4/4P3/8/5Q2/4K3 w - -";
    const struct {
        const char* fen;
        const char* operations;
        const char* answer;
        std::tuple<int, int, int> score;  // correct, points, possible
    } cases[] = {
        {START_FEN, "bm Nf3, e4;", "e2e4", {1, 0, 0}},
        {START_FEN, "bm Nf3,e4;", "d2d4", {0, 0, 0}},
        {START_FEN, "bm Nf3 e4;", "e2e4", {0, 0, 0}},       // run together: Nf3e4
        {START_FEN, "bm e4,\"e2e4\";", "e2e4", {2, 0, 0}},  // every word counts
        {START_FEN, "bm Qh5,Zz9;", "e2e4", {0, 0, 0}},
        {START_FEN, "bm e4;", "-", {0, 0, 0}},
        {START_FEN, "am e4;", "e2e4", {0, 0, 0}},
        {START_FEN, "am e4;", "d2d4", {1, 0, 0}},
        {START_FEN, "am Qh5;", "d2d4", {0, 0, 0}},        // no move to avoid
        {START_FEN, "am e4,d4;", "g1f3", {0, 0, 0}},      // one move, not a list
        {START_FEN, "bm e4; am d4;", "g1f3", {0, 0, 0}},  // best moves come first
        {START_FEN, "c0 \"e4=10, d4=8\";", "d2d4", {0, 8, 10}},
        {START_FEN, "bm d4; c0 \"  e4=1,d4=20\";", "d2d4", {1, 20, 20}},
        {START_FEN, "c0 \"no points\";", "e2e4", {0, 0, 0}},
        {START_FEN, "c0 \"Qh5=5, e4, =7, d4=x\";", "d2d4", {0, 0, 7}},
        {START_FEN, "c0 \"e4=99999999999999999999\";", "e2e4", {0, 1000000, 1000000}},
        // Operations among others, with odd gaps and ends.
        {START_FEN, "acd 12; bm e4; bmx d4; b d4; am e4; acs 3;", "e2e4", {1, 0, 0}},
        {START_FEN, " 0  1   bm  e4 ;id \"e4=5\";", "e2e4", {1, 0, 0}},
        {START_FEN, "12 0x 3; bm e4;\r\n", "e2e4", {1, 0, 0}},
        {START_FEN, "noop;; ; bm d4; bm e4;;", "e2e4", {1, 0, 0}},   // the last of two counts
        {START_FEN, "id \"a; am d4;b\"; bm d4", "e2e4", {1, 0, 0}},  // no end of the last, an end within a name
        {PROMOTES, "bm e8=Q+; c0 \"e8=Q+=100, e8=N=3\";", "e8=Q", {1, 100, 100}},
        {PROMOTES, "bm e8=Q; c0 \"e8=Q=100, e8=N=3\";", "e8=N", {0, 3, 100}},
        {PROMOTES, "bm O-O+,0-0;", "e1g1", {2, 0, 0}},
        {CAPTURES, "am exd5; c0 \"exd5=9, Qf7+=-4\";", "Qf7", {1, -4, 9}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.operations) + " answered by " + c.answer);
        set_game(c.fen);
        Move answer = NULL_MOVE;
        EXPECT_EQ(parse_move(game_record->position, c.answer, answer), c.answer[0] == '-' ? 0 : 1);
        EpdLine line;
        parse_epd(std::string(c.fen) + " " + c.operations, line);
        const AnswerScore score = score_answer(game_record->position, line, answer);
        EXPECT_EQ(std::tuple(score.correct, score.points, score.possible), c.score);
    }
}

// Mate in one is 10000 less the two plies to the mated position.
TEST_F(EpdAnalysis, writes_and_counts_what_can_be_searched) {
    const std::string only_move = "7k/8/8/8/8/8/r7/7K w - -";
    const std::string long_line = MATE_IN_ONE + " gr 1.0; id \"" + std::string(600, 'x') + "\"; bm Ra8;";
    std::string suite = "# " + MATE_IN_ONE + " bm Ra8;\r\n; comment\n " + MATE_IN_ONE + "\n8/8/8 w -\n\n";
    suite += "8/5ppp/8/8/8/8/8/R3K3 w Q - bm Ra8;\n";  // no black king
    suite += MATE_IN_ONE + " bm Ra8; id \"1\";\r\n";
    suite += MATE_IN_ONE + " 0 1 am Ra8; c0 \"Ra8=7\";\n";
    suite += MATE_IN_ONE + " gr 1.0; bm Kd2;\r\n";
    suite += long_line + "\n";
    suite += "R5k1/5ppp/8/8/8/8/8/4K3 b - - bm Kh8;\n";  // mated, nothing to play
    suite += only_move + " bm Kg1; c0 \"Kg1=3, a=9\";";  // no line feed
    write("suite.any", suite);
    EXPECT_EQ(analyse("suite.any"), 0);
    EXPECT_EQ(complaints, "");
    const std::string four_mates = MATE_IN_ONE + " bm a1a8; ce 9998;\n" + MATE_IN_ONE + " bm a1a8; ce 9998;\n" +
                                   MATE_IN_ONE + " gr 1.0; bm Kd2; sc 9998;\n" + long_line.substr(0, 510) +
                                   " sc 9998;\n";
    const std::string written = read("tmp0.epd");
    ASSERT_TRUE(written.starts_with(four_mates)) << written;
    EXPECT_TRUE(std::regex_match(written.substr(four_mates.size()), std::regex(only_move + " bm h1g1; ce -\\d+;\n")))
        << written;
    EXPECT_EQ(read("tmp_0.epd"), "");
    EXPECT_TRUE(std::regex_match(output, std::regex(R"(Analyzing suite\.any\.\.\.
2 / 6 correct best moves
total nodes= \d+
total time= \d+\.\d\d seconds
avg depth= \d\.\d
avg nodes= \d+\.0
node_rate= \d+
avg bf= 2\.00
score= 10 / 16

)"))) << output;
}

TEST_F(EpdAnalysis, nothing_to_analyse_gives_zeros) {
    write("in.epd", "short\n\n8/8/8/8/8\n");
    EXPECT_EQ(analyse("in.epd"), 0);
    EXPECT_TRUE(output.ends_with("avg depth= 0.0\navg nodes= 0.0\nnode_rate= 0\navg bf= 0.00\nscore= 0 / 0\n\n"))
        << output;
}

TEST_F(EpdAnalysis, shows_positions_and_meets_each_with_an_empty_table) {
    settings.depth_limit = 6;
    settings.noise = 5000;
    const std::vector<std::string> suite = read_lines(data_file("epd/bratko-kopec.epd"));
    write("in.epd", suite[3] + "\r\n" + suite[4] + "\n" + suite[3] + "\n");
    analyse("in.epd");
    const std::regex answer(R"(\nmove= [a-h1-8]{4}, time= \d+\.\d{3}, score= -?\d+, nodes= (\d+), \d+K nps\n\n)");
    std::string nodes[3];
    for (const int i : {0, 1, 2}) {
        const std::string& line = suite[i == 1 ? 4 : 3];
        const std::string fen = line.substr(0, line.find(" bm"));
        const std::size_t at = output.find("pos= " + std::to_string(i + 1) + "\n" + line + "\n" + fen);
        ASSERT_NE(at, std::string::npos) << output;
        const std::string shown = output.substr(at);
        std::smatch found;
        ASSERT_TRUE(std::regex_search(shown, found, answer)) << shown;
        nodes[i] = found[1];
    }
    EXPECT_EQ(nodes[0], nodes[2]) << "the same position again";
    EXPECT_NE(nodes[0], nodes[1]);
}

TEST_F(EpdAnalysis, opening_tree_feeds_each_pass_with_the_positions_of_the_last) {
    const std::string root = "6k1/5ppp/8/8/8/8/8/RR2K3 w - - bm Ra8,Rb8;\n";  // both mate
    write("tree.epd", root);
    EXPECT_EQ(build_tree("tree.epd"), 0);
    std::istringstream lines(output);
    std::string counts;
    for (std::string line; std::getline(lines, line);) {
        if (line.ends_with("correct best moves")) counts += line.substr(0, 5) + '|';
    }
    // The root, the two mated positions behind it, then nothing.
    EXPECT_EQ(counts, "1 / 1|0 / 2|0 / 0|0 / 0|0 / 0|0 / 0|0 / 0|0 / 0|0 / 0|0 / 0|0 / 0|0 / 0|");
    EXPECT_EQ(settings.multipv, 3);
    EXPECT_EQ(read("tree.epd"), root);

    // A copy that fails ends the run, whatever "tmp_1.epd" holds.
    EXPECT_EQ(build_tree("missing.epd"), -1);
    EXPECT_EQ(complaints, "can't copy missing.epd to tmp_1.epd\n");
    EXPECT_EQ(output, "copy missing.epd tmp_1.epd\n");
    std::filesystem::remove("tmp_1.epd");
    std::filesystem::create_directory("tmp_1.epd");
    EXPECT_EQ(build_tree("tree.epd"), -1);
    EXPECT_EQ(complaints, "can't copy tree.epd to tmp_1.epd\n");
    EXPECT_EQ(output, "copy tree.epd tmp_1.epd\n");
}

TEST_F(EpdAnalysis, runs_that_cannot_work_lose_no_file) {
    const std::string suite = MATE_IN_ONE + " bm Ra8;\n";
    const struct {
        const char* name;
        const char* input;
        const char* output;
        int status;
        const char* reported;
    } cases[] = {
        {"no such input", "missing.epd", "old.epd", 0, "can't read missing.epd: No such file"},
        {"input is output", "in.epd", "in.epd", 0, "in.epd is input and output"},
        {"the same by another name", "in.epd", "./in.epd", 0, "./in.epd is input and output"},
        {"output cannot be created", "in.epd", "no/such/folder.epd", -1, "no/such/folder.epd"},
        {"output is the candidate file", "in.epd", "tmp_0.epd", 0, "tmp_0.epd"},
        {"input is the candidate file", "tmp_0.epd", "new.epd", 0, "tmp_0.epd"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        for (const char* file : {"in.epd", "old.epd", "tmp_0.epd"}) write(file, suite);
        copy_text(settings.output_file, c.output);
        EXPECT_EQ(analyse(c.input), c.status);
        EXPECT_EQ(output, "");
        EXPECT_TRUE(complaints.find(c.reported) != std::string::npos) << complaints;
        EXPECT_EQ(std::ranges::count(complaints, '\n'), 1) << complaints;
        EXPECT_EQ(read("old.epd"), suite);
        EXPECT_EQ(read(c.input), std::filesystem::exists(c.input) ? suite : "");
    }
    copy_text(settings.output_file, "in.epd");
    EXPECT_EQ(build_tree("in.epd"), 0);
    EXPECT_EQ(complaints, "in.epd is input and output\n");
    EXPECT_EQ(read("in.epd"), suite);

    settings.output_file[0] = '\0';
    EXPECT_EQ(analyse("in.epd"), 0);
    EXPECT_EQ(read("analysis.epd"), MATE_IN_ONE + " bm a1a8; ce 9998;\n");
}

}  // namespace
