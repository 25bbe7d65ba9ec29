// EPD analysis: scoring of answers, the files and texts of a run, and runs that cannot work. Opening trees are in
// clients/test_epd_analysis.py.
#include "tools/epd_analysis.h"

#include "platform/words.h"
#include "position/notation.h"
#include "shared_data.h"
#include "tools/tool_fixture.h"

#include <regex>
#include <string>
#include <tuple>
#include <vector>

namespace {

const std::string MATE_IN_ONE = "6k1/5ppp/8/8/8/8/8/R3K3 w Q -";

struct EpdAnalysis : ToolTest {
    void SetUp() override {
        ToolTest::SetUp();
        settings.depth_limit = 3;
    }

    // Analyses a file. What is printed goes to `output` and `complaints`.
    int run(const char* input) {
        const InputPoller poll = [] { return InputState::UNWATCHED; };
        int status = 0;
        complaints = errors([&] { output = printed([&] { status = analyse_epd(input, Candidates::IGNORED, poll); }); });
        return status;
    }

    std::string output, complaints;
};

TEST_F(EpdAnalysis, answers_are_scored_by_best_moves_avoided_moves_and_points) {
    const struct {
        const char* fen;
        const char* operations;
        const char* answer;
        std::tuple<int, int, int> score;  // correct, points, possible
    } cases[] = {
        {START_FEN, "bm Nf3 e4;", "e2e4", {0, 0, 0}},       // run together: Nf3e4
        {START_FEN, "bm e4,\"e2e4\";", "e2e4", {2, 0, 0}},  // every word counts
        {START_FEN, "bm e4;", "-", {0, 0, 0}},
        {START_FEN, "am e4;", "d2d4", {1, 0, 0}},
        {START_FEN, "am e4,d4;", "g1f3", {0, 0, 0}},      // one move, not a list
        {START_FEN, "bm e4; am d4;", "g1f3", {0, 0, 0}},  // best moves come first
        {START_FEN, "bm d4; c0 \"  e4=1,d4=20\";", "d2d4", {1, 20, 20}},
        {START_FEN, "c0 \"Qh5=5, e4, =7, d4=x\";", "d2d4", {0, 0, 7}},
        {START_FEN, "c0 \"e4=99999999999999999999\";", "e2e4", {0, 1000000, 1000000}},
        // Operations among others, with odd gaps and ends.
        {START_FEN, "acd 12; bm e4; bmx d4; b d4; am e4; acs 3;", "e2e4", {1, 0, 0}},
        {START_FEN, "noop;; ; bm d4; bm e4;;", "e2e4", {1, 0, 0}},   // the last of two counts
        {START_FEN, "id \"a; am d4;b\"; bm d4", "e2e4", {1, 0, 0}},  // no end of the last, an end within a name
        {"7k/4P3/8/8/8/8/8/4K2R w K -", "bm e8=Q; c0 \"e8=Q+=100, e8=N=3\";", "e8=N", {0, 3, 100}},
        {"4k3/8/8/3p4/4P3/8/5Q2/4K3 w - -", "am exd5; c0 \"exd5=9, Qf7+=-4\";", "Qf7", {1, -4, 9}},
    };
    for (const auto& c : cases) {
        set_game(c.fen);
        Move answer = NULL_MOVE;
        EXPECT_EQ(parse_move(game_record->position, c.answer, answer), c.answer[0] == '-' ? 0 : 1);
        EpdLine line;
        parse_epd(std::string(c.fen) + " " + c.operations, line);
        const AnswerScore score = score_answer(game_record->position, line, answer);
        EXPECT_EQ(std::tuple(score.correct, score.points, score.possible), c.score) << c.operations;
    }
}

// Mate in one is 10000 less the two plies to the mated position.
TEST_F(EpdAnalysis, writes_and_counts_what_can_be_searched) {
    const std::string only_move = "7k/8/8/8/8/8/r7/7K w - -";
    const std::string long_line = MATE_IN_ONE + " gr 1.0; id \"" + std::string(600, 'x') + "\"; bm Ra8;";
    write("suite.any", "# " + MATE_IN_ONE + " bm Ra8;\r\n; comment\n " + MATE_IN_ONE + "\n8/8/8 w -\n\n" +
                           "8/5ppp/8/8/8/8/8/R3K3 w Q - bm Ra8;\n" +  // no black king
                           MATE_IN_ONE + " bm Ra8; id \"1\";\r\n" + MATE_IN_ONE + " 0 1 am Ra8; c0 \"Ra8=7\";\n" +
                           MATE_IN_ONE + " gr 1.0; bm Kd2;\r\n" + long_line + "\n" +
                           "R5k1/5ppp/8/8/8/8/8/4K3 b - - bm Kh8;\n" +  // mated, nothing to play
                           only_move + " bm Kg1; c0 \"Kg1=3, a=9\";");  // no line feed
    EXPECT_EQ(run("suite.any"), 0);
    EXPECT_EQ(complaints, "");
    const std::string mate = MATE_IN_ONE + " bm a1a8; ce 9998;\n";
    EXPECT_EQ(std::regex_replace(read("tmp0.epd"), std::regex("ce -\\d+"), "ce -N"),
              mate + mate + MATE_IN_ONE + " gr 1.0; bm Kd2; sc 9998;\n" + long_line.substr(0, 510) + " sc 9998;\n" +
                  only_move + " bm h1g1; ce -N;\n");
    EXPECT_EQ(read("tmp_0.epd"), "");
    EXPECT_EQ(std::regex_replace(output, std::regex("\\d+(\\.\\d+)?"), "N"),
              "Analyzing suite.any...\nN / N correct best moves\ntotal nodes= N\ntotal time= N seconds\navg depth= N\n"
              "avg nodes= N\nnode_rate= N\navg bf= N\nscore= N / N\n\n");
    EXPECT_NE(output.find("\n2 / 6 correct"), std::string::npos) << output;
    EXPECT_NE(output.find("avg bf= 2.00\nscore= 10 / 16\n"), std::string::npos) << output;

    write("in.epd", "short\n\n8/8/8/8/8\n");
    run("in.epd");
    EXPECT_TRUE(output.ends_with("avg depth= 0.0\navg nodes= 0.0\nnode_rate= 0\navg bf= 0.00\nscore= 0 / 0\n\n"));
}

TEST_F(EpdAnalysis, shows_positions_and_meets_each_with_an_empty_table) {
    settings.depth_limit = 6;
    settings.noise = 5000;
    const std::vector<std::string> suite = read_lines(data_file("epd/bratko-kopec.epd"));
    write("in.epd", suite[3] + "\r\n" + suite[4] + "\n" + suite[3] + "\n");
    run("in.epd");
    EXPECT_NE(output.find("pos= 2\n" + suite[4] + "\n" + suite[4].substr(0, suite[4].find(" bm"))), std::string::npos);
    const std::regex answer(R"(\nmove= [a-h1-8]{4}, time= \d+\.\d{3}, score= -?\d+, nodes= (\d+), \d+K nps\n\n)");
    const std::vector<std::string> nodes(std::sregex_token_iterator(output.begin(), output.end(), answer, 1), {});
    ASSERT_EQ(nodes.size(), 3u) << output;
    EXPECT_EQ(nodes[0], nodes[2]) << "the same position again";
    EXPECT_NE(nodes[0], nodes[1]);
}

}  // namespace
