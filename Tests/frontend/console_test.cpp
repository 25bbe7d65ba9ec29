// What the console leaves behind: limits, settings, saved and loaded games. Its dialogue is in clients/test_console.py,
// games that other programs read in clients/test_game_files.py.
#include "engine_fixture.h"

#include "frontend/console.h"
#include "search/parallel.h"

#include <utility>

class Console : public Engine {
protected:
    void SetUp() override {
        Engine::SetUp();
        settings.uci_mode = 0;
        run("new");
    }
    static std::string run(const std::string& line) {
        return printed([&] { console_command(line); });
    }
};

TEST_F(Console, a_full_game_refuses_further_moves) {
    for (int i = 0; i < MAX_GAME_MOVES / 4; ++i) {
        for (const char* move : {"Nf3", "Nf6", "Ng1", "Ng8"}) run(move);
    }
    const std::string before = fen();
    EXPECT_EQ(run("e4"), "the game is full: 800 moves\n");
    EXPECT_EQ(fen(), before);
    EXPECT_EQ(game_record->game.game_ply, MAX_GAME_MOVES);
}

// e4xd5 leaves king and pawn against king, which counts as drawn: the bare king is 1 step from d8 and the other 7,
// the pawn on rank index 4, so 1 + 4 * 4 - 7 = 10 for White.
TEST_F(Console, the_quiescence_score_shown_is_that_of_the_last_searched_root) {
    run("fen 4k3/8/8/3q4/4P3/8/8/4K3 w - -");
    settings.noise = SILENT;
    search_to_depth(1);
    run("new");
    EXPECT_NE(run("sp").find(", qscore= 10, "), std::string::npos);
    EXPECT_EQ(run("ev").find(", qscore= 10, "), std::string::npos);
}

TEST_F(Console, thinking_is_requested_with_its_limits) {
    const std::pair<const char*, const char*> cases[] = {
        {"mv", "depth 80, 5 s, play"}, {"go", "depth 80, 99999 s"},     {"an 7", "depth 7, 99999 s"},
        {"go x", "depth 0, 99999 s"},  {"go 100", "depth 80, 99999 s"}, {"self", "depth 80, 5 s, self"},
    };
    for (const auto& [command, limits] : cases) {
        settings.level_time = 5;
        settings.depth_limit = 80;
        EXPECT_EQ(run(command), "") << command;
        EXPECT_EQ(search_control.think_flags, THINK_GO) << command;
        EXPECT_EQ(format_text("depth %d, %g s%s%s", settings.depth_limit, settings.level_time,
                              search_control.play_move ? ", play" : "", search_control.self_play ? ", self" : ""),
                  limits)
            << command;
        search_control.think_flags = 0;
    }
    search_control.self_play = false;
}

TEST_F(Console, set_changes_settings_and_restores_them) {
    settings.hash_mb = 5;
    settings.max_elo = 3000;
    for (const char* command : {"set level 40 5:00 0", "set contempt 20", "set my_multipv 4", "set depth 7",
                                "set nodes 1000", "set target_nps 62000", "set ss 0"}) {
        run(command);
    }
    EXPECT_FLOAT_EQ(search_control.clock[WHITE], 300);
    EXPECT_EQ(settings.multipv, 4);
    EXPECT_EQ(settings.depth_limit, 80);
    EXPECT_EQ(settings.node_limit, 1000u);
    EXPECT_EQ(settings.nmp_depth, 99);
    run("set ss 1");
    EXPECT_EQ(settings.contempt, 0);
    EXPECT_EQ(settings.nmp_depth, 3);
    EXPECT_EQ(settings.node_limit, 0u);
    EXPECT_EQ(settings.limit_strength, 0);
    EXPECT_EQ(settings.uci_mode, 0) << "the state of the run stays";
    EXPECT_EQ(settings.hash_mb, 5);
    EXPECT_EQ(settings.max_elo, 3000);
}

TEST_F(Console, saved_games_end_with_how_they_stand) {
    const struct {
        const char* fen;
        const char* move;
        const char* line;
    } cases[] = {
        {"7k/5Q2/5K2/8/8/8/8/8 w - -", "Qg7", "1. Qg7# 1-0"},
        {"8/8/8/8/8/5k2/5q2/7K b - - 0 30", "Qg2", "30... Qg2# 0-1"},
        {"7k/8/5KQ1/8/8/8/8/8 w - -", "Kf7", "1. Kf7 1/2-1/2"},
        {"6k1/8/8/8/8/4K3/8/R7 w - - 99 80", "Kf3", "80. Kf3 1/2-1/2"},
        {"6k1/8/8/8/8/4K3/8/R7 w - -", "Kf3", "1. Kf3 *"},
    };
    for (const auto& c : cases) {
        std::filesystem::remove("game.pgn");
        run(std::string("fen ") + c.fen);
        run(c.move);
        EXPECT_EQ(run("save game.pgn"), "") << c.fen;
        const std::vector<std::string> lines = read_lines("game.pgn");
        ASSERT_GT(lines.size(), 9u);
        EXPECT_EQ(lines[lines.size() - 2], c.line) << c.fen;
        const std::string result = std::string(c.line).substr(std::string(c.line).rfind(' ') + 1);
        EXPECT_EQ(lines[6], "[Result \"" + result + "\"]") << c.fen;
    }
}

