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
    constexpr float NO_LIMIT = 1e7f;  // seconds
    struct Limits {
        int moves = 0;
        float seconds = 5;
        float increment = 0;
        int depth = 17;
        std::uint64_t nodes = 5000;
        bool infinite = false;
        std::uint16_t think = THINK_GO;
    };
    const struct {
        const char* arguments;
        Limits limits;
    } cases[] = {
        {"", {}},
        {"wtime 60000 btime 1000 winc 100 binc 200", {.increment = 0.1f}},
        {"winc nan", {}},
        {"movestogo 0 winc 1000", {.increment = 1}},
        {"movestogo 12", {.moves = 40, .depth = 80, .nodes = 0}},
        {"depth 7", {.moves = 1, .seconds = NO_LIMIT, .depth = 7}},
        {"depth 99999999999", {.moves = 1, .seconds = NO_LIMIT, .depth = 80}},
        {"depth", {.moves = 1, .seconds = NO_LIMIT, .depth = 0}},
        {"nodes 12345678901", {.moves = 1, .seconds = NO_LIMIT, .nodes = 12345678901u}},
        {"movetime 2500 winc 1000", {.moves = 1, .seconds = 2.5f}},
        {"movetime -100", {.moves = 1, .seconds = 0}},
        {"infinite depth 3 nodes 7 winc 100",
         {.moves = 1, .seconds = NO_LIMIT, .depth = 80, .nodes = 0, .infinite = true}},
        {"ponder winc 100", {.increment = 0.1f, .think = THINK_GO_PONDER}},
    };
    settings.depth_limit = 17;  // as by switches: every go begins with these, whatever the one before had
    settings.node_limit = 5000;
    for (const auto& [arguments, limits] : cases) {
        settings.level_time = 5;
        uci_command(std::string("go ") + arguments);
        EXPECT_EQ(settings.level_moves, limits.moves) << arguments;
        EXPECT_EQ(settings.level_time, limits.seconds) << arguments;
        EXPECT_FLOAT_EQ(settings.increment, limits.increment) << arguments;
        EXPECT_EQ(settings.depth_limit, limits.depth) << arguments;
        EXPECT_EQ(settings.node_limit, limits.nodes) << arguments;
        EXPECT_EQ(search_control.infinite, limits.infinite) << arguments;
        EXPECT_EQ(search_control.think_flags, limits.think) << arguments;
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
