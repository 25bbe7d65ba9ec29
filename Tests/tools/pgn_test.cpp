// The PGN grammar, games as EPD lines, and the scan of whole files, good and damaged.
#include "tools/pgn.h"

#include "frontend/settings.h"
#include "mutation.h"
#include "shared_data.h"
#include "tools/pgn_reader.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

std::string text_of_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

PgnGame parsed(const std::string& text) {
    PgnGame game;
    parse_pgn_game(game, text);
    return game;
}

std::string moves_of(const PgnGame& game) {
    std::string text;
    for (int i = 0; i < game.move_count; ++i) {
        if (i) text += ' ';
        text += game.moves[i];
    }
    return text;
}

class Pgn : public testing::Test {
protected:
    static void SetUpTestSuite() {
        init_tables();
        init_zobrist();
    }
    void SetUp() override {
        settings = Settings{};
        init_game_state(*game, board);
        folder = std::filesystem::path(testing::TempDir()) / ("tarn_pgn_" + std::to_string(std::random_device{}()));
        std::filesystem::create_directories(folder);
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    // The EPD lines of a game, and what is printed on the way.
    std::vector<std::string> epd_lines(const std::string& text) {
        testing::internal::CaptureStdout();
        const std::string lines = game_to_epd(parsed(text), board);
        output = testing::internal::GetCapturedStdout();
        std::vector<std::string> result;
        for (std::size_t at = 0; at < lines.size();) {
            const std::size_t end = lines.find('\n', at);
            result.push_back(lines.substr(at, end - at));
            at = end + 1;
        }
        return result;
    }

    // Scans a file with this content; returns the exit status. What is printed goes to `output`, the file to `written`.
    int scan(const std::string& content) {
        std::ofstream(folder / "in.pgn", std::ios::binary) << content;
        return scan_files((folder / "in.pgn").string(), (folder / "out.epd").string());
    }
    int scan_files(const std::string& input, const std::string& epd) {
        std::snprintf(settings.pgn_file, sizeof settings.pgn_file, "%s", input.c_str());
        std::snprintf(settings.output_file, sizeof settings.output_file, "%s", epd.c_str());
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int status = scan_pgn(board);
        errors = testing::internal::GetCapturedStderr();
        output = testing::internal::GetCapturedStdout();
        written = text_of_file(epd);
        return status;
    }

    std::unique_ptr<GameState> game = std::make_unique<GameState>();
    Position board{};
    std::filesystem::path folder;
    std::string output;
    std::string errors;
    std::string written;
};

TEST_F(Pgn, tokens) {
    const struct {
        const char* text;
        std::vector<std::string> tokens;
    } cases[] = {
        {"", {}},
        {"  \n \r\n\t", {}},
        {"1. e4  e5\n2. Nf3", {"1.", "e4", "e5", "2.", "Nf3"}},
        {"{a (b) [c] \"d\"} e", {"{a (b) [c] \"d\"}", "e"}},
        {"{a {b} c} d", {"{a {b}", "c}", "d"}},
        {"{never closed", {"{", "never", "closed"}},
        {"(1... c5 (1... e6) 2. d4) e5", {"(1... c5 (1... e6)", "2.", "d4)", "e5"}},
        {"(never closed", {"(never closed"}},
        {"[Event \"a b\"] [Site]", {"[Event \"a b\"]", "[Site]"}},
        {"[Event \"a ] b\" ] x", {"[Event \"a ] b\" ]", "x"}},
        {"[Event \"never closed] x [Site \"?\"] y", {"[Event \"never closed] x [Site \"?\"]", "y"}},
        {"[Event never closed", {"[Event never closed"}},
        {"[] ]", {"[]", "]"}},
        {"\"a b\" \"c", {"\"a b\"", "\"c"}},
        {"e4{x}e5(y)Nf3[Z]", {"e4", "{x}", "e5", "(y)", "Nf3[Z]"}},
        {"$1 * 1/2-1/2 ;", {"$1", "*", "1/2-1/2", ";"}},
    };
    for (const auto& c : cases) {
        std::string_view rest = c.text;
        std::vector<std::string> tokens;
        for (std::string_view token; !(token = next_pgn_token(rest)).empty();) tokens.emplace_back(token);
        EXPECT_EQ(tokens, c.tokens) << c.text;
    }
}

TEST_F(Pgn, moves_are_stored_bare) {
    const struct {
        const char* text;
        const char* moves;
    } cases[] = {
        {"1. e4 e5 2. Nf3+ Nc6# 1-0", "e4 e5 Nf3 Nc6"},
        {"exd8=Q+ e8=N f1Q", "exd8Q e8N f1Q"},
        {"1.e4 e5 2...Nf3 12.O-O 13.", "e4 e5 Nf3 O-O"},
        {"4. 0-0 0-0-0+ 1-0 0-1 1/2-1/2 *", "0-0 0-0-0"},
        {"e4! e5?! Nf3!!", "e4 e5 Nf3"},
        {"1. e4 $1 {c5} (1. d4 d5) e5", "e4 e5"},
        {"Nb1xc3+ abcdefghij", "Nb1xc3 abcdefg"},
        {"[Event \"e4\"] e5", "e5"},
        {"", ""},
    };
    for (const auto& c : cases) EXPECT_EQ(moves_of(parsed(c.text)), c.moves) << c.text;

    std::string many;
    for (int i = 0; i < 700; ++i) many += "Nf3 {+0.10/1} ";
    const PgnGame game = parsed(many + "{+9.00/1}");
    EXPECT_EQ(game.move_count, MAX_PGN_MOVES);
    EXPECT_EQ(game.scores[MAX_PGN_MOVES - 1], 0) << "parsing stops after the last move";
}

TEST_F(Pgn, comments_score_the_move_before_them) {
    const struct {
        const char* comment;
        int score;
    } cases[] = {
        {"{+0.35/14 1.2s}", 35},
        {"{-0.20/13}", -20},
        {"{0.00/1}", 0},
        {"{ +1.10/8}", 110},
        {"{+12.50/30}", 1250},
        {"{+95.00/30}", 9000},
        {"{-95.00/30}", -9000},
        {"{-M5/20}", -9900},
        {"{+M5/20 0.1s}", 9900},
        {"{M5/20}", 0},
        {"{book}", 0},
        {"{+0.35/14 book}", 0},
        {"{+0.35}", 0},
        {"{12/3}", 0},
        {"{100/3}", 9000},
        {"{1.5/3}", 150},
        {"{nan/3}", 0},
        {"{inf/3}", 0},
        {"{1e99/3}", 9000},
        {"{+0.129/3}", 12},
        {"{a/b}", 0},
        {"{/}", 0},
        {"{}", 0},
        {"{+0.35/14} {later}", 0},
        {"{later} {+0.35/14}", 35},
    };
    for (const auto& c : cases) {
        const PgnGame game = parsed(std::string("{+7.00/1} e4 ") + c.comment + " e5");
        ASSERT_EQ(game.move_count, 2);
        EXPECT_EQ(game.scores[0], c.score) << c.comment;
        EXPECT_EQ(game.scores[1], 0);
    }
    PgnGame again;
    parse_pgn_game(again, "e4 {+1.00/1} e5 {+1.00/1}");
    parse_pgn_game(again, "d4");
    EXPECT_EQ(again.scores[0] + again.scores[1], 0) << "scores of an earlier game";
}

TEST_F(Pgn, tags_describe_the_game) {
    const struct {
        const char* tag;
        int result, annotator_eval, moves;
        const char* fen;
    } cases[] = {
        {"[Result \"1-0\"]", 1, 0, 1, ""},
        {"[Result \"0-1\"]", -1, 0, 1, ""},
        {"[Result \"1/2-1/2\"]", 0, 0, 1, ""},
        {"[Result \"*\"]", 0, 0, 1, ""},
        {"[Result 1-0]", 1, 0, 1, ""},
        {"[Result \"1-0\"] [Result \"0-1\"]", -1, 0, 1, ""},
        {"[Result]", 0, 0, 1, ""},
        {"[WhiteResult \"1-0\"]", 0, 0, 1, ""},
        {"[Annotator \"me, eval=-37 cp\"]", 0, -37, 1, ""},
        {"[Annotator \"eval=99999\"]", 0, 32767, 1, ""},
        {"[Annotator \"me\"]", 0, 0, 1, ""},
        {"[White \"eval=3\"]", 0, 0, 1, ""},
        {"[FEN \"8/8/8/8/8/8/k7/2K5 w - - 0 1\"]", 0, 0, 1, "8/8/8/8/8/8/k7/2K5 w - - 0 1"},
        {"[Termination \"time forfeit\"]", 0, 0, 0, ""},
        {"[Termination \"unterminated\"]", 0, 0, 0, ""},
        {"[Termination \"White abandoned the game\"]", 0, 0, 0, ""},
        {"[Termination \"adjudication\"]", 0, 0, 1, ""},
    };
    for (const auto& c : cases) {
        const PgnGame game = parsed(std::string("[Event \"?\"] ") + c.tag + " 1. e4");
        EXPECT_EQ(game.result, c.result) << c.tag;
        EXPECT_EQ(game.annotator_eval, c.annotator_eval) << c.tag;
        EXPECT_EQ(game.move_count, c.moves) << c.tag;
        EXPECT_STREQ(game.fen, c.fen) << c.tag;
    }
    const PgnGame cut = parsed("[FEN \"" + std::string(300, 'x') + "\"]");
    EXPECT_EQ(std::string(cut.fen), std::string(99, 'x'));

    PgnGame reused;
    parse_pgn_game(reused, "[Annotator \"eval=7\"] [FEN \"8/8/8/8/8/8/k7/2K5 w - -\"] [Result \"1-0\"] e4 e5");
    parse_pgn_game(reused, "d4");
    EXPECT_EQ(reused.game_count, 2);
    EXPECT_EQ(reused.move_count, 1);
    EXPECT_EQ(reused.result, 0);
    EXPECT_STREQ(reused.fen, "");
    EXPECT_EQ(reused.annotator_eval, 7) << "stays until another one comes";
}

// Twenty plies that come back to where they began: knights out and home.
std::string shuffle(int rounds) {
    std::string moves;
    for (int i = 0; i < rounds; ++i) moves += "Nf3 {+0.10/1} Nf6 {-0.20/1} Ng1 {+0.30/1} Ng8 {-0.40/1} ";
    return moves;
}

TEST_F(Pgn, positions_are_written_with_score_and_result_for_the_side_to_move) {
    const std::string start = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -";
    const std::string after_nf3 = "rnbqkbnr/pppppppp/8/8/8/5N2/PPPPPPPP/RNBQKB1R b KQkq -";
    std::vector<std::string> lines = epd_lines("[Result \"1-0\"] " + shuffle(5));
    ASSERT_EQ(lines.size(), 9u) << "plies 12 to 20";
    EXPECT_EQ(lines[0], start + " ce 10; gr 1.0;");
    EXPECT_EQ(lines[1], after_nf3 + " ce -20; gr 0.0;");
    EXPECT_EQ(lines[8], start + " ce 0; gr 1.0;");

    lines = epd_lines("[Result \"0-1\"] [FEN \"" + start + " 0 1\"] " + shuffle(5));
    ASSERT_EQ(lines.size(), 21u) << "plies 0 to 20";
    EXPECT_EQ(lines[0], start + " ce 10; gr 0.0;");
    EXPECT_EQ(lines[1], after_nf3 + " ce -20; gr 1.0;");
    EXPECT_EQ(lines[20], start + " ce 0; gr 0.0;");

    lines = epd_lines("[Result \"1/2-1/2\"] " + shuffle(5));
    EXPECT_EQ(lines[0], start + " ce 10; gr 0.5;");
    EXPECT_EQ(lines[1], after_nf3 + " ce -20; gr 0.5;");

    lines = epd_lines("[Annotator \"eval=12\"] " + shuffle(5));
    EXPECT_EQ(lines[0], start);
    EXPECT_EQ(lines[1], after_nf3);

    EXPECT_EQ(epd_lines(shuffle(100)).size(), 228u) << "plies 12 to 239";
    EXPECT_EQ(epd_lines("[FEN \"" + start + "\"] " + shuffle(100)).size(), 240u);
    EXPECT_EQ(epd_lines(shuffle(2) + "Nf3 Nf6 Ng1").size(), 0u) << "eleven plies";
    EXPECT_EQ(epd_lines(shuffle(3)).size(), 1u) << "twelve plies";
    EXPECT_EQ(epd_lines("[FEN \"" + start + "\"]").size(), 0u) << "no moves";
    EXPECT_EQ(epd_lines("[FEN \"8/8/8/8/8/8/8/8 w - -\"] e4").size(), 0u) << "not a position to play from";
    EXPECT_EQ(epd_lines("[FEN \"short w -\"] " + shuffle(3)).size(), 1u) << "too short for a FEN";
    EXPECT_EQ(output, "");

    lines = epd_lines("[FEN \"8/P7/8/8/8/8/k7/7K w - -\"] a8=Q+ Kb3 exd8=Q+");
    EXPECT_EQ(lines.size(), 3u) << "up to the move that cannot be read";
    EXPECT_EQ(output, "can't parse move 2. exd8Q in game #1  Q7/8/8/8/8/1k6/8/7K w - -\n");
}

// Every game of the file, what becomes of it, and which positions it gives. Positions by hand, from the diagrams.
TEST_F(Pgn, a_file_that_breaks_readers_gives_its_good_games) {
    ASSERT_EQ(scan_files(data_file("pgn/nasty.pgn"), (folder / "out.epd").string()), 0);
    EXPECT_EQ(output,
              // A nested variation ends at its first parenthesis, and the rest of the outer one is read.
              "can't parse move 2. d6) in game #1  rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6\n"
              "can't parse move 2. Ke3 in game #7  rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6\n"
              "can't parse move 2. this in game #11  rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6\n"
              "can't parse move 3. cx in game #17  rnbqkbnr/pp2pppp/3p4/2p5/3PP3/5N2/PPP2PPP/RNBQKB1R b KQkq d3\n"
              "read 17 games\n\n");
    std::vector<std::string> lines = read_lines((folder / "out.epd").string());
    // 15 of the game with a FEN tag; 1 of the one with the castlings written with zeros, at ply 12; 228 of the long
    // one; 8 of the underpromotions; and the empty line at the end.
    ASSERT_EQ(lines.size(), 15u + 1 + 228 + 8 + 1);
    EXPECT_EQ(lines[0], "4k3/P7/8/8/8/8/7p/4K3 w - - ce 0; gr 0.0;");
    EXPECT_EQ(lines[14], "8/8/8/8/4Q3/8/7p/4K1k1 w - - ce 0; gr 0.0;");
    EXPECT_EQ(lines[15], "r1bq1rk1/ppp2ppp/2np1n2/2b1p3/2B1P3/3P1N1P/PPP2PP1/RNBQ1RK1 w - - ce 0; gr 0.5;");
    EXPECT_EQ(lines[16], "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - ce 0; gr 0.5;");
    EXPECT_EQ(lines[244], "8/PPPP4/8/8/8/8/k7/7K w - - ce 0; gr 1.0;");
    EXPECT_EQ(lines[251], "NBRQ4/8/8/3k4/8/8/8/7K b - - ce 0; gr 0.0;");
    EXPECT_EQ(lines[252], "");
}

TEST_F(Pgn, files_are_cut_into_games) {
    const std::string moves = "1. Nf3 Nf6 2. Ng1 Ng8 3. Nf3 Nf6 4. Ng1 Ng8 5. Nf3 Nf6 6. Ng1 Ng8\n";
    const std::string good = "[Event \"?\"]\n[Result \"1-0\"]\n\n" + moves + "\n";
    std::string commented;
    for (int i = 0; i < 50; ++i) commented += "{" + std::string(400, 'x') + "} Nf3 Nf6 Ng1 Ng8\n";
    const struct {
        const char* name;
        std::string content;
        int games;
        int lines;
    } cases[] = {
        {"empty", "", 0, 0},
        {"blank", "\n \n\n", 0, 0},
        {"one game", good, 1, 1},
        {"two games", good + good, 2, 2},
        {"blank lines before", "\n\n" + good, 1, 1},
        {"byte order mark", "\xEF\xBB\xBF" + good, 1, 1},
        {"no header", moves, 1, 1},
        {"no header, then a game", moves + good, 2, 2},
        {"short end", good + "[Event \"?\"]\n\n1. e4\n", 1, 1},
        {"longer end", good + "[Event \"?\"]\n[Site \"a place with a long name\"]\n\n1. e4\n", 2, 1},
        {"no line feed at the end", good + good.substr(0, good.size() - 2), 2, 2},
        {"wrapped comment", good.substr(0, good.size() - 1) + "{x\n[%clk 0:01]} Nc3 1-0\n\n" + good, 2, 3},
        {"one line with a long comment",
         "[Event \"?\"]\n\n" + moves.substr(0, moves.size() - 1) + " {" + std::string(9000, 'x') + "} Nf3 Nf6\n", 1, 3},
        {"header line of many bytes", "[Event \"" + std::string(2000, 'x') + "\"]\n\n" + moves, 1, 1},
        // Tag and first moves take 79 characters and each further line 419, so that 37 fit into 15,800: plies 12 to
        // 160.
        {"game too long for the buffer", "[Event \"?\"]\n\n" + moves + commented + good, 2, 149 + 1},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(scan(c.content), 0) << c.name;
        EXPECT_EQ(output, "read " + std::to_string(c.games) + " games\n\n") << c.name;
        EXPECT_EQ(std::count(written.begin(), written.end(), ';') / 2, c.lines) << c.name;
        std::string carriage_returns;
        for (const char ch : c.content) carriage_returns += ch == '\n' ? "\r\n" : std::string(1, ch);
        const std::string expected = written;
        scan(carriage_returns);
        EXPECT_EQ(written, expected) << c.name << " with carriage returns";
    }
}

TEST_F(Pgn, files_that_are_not_scanned) {
    const std::string epd = (folder / "out.epd").string();
    const std::string both = (folder / "both.pgn.epd").string();
    const struct {
        std::string input, output;
        int status;
        const char* error;
    } cases[] = {
        {data_file("pgn/nasty.pgn"), (folder / "out.txt").string(), 0, "needs .epd"},
        {data_file("polyglot/keys.tsv"), epd, 0, "needs .pgn"},
        {(folder / "missing.pgn").string(), epd, 0, "No such file"},
        {data_file("pgn/nasty.pgn"), (folder / "no folder" / "out.epd").string(), -1, "can't create"},
        {both, both, 1, "is input and output"},
    };
    std::ofstream(both) << "[Event \"?\"]\n\n1. e4\n";
    for (const auto& c : cases) {
        EXPECT_EQ(scan_files(c.input, c.output), c.status) << c.input;
        EXPECT_EQ(output, "");
        EXPECT_NE(errors.find(c.error), std::string::npos) << errors;
        EXPECT_EQ(std::filesystem::exists(c.output), c.output == both);
    }
    EXPECT_EQ(written, "[Event \"?\"]\n\n1. e4\n");

    const std::string directory = (folder / "directory.pgn").string();
    std::filesystem::create_directory(directory);
    EXPECT_EQ(scan_files(directory, epd), 1);
    EXPECT_EQ(errors, "can't read " + directory + ": Is a directory\n");
}

// Whatever is damaged, the scan ends, what it writes are positions with their labels, and a good game behind the
// damage comes through.
TEST_F(Pgn, a_thousand_damaged_files_are_scanned) {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(data_file("pgn"))) {
        files.push_back(text_of_file(entry.path().string()));
    }
    ASSERT_EQ(files.size(), 10u);
    std::sort(files.begin(), files.end());
    const std::string marker =
        "4k3/8/8/8/8/8/4P3/4K3 w - - ce 0; gr 1.0;\n4k3/8/8/8/4P3/8/8/4K3 b - e3 ce 0; gr 0.0;\n\n";
    const std::string good_game =
        "\n\n[Event \"the good game behind the damage\"]\n[Result \"1-0\"]\n[FEN \"4k3/8/8/8/8/8/4P3/4K3 w - "
        "-\"]\n\n1. e4\n";
    std::mt19937 random(72);
    std::size_t positions = 0;
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(scan(mutated(files[i % files.size()], random) + good_game), 0) << i;
        ASSERT_TRUE(output.ends_with(" games\n\n")) << i;
        ASSERT_TRUE(written.ends_with(marker)) << i << '\n' << written.substr(written.size() - 300);
        for (const std::string& line : read_lines((folder / "out.epd").string())) {
            if (line.empty()) continue;
            set_position(board, line);
            ASSERT_TRUE(is_playable(board)) << i << ' ' << line;
            ++positions;
        }
    }
    EXPECT_GT(positions, 50000u);
}

}  // namespace
