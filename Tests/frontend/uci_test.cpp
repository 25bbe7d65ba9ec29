// UCI commands and what they leave in the position, the settings and the search record.
#include "engine_fixture.h"

#include "position/make_move.h"

#include <utility>

using Uci = Engine;

TEST_F(Uci, position_command_reaches_the_position_it_names) {
    const std::pair<const char*, const char*> cases[] = {
        {"position startpos moves e2e4 e7e5", "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6"},
        {"position   fen 4k3/8/8/8/8/8/8/R3K2R w KQ - 0 1", "4k3/8/8/8/8/8/8/R3K2R w KQ -"},
        {"position fen 4k3/8/8/8/8/8/8/R3K2R w KQ - 0 1 moves e1g1", "4k3/8/8/8/8/8/8/R4RK1 b - -"},
        // King f1 and rook g1: the king takes its own rook.
        {"position fen 4k3/8/8/8/8/8/8/5KR1 w G - 0 1 moves f1g1", "4k3/8/8/8/8/8/8/5RK1 b - -"},
        {"position fen 8/4P1k1/8/8/8/8/8/K7 w - - 0 1 moves   e7e8n   g7g8", "4N1k1/8/8/8/8/8/8/K7 w - -"},
        {"position", "4N1k1/8/8/8/8/8/8/K7 w - -"},  // stays
        {"position nothing moves a1a2", "4N1k1/8/8/8/8/8/8/K7 w - -"},
        {"position startpos moves", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -"},
    };
    for (const auto& [command, expected] : cases) {
        uci_command(command);
        EXPECT_EQ(fen(), expected) << command;
        EXPECT_EQ(game_record->game.search_ply, 1) << command;
    }
}

TEST_F(Uci, go_turns_into_limits) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "0 moves in 5 s + 0, depth 17, 5000 nodes"},
        {"wtime 60000 btime 1000 winc 100 binc 200", "0 moves in 5 s + 0.1, depth 17, 5000 nodes"},
        {"winc nan", "0 moves in 5 s + 0, depth 17, 5000 nodes"},
        {"movestogo 0 winc 1000", "0 moves in 5 s + 1, depth 17, 5000 nodes"},
        {"movestogo 12", "40 moves in 5 s + 0, depth 80, 0 nodes"},
        {"depth 7", "1 moves in 1e+07 s + 0, depth 7, 5000 nodes"},
        {"depth 99999999999", "1 moves in 1e+07 s + 0, depth 80, 5000 nodes"},
        {"depth", "1 moves in 1e+07 s + 0, depth 0, 5000 nodes"},
        {"nodes 12345678901", "1 moves in 1e+07 s + 0, depth 17, 12345678901 nodes"},
        {"movetime 2500 winc 1000", "1 moves in 2.5 s + 0, depth 17, 5000 nodes"},
        {"movetime -100", "1 moves in 0 s + 0, depth 17, 5000 nodes"},
        {"infinite depth 3 nodes 7 winc 100", "1 moves in 1e+07 s + 0, depth 80, 0 nodes, infinite"},
        {"ponder winc 100", "0 moves in 5 s + 0.1, depth 17, 5000 nodes, ponder"},
    };
    settings.depth_limit = 17;  // as by switches: every go begins with these, whatever the one before had
    settings.node_limit = 5000;
    for (const auto& [arguments, limits] : cases) {
        settings.level_time = 5;
        uci_command(std::string("go ") + arguments);
        const bool ponder = search_control.think_flags == THINK_GO_PONDER;
        EXPECT_TRUE(ponder || search_control.think_flags == THINK_GO) << arguments;
        EXPECT_EQ(
            format_text("%d moves in %g s + %g, depth %d, %s nodes%s%s", settings.level_moves, settings.level_time,
                        settings.increment, settings.depth_limit, std::to_string(settings.node_limit).c_str(),
                        search_control.infinite ? ", infinite" : "", ponder ? ", ponder" : ""),
            limits)
            << arguments;
        search_control.think_flags = 0;
    }
    uci_command("go depth 3");
    search_control.think_flags = 0;
    printed([] { uci_command("setoption name Ponder value true"); });
    EXPECT_EQ(default_settings.depth_limit, 17) << "the limit of a search became a default";
}

TEST_F(Uci, clocks_belong_to_their_side) {
    uci_command("position startpos moves e2e4");
    uci_command("go wtime 1500 btime 2500 winc 100 binc 200 movestogo 33");
    EXPECT_FLOAT_EQ(search_control.clock[WHITE], 1.5f);
    EXPECT_FLOAT_EQ(search_control.clock[BLACK], 2.5f);
    EXPECT_FLOAT_EQ(settings.increment, 0.2f) << "Black is to move";
    EXPECT_EQ(search_control.moves_left, 33);
    search_control.think_flags = 0;
    uci_command("go btime -20");
    EXPECT_FLOAT_EQ(search_control.clock[WHITE], 1.5f) << "not named, not changed";
    EXPECT_FLOAT_EQ(search_control.clock[BLACK], 0.0f);
    EXPECT_FLOAT_EQ(settings.increment, 0.0f) << "the increment is that of the earlier go";
    search_control.think_flags = 0;
    uci_command("ucinewgame");
    EXPECT_FLOAT_EQ(search_control.clock[BLACK], 60.0f);
    EXPECT_EQ(settings.level_moves, 0);
}

TEST_F(Uci, lines_are_split_into_word_and_rest) {
    EXPECT_EQ(printed([] { uci_command("   isready   now\nquit"); }), "readyok\n");
    EXPECT_EQ(settings.quit, 0) << "text after the line feed";
    for (const char* command : {"", " ", "isreadyx", "Isready", "xisready", "debug on", "register later"}) {
        EXPECT_EQ(printed([&] { uci_command(command); }), "") << command;
    }
    settings.uci_mode = 0;
    EXPECT_NE(printed([] { uci_command("uci"); }).find("uciok\n"), std::string::npos);
    EXPECT_EQ(settings.uci_mode, 1);
}
