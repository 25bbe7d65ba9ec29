// What the console leaves behind: limits, settings, games saved in the short form. Its dialogue is in
// clients/test_console.py, games that other programs read in clients/test_game_files.py.
#include "engine_fixture.h"

#include "frontend/console.h"

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
    search_control.clock[BLACK] = 1;
    write("games.pgn", "[White \"Berta\"]\n\n1. d4 *\n\n");
    run("load games.pgn Berta");
    EXPECT_EQ(search_control.clock[BLACK], 300) << "a new game";
    EXPECT_TRUE(settings.multipv == 4 && settings.depth_limit == 80 && settings.node_limit == 1000);
    EXPECT_EQ(settings.nmp_depth, 99);
    run("set ss 1");
    EXPECT_TRUE(settings.multipv == 1 && settings.contempt == 0 && settings.limit_strength == 0);
    EXPECT_TRUE(settings.nmp_depth == 3 && settings.node_limit == 0);
    EXPECT_TRUE(settings.uci_mode == 0 && settings.hash_mb == 1) << "the state of the run stays";
}

TEST_F(Console, pawns_capture_in_passing_only_what_has_passed) {
    EXPECT_NE(run("fen 4k3/8/8/8/4p3/8/3P4/4K3 b - d3 0 1").find(" b - - "), std::string::npos);
    EXPECT_EQ(run("exd3").find("invalid: "), 0u);
}

// Castling in small letters, the knight from f3 like that from b1, no mate sign, a line feed after every eleventh move;
// saving again appends. The full form is in clients/test_game_files.py.
TEST_F(Console, games_are_saved_in_the_short_form) {
    const struct {
        const char *fen, *moves, *saved;
    } cases[] = {
        {START_FEN, "Nf3 Nf6 g3 g6 Bg2 Bg7 O-O O-O d3 d6 Nfd2 c5", "Nf3 Nf6 g3 g6 Bg2 Bg7 o-o o-o d3 d6 Nd2 \nc5 \n\n"},
        {"8/8/8/8/8/5k2/5q2/7K b - - 0 30", "Qg2", "Qg2+ \n\n"},
        {"6k1/4Pppp/8/8/8/8/8/4K3 w - - 3 9", "e8Q", "e8=Q+ \n\n"},
        {"4k3/8/8/8/1b6/2N5/8/4K1N1 w - -", "Ne2 Bxc3 Nxc3", "Ne2 Bxc3+ Nxc3 \n\n"},
    };
    std::string saved;
    for (const auto& c : cases) {
        run(std::string("fen ") + c.fen);
        for (const std::string& move : split_words(c.moves)) run(move);
        EXPECT_EQ(run("save"), "");
        saved += std::string("[Event \"Unknown\"]\n") + c.saved;
        EXPECT_EQ(read("tmp.pgn"), saved);
    }
    run("fen 8/8/8/8/8/8/8/8 w - -");
    EXPECT_EQ(errors([] { run("save game.pgn"); }), "illegal position, nothing was saved\n");
}
