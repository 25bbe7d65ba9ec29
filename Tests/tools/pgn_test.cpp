// The PGN grammar, games as EPD lines, and the scan of whole files. Damaged ones are in fuzz/pgn.cpp.
#include "tools/pgn.h"

#include "captured.h"
#include "frontend/base/settings.h"
#include "platform/words.h"
#include "position/board.h"
#include "temp_folder.h"

#include <regex>

namespace {

const std::string START = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -";

// What the game holds, as far as it is not nothing: moves with their scores, then result, annotation and FEN.
std::string summary(const PgnGame& game) {
    std::string text;
    for (int i = 0; i < game.move_count; ++i) {
        text += (i ? " " : "") + std::string(game.moves[i]);
        if (game.scores[i]) text += ':' + std::to_string(game.scores[i]);
    }
    if (game.result) text += " result " + std::to_string(game.result);
    if (game.annotator_eval) text += " eval " + std::to_string(game.annotator_eval);
    return text + (*game.fen ? " fen " : "") + game.fen;
}

struct Pgn : testing::Test {
    void SetUp() override { settings = Settings{}; }

    // Scans a file; returns the exit status. What is printed goes to `output` and `said`, the file to `written`.
    int scan(const std::string& input) {
        copy_text(settings.pgn_file, input);
        copy_text(settings.output_file, folder.name("out.epd"));
        int status = 0;
        said = errors([&] { output = printed([&] { status = scan_pgn(board.position); }); });
        written = folder.read("out.epd");
        return status;
    }
    int scan_text(const std::string& text) { return scan(folder.write("in.pgn", text)); }