// The game, its tag, nothing else: castling in small letters, the knight from f3 like that from b1, no mate sign, a
// line feed after every eleventh move. Saving again appends.
TEST_F(Console, save_alone_writes_the_short_form) {
    const struct {
        const char* fen;
        const char* moves;
        const char* text;
    } cases[] = {
        {START_FEN, "Nf3 Nf6 g3 g6 Bg2 Bg7 O-O O-O d3 d6 Nfd2 c5", "Nf3 Nf6 g3 g6 Bg2 Bg7 o-o o-o d3 d6 Nd2 \nc5 \n\n"},
        {START_FEN, "", "\n\n"},
        {"6k1/4Pppp/8/8/8/8/8/4K3 w - - 3 9", "e8Q", "e8=Q+ \n\n"},
        {"4k3/8/8/8/1b6/2N5/8/4K1N1 w - -", "Ne2 Bxc3 Nxc3", "Ne2 Bxc3+ Nxc3 \n\n"},
    };
    std::string saved;
    for (const auto& c : cases) {
        run(std::string("fen ") + c.fen);
        std::istringstream moves(c.moves);
        for (std::string move; moves >> move;) run(move);
        const std::string before = fen();
        EXPECT_EQ(run("save"), "");
        EXPECT_EQ(fen(), before);
        saved += std::string("[Event \"Unknown\"]\n") + c.text;
        EXPECT_EQ(read("tmp.pgn"), saved);
    }
}

TEST_F(Console, a_game_that_cannot_be_saved_is_told_on_the_error_stream) {
    const struct {
        const char* setup;
        const char* command;
        const char* error;
    } cases[] = {
        {"new", "save", "can't create tmp.pgn: Is a directory\n"},
        {"new", "save folder.pgn", "can't create folder.pgn: Is a directory\n"},
        {"new", "save full.pgn", "can't write full.pgn: No space left on device\n"},
        {"new", "save game", "game: the name of this file needs .pgn\n"},
        {"fen 8/8/8/8/8/8/8/8 w - -", "save game.pgn", "illegal position, nothing was saved\n"},
    };
    for (const char* folder : {"tmp.pgn", "folder.pgn"}) std::filesystem::create_directory(folder);
    std::filesystem::create_symlink("/dev/full", "full.pgn");
    for (const auto& c : cases) {
        if (std::string_view(c.command) == "save full.pgn" && !std::filesystem::exists("/dev/full")) continue;
        run(c.setup);
        EXPECT_EQ(errors([&] { EXPECT_EQ(run(c.command), "") << c.command; }), c.error);
    }
    EXPECT_FALSE(std::filesystem::exists("game.pgn"));
}

TEST_F(Console, load_plays_the_first_game_with_the_tag) {
    write("games.pgn",
          "[White \"Berta\"]\n[FEN \"4k3/8/8/8/8/8/4P3/4K3 w - - 0 1\"]\n\n1. e4 Kd7 2.e5 *\n\n"
          "[White \"Carla\"]\n\n1. e4 e5 2. Ke3 Nf6\n\n"
          "[White \"Emma\"]\n[FEN \"8/8/8/8/8/8/8/8 w - -\"]\n\n1. e4\n");
    const std::string carla = "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6";
    const std::string nothing = "8/8/8/8/8/8/8/8 w - -";
    const struct {
        std::string tag;
        std::string printed;  // between the announcement and the board
        std::string fen;
        int plies;
    } cases[] = {
        {"Berta", "", "8/3k4/8/4P3/8/8/8/4K3 b - -", 3},
        {"Carla", "can't parse move 2. Ke3 in game #1  " + carla + "\n", carla, 2},
        {"Emma", "can't parse move 1. e4 in game #1  " + nothing + "\n", nothing, 0},
    };
    settings.level_time = 77;
    for (const auto& c : cases) {
        search_control.clock[BLACK] = 1;
        const std::string text = run("load games.pgn " + c.tag);
        const std::string board = c.fen + " 0 " + std::to_string(c.plies) + '\n';
        EXPECT_EQ(text.substr(0, text.find(board)),
                  "loading games.pgn, tag " + c.tag + "\n\n" + c.printed + "read 1 games\n\n");
        EXPECT_EQ(fen(), c.fen) << c.tag;
        EXPECT_FLOAT_EQ(search_control.clock[BLACK], 77) << c.tag;
        EXPECT_EQ(run("]"), "") << "nothing to replay after " << c.tag;
    }
}
