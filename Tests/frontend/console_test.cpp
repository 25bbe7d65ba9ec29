// What the console leaves behind: limits, settings, saved and loaded games. Its dialogue is in clients/test_console.py,
// games that other programs read in clients/test_game_files.py.
#include "engine_fixture.h"

#include "frontend/console.h"

#include <sstream>

struct Console : Engine {
    void SetUp() override {
        Engine::SetUp();
        settings.uci_mode = 0;
        run("new");
    }
    static std::string run(const std::string& line) {
        return printed([&] { console_command(line); });
    }
};

TEST_F(Console, set_changes_settings_and_restores_them) {
    for (const char* command : {"set level 40 5:00 0", "set contempt 20", "set my_multipv 4", "set depth 7",
                                "set nodes 1000", "set target_nps 62000", "set ss 0"}) {
        run(command);
    }
    EXPECT_EQ(search_control.clock[WHITE], 300);
    EXPECT_TRUE(settings.multipv == 4 && settings.depth_limit == 80 && settings.node_limit == 1000);
    EXPECT_EQ(settings.nmp_depth, 99);
    run("set ss 1");
    EXPECT_TRUE(settings.multipv == 1 && settings.contempt == 0 && settings.limit_strength == 0);
    EXPECT_TRUE(settings.nmp_depth == 3 && settings.node_limit == 0);
    EXPECT_TRUE(settings.uci_mode == 0 && settings.hash_mb == 1) << "the state of the run stays";
}

// The full form ends with the result. The short one has castling in small letters, the knight from f3 like that from
// b1, no mate sign and a line feed after every eleventh move; saving again appends.
TEST_F(Console, games_are_saved_in_two_forms) {
    const struct {
        const char* fen;
        const char* moves;
        const char* end;
        const char* short_form;
    } cases[] = {
        {START_FEN, "Nf3 Nf6 g3 g6 Bg2 Bg7 O-O O-O d3 d6 Nfd2 c5", " 6. Nfd2 c5 *",
         "Nf3 Nf6 g3 g6 Bg2 Bg7 o-o o-o d3 d6 Nd2 \nc5 \n\n"},
        {"8/8/8/8/8/5k2/5q2/7K b - - 0 30", "Qg2", "30... Qg2# 0-1", "Qg2+ \n\n"},
        {"7k/8/5KQ1/8/8/8/8/8 w - -", "Kf7", "1. Kf7 1/2-1/2", "Kf7 \n\n"},
        {"6k1/8/8/8/8/4K3/8/R7 w - - 99 80", "Kf3", "80. Kf3 1/2-1/2", "Kf3 \n\n"},
        {"6k1/4Pppp/8/8/8/8/8/4K3 w - - 3 9", "e8Q", "9. e8=Q# 1-0", "e8=Q+ \n\n"},
        {"4k3/8/8/8/1b6/2N5/8/4K1N1 w - -", "Ne2 Bxc3 Nxc3", "2. Nxc3 *", "Ne2 Bxc3+ Nxc3 \n\n"},
    };
    std::string saved;
    for (const auto& c : cases) {
        run(std::string("fen ") + c.fen);
        std::istringstream moves(c.moves);
        for (std::string move; moves >> move;) run(move);
        const std::string before = fen();
        EXPECT_EQ(run("save") + run("save game.pgn"), "");
        EXPECT_EQ(fen(), before);
        saved += std::string("[Event \"Unknown\"]\n") + c.short_form;
        EXPECT_EQ(read("tmp.pgn"), saved);
        const std::string full = read("game.pgn"), end = c.end;
        EXPECT_TRUE(full.ends_with(end + "\n\n")) << full << "instead of " << end;
        EXPECT_NE(full.find("[Result \"" + end.substr(end.rfind(' ') + 1) + "\"]"), std::string::npos) << full;
        std::filesystem::remove("game.pgn");
    }
}

TEST_F(Console, a_game_that_cannot_be_saved_is_told_on_the_error_stream) {
    std::filesystem::create_directory("tmp.pgn");
    EXPECT_EQ(errors([] { run("save"); }), "can't create tmp.pgn: Is a directory\n");
    run("fen 8/8/8/8/8/8/8/8 w - -");
    EXPECT_EQ(errors([] { run("save game.pgn"); }), "illegal position, nothing was saved\n");
}

TEST_F(Console, load_plays_the_first_game_with_the_tag_as_far_as_it_goes) {
    write("games.pgn", "[White \"Berta\"]\n\n1. d4 *\n\n[White \"Carla\"]\n\n1. e4 e5 2. Ke3 Nf6\n\n");
    search_control.clock[BLACK] = 1;
    settings.level_time = 77;
    EXPECT_NE(
        run("load games.pgn Carla").find("\n\ncan't parse move 2. Ke3 in game #1  " + fen() + "\nread 1 games\n\n"),
        std::string::npos);
    EXPECT_EQ(fen(), "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6");
    EXPECT_EQ(search_control.clock[BLACK], 77);
    EXPECT_EQ(run("]"), "") << "nothing to replay";
}