    Board board;
    const TempFolder folder;
    std::string output, said, written;
};

TEST_F(Pgn, games_are_found_among_all_else) {
    const std::pair<std::string, std::string> cases[] = {
        {"  \n \r\n\t1. e4 e5 2. Nf3+ Nc6# 1-0", "e4 e5 Nf3 Nc6"},
        {"exd8=Q+ e8=N f1Q", "exd8Q e8N f1Q"},
        {"1.e4 e5 2...Nf3 12.O-O 13.", "e4 e5 Nf3 O-O"},
        {"4. 0-0 0-0-0+ 1-0 0-1 1/2-1/2 *", "0-0 0-0-0"},
        {"e4{x}e5(c5)Nf3! $1 Nb1xc3?! abcdefghij", "e4 e5 Nf3 Nb1xc3 abcdefg"},
        {"{a (b) [c] \"d\"} e4 {a {b} c} d4", "e4 c} d4"},
        {"{never closed", "never closed"},
        {"(1... c5 (1... e6) 2. d4) e5", "d4) e5"},
        {"[Event \"e4 ] e5\" ] Nf3 \"a b\" [] Nc3 \"c", "Nf3 Nc3"},
        {"[Event \"never closed] x [Site \"?\"] e5", "e5"},
        // Scores of engines, within 9000 centipawns but for mates.
        {"{+7.00/1} e4 {+0.35/14 1.2s} e5", "e4:35 e5"},
        {"e4 {-95.00/30} e5 {-M5/20} d4 {+M5/20 0.1s}", "e4:-9000 e5:-9900 d4:9900"},
        {"e4 {+0.35/14 book} e5 {12/3} d4 {nan/3} d5 {+0.35/14} {later}", "e4 e5 d4 d5"},
        {"e4 {1e99/3} e5 {+0.129/3}", "e4:9000 e5:12"},
        {"[Result 1-0] e4", "e4 result 1"},
        {"[Result \"1-0\"] [Result \"0-1\"] e4", "e4 result -1"},
        {"[Result \"*\"] [WhiteResult \"1-0\"] e4", "e4"},
        {"[Annotator \"me, eval=-37 cp\"] e4", "e4 eval -37"},
        {"[Annotator \"eval=99999\"] [White \"eval=3\"]", " eval 32767"},
        {"[Termination \"time forfeit\"] e4", ""},
        {"[Termination \"White abandoned the game\"] e4", ""},
        {"[Termination \"adjudication\"] e4", "e4"},
        {"[FEN \"" + std::string(300, 'x') + "\"]", " fen " + std::string(99, 'x')},
    };
    for (const auto& [text, found] : cases) {
        PgnGame game;
        parse_pgn_game(game, text);
        EXPECT_EQ(summary(game), found) << text;
    }
    PgnGame reused;
    parse_pgn_game(reused, "[Annotator \"eval=7\"] [FEN \"8/8/8/8/8/8/k7/2K5 w - -\"] [Result \"1-0\"] e4 {+1.00/1}");
    EXPECT_EQ(summary(reused), "e4:100 result 1 eval 7 fen 8/8/8/8/8/8/k7/2K5 w - -");
    std::string many;
    for (int i = 0; i < 700; ++i) many += "Nf3 {+0.10/1} ";
    parse_pgn_game(reused, many);
    EXPECT_TRUE(reused.game_count == 2 && reused.move_count == MAX_PGN_MOVES && reused.result == 0);
    EXPECT_EQ(reused.annotator_eval, 7) << "stays until another one comes";
}

// Four plies a round that come back to where they began: knights out and home.
TEST_F(Pgn, positions_are_written_with_score_and_result_for_the_side_to_move) {
    std::string plies;
    for (int i = 0; i < 4; ++i) plies += "Nf3 {+0.10/1} Nf6 {-0.20/1} Ng1 {+0.30/1} Ng8 {-0.40/1} ";
    const std::string after_nf3 = "rnbqkbnr/pppppppp/8/8/8/5N2/PPPPPPPP/RNBQKB1R b KQkq -";
    EXPECT_EQ(scan_text("[Result \"0-1\"] [FEN \"short w -\"] " + plies), 0);
    EXPECT_TRUE(written.starts_with(START + " ce 10; gr 0.0;\n" + after_nf3 + " ce -20; gr 1.0;\n")) << written;
    EXPECT_EQ(scan_text("[Annotator \"eval=12\"] [FEN \"" + START + " 0 1\"] " + plies), 0);
    EXPECT_TRUE(written.starts_with(START + "\n" + after_nf3 + "\n")) << written;
}

// Every game of the file, and how many positions it gives.
TEST_F(Pgn, a_file_that_breaks_readers_gives_its_good_games) {
    ASSERT_EQ(scan(data_file("pgn/nasty.pgn")), 0);
    EXPECT_EQ(output,
              // A nested variation ends at its first parenthesis, and the rest of the outer one is read.
              "can't parse move 2. d6) in game #1  rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6\n"
              "can't parse move 2. Ke3 in game #7  rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6\n"
              "can't parse move 2. this in game #11  rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6\n"
              "can't parse move 3. cx in game #17  rnbqkbnr/pp2pppp/3p4/2p5/3PP3/5N2/PPP2PPP/RNBQKB1R b KQkq d3\n"
              "read 17 games\n\n");
    // 15 of the game with a FEN tag; 1 of the one with the castlings written with zeros, at ply 12; 228 of the long
    // one; 8 of the underpromotions; and the empty line at the end.
    EXPECT_EQ(std::ranges::count(written, '\n'), 15 + 1 + 228 + 8 + 1);
}

TEST_F(Pgn, files_are_cut_into_games) {
    const std::string line = "1. Nf3 Nf6 2. Ng1 Ng8 3. Nf3 Nf6 4. Ng1 Ng8 5. Nf3 Nf6 6. Ng1 Ng8";
    const std::string event = "[Event \"?\"]\n";
    const std::string good = event + "[Result \"1-0\"]\n\n" + line + "\n\n";
    std::string commented;
    for (int i = 0; i < 50; ++i) commented += "{" + std::string(400, 'x') + "} Nf3 Nf6 Ng1 Ng8\n";
    const struct {
        std::string content;
        int games, lines;
    } cases[] = {
        {"", 0, 0},
        {"\n\n" + good + good.substr(0, good.size() - 2), 2, 2},  // no line feed at the end
        {good + event + "\n1. e4\n", 1, 1},                       // an end too short for a game
        {good + event + "[Site \"a place with a long name\"]\n\n1. e4\n", 2, 1},
        {good.substr(0, good.size() - 1) + "{x\n[%clk 0:01]} Nc3 1-0\n\n" + good, 2, 3},  // wrapped comment
        {event + "\n" + line + " {" + std::string(9000, 'x') + "} Nf3 Nf6\n", 1, 3},
        // Too long for the buffer: tag and first moves take 79 characters and each further line 419, so that 37 fit
        // into 15,800, plies 12 to 160.
        {event + "\n" + line + "\n" + commented + good, 2, 149 + 1},
    };
    for (const auto& c : cases) {
        const std::string with_returns = std::regex_replace(c.content, std::regex("\n"), "\r\n");
        for (const std::string& content : {c.content, with_returns}) {
            EXPECT_EQ(scan_text(content), 0);
            EXPECT_EQ(output, "read " + std::to_string(c.games) + " games\n\n") << content.substr(0, 500);
            EXPECT_EQ(std::ranges::count(written, ';') / 2, c.lines) << content.substr(0, 500);
        }
    }
}

}  // namespace
