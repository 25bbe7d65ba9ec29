// UCI commands and what they leave in the position, the settings and the search record.
#include "engine_fixture.h"

#include "position/make_move.h"

class Uci : public Engine {};

TEST_F(Uci, position_command_reaches_the_position_it_names) {
    const struct {
        const char* command;
        const char* fen;
    } cases[] = {
        {"position startpos", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -"},
        {"position startpos moves e2e4 e7e5", "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6"},
        {"position   fen 4k3/8/8/8/8/8/8/R3K2R w KQ - 0 1", "4k3/8/8/8/8/8/8/R3K2R w KQ -"},
        {"position fen 4k3/8/8/8/8/8/8/R3K2R w KQ - 0 1 moves e1g1", "4k3/8/8/8/8/8/8/R4RK1 b - -"},
        {"position fen 4k3/8/8/8/8/8/8/R3K2R w KQ - 0 1 moves e1a1", "4k3/8/8/8/8/8/8/2KR3R b - -"},
        {"position fen 4k3/8/8/8/8/8/8/R3K2R w KQ - 0 1 moves e1f1", "4k3/8/8/8/8/8/8/R4K1R b - -"},
        // King f1 and rook g1: the king takes its own rook.
        {"position fen 4k3/8/8/8/8/8/8/5KR1 w G - 0 1 moves f1g1", "4k3/8/8/8/8/8/8/5RK1 b - -"},
        {"position fen 8/4P1k1/8/8/8/8/8/K7 w - - 0 1 moves e7e8q", "4Q3/6k1/8/8/8/8/8/K7 b - -"},
        {"position fen 8/4P1k1/8/8/8/8/8/K7 w - - 0 1 moves   e7e8n   g7g8", "4N1k1/8/8/8/8/8/8/K7 w - -"},
        {"position startpos moves", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -"},
    };
    for (const auto& c : cases) {
        uci_command(c.command);
        EXPECT_EQ(fen(), c.fen) << c.command;
        EXPECT_EQ(game_record->game.search_ply, 1) << c.command;
    }
    for (const char* command : {"position", "position nothing moves e2e4"}) {
        uci_command("position startpos moves d2d4");
        uci_command(command);
        EXPECT_EQ(fen(), "rnbqkbnr/pppppppp/8/8/3P4/8/PPP1PPPP/RNBQKBNR b KQkq d3") << command;
    }
}

TEST_F(Uci, a_game_of_two_thousand_plies_plays_on) {
    const auto shuffles = [](int count) {
        std::string moves;
        for (int i = 0; i < count; ++i) moves += " g1f3 g8f6 f3g1 f6g8";
        return moves;
    };
    const GameState& game = game_record->game;
    uci_command("position startpos moves" + shuffles(500));
    EXPECT_EQ(fen(), "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -");
    EXPECT_LE(game.game_ply, MAX_GAME_MOVES);
    EXPECT_TRUE(is_draw(game_record->position, 0));

    // 792 plies, two pawn moves, then 4 or 8 plies more: the stack moves down in the middle of the second
    // shuffle, and the position after the pawn moves still counts when it comes back.
    const std::string pawns = "position startpos moves" + shuffles(198) + " e2e3 e7e6";
    uci_command(pawns + shuffles(1));
    EXPECT_EQ(game.game_ply, 798);
    EXPECT_FALSE(is_draw(game_record->position, 0)) << "second occurrence";
    uci_command(pawns + shuffles(2));
    EXPECT_EQ(game.game_ply, 802 - 794);
    EXPECT_TRUE(is_draw(game_record->position, 0)) << "third occurrence";
    EXPECT_EQ(redo_move(), NULL_MOVE);
}

TEST_F(Uci, go_turns_into_limits) {
    struct Limits {
        int level_moves;
        float level_time;
        float increment;
        int depth;
        std::uint64_t nodes;
        std::uint16_t think;
        bool infinite;
    };
    constexpr float NO_TIME_LIMIT = 1e7f;
    const struct {
        const char* arguments;
        Limits white;
    } cases[] = {
        {"", {0, 5, 0, 80, 0, THINK_GO, false}},
        {"wtime 60000 btime 1000 winc 100 binc 200", {0, 5, 0.1f, 80, 0, THINK_GO, false}},
        {"winc -100", {0, 5, 0, 80, 0, THINK_GO, false}},
        {"winc nan", {0, 5, 0, 80, 0, THINK_GO, false}},
        {"movestogo 0 winc 1000", {0, 5, 1, 80, 0, THINK_GO, false}},
        {"movestogo -3", {0, 5, 0, 80, 0, THINK_GO, false}},
        {"movestogo 12", {40, 5, 0, 80, 0, THINK_GO, false}},
        {"depth 7", {1, NO_TIME_LIMIT, 0, 7, 0, THINK_GO, false}},
        {"depth 200", {1, NO_TIME_LIMIT, 0, 80, 0, THINK_GO, false}},
        {"depth 99999999999", {1, NO_TIME_LIMIT, 0, 80, 0, THINK_GO, false}},
        {"depth -1", {1, NO_TIME_LIMIT, 0, 0, 0, THINK_GO, false}},
        {"depth", {1, NO_TIME_LIMIT, 0, 0, 0, THINK_GO, false}},
        {"nodes 12345678901", {1, NO_TIME_LIMIT, 0, 80, 12345678901u, THINK_GO, false}},
        {"nodes -5", {1, NO_TIME_LIMIT, 0, 80, 0, THINK_GO, false}},
        {"movetime 2500 winc 1000", {1, 2.5f, 0, 80, 0, THINK_GO, false}},
        {"movetime -100", {1, 0, 0, 80, 0, THINK_GO, false}},
        {"movetime inf", {1, 0, 0, 80, 0, THINK_GO, false}},
        {"infinite depth 3 nodes 7 winc 100", {1, NO_TIME_LIMIT, 0, 80, 0, THINK_GO, true}},
        {"infinite movetime 100", {1, NO_TIME_LIMIT, 0, 80, 0, THINK_GO, true}},
        {"ponder winc 100", {0, 5, 0.1f, 80, 0, THINK_GO_PONDER, false}},
    };
    for (const auto& c : cases) {
        settings.level_time = 5;
        uci_command(std::string("go ") + c.arguments);
        EXPECT_EQ(settings.level_moves, c.white.level_moves) << c.arguments;
        EXPECT_EQ(settings.level_time, c.white.level_time) << c.arguments;
        EXPECT_FLOAT_EQ(settings.increment, c.white.increment) << c.arguments;
        EXPECT_EQ(settings.depth_limit, c.white.depth) << c.arguments;
        EXPECT_EQ(settings.node_limit, c.white.nodes) << c.arguments;
        EXPECT_EQ(search_control.think_flags, c.white.think) << c.arguments;
        EXPECT_EQ(search_control.infinite, c.white.infinite) << c.arguments;
        search_control.think_flags = 0;
    }
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
    EXPECT_FLOAT_EQ(search_control.clock[WHITE], 60.0f);
    EXPECT_FLOAT_EQ(search_control.clock[BLACK], 60.0f);
    EXPECT_EQ(settings.level_moves, 0);
}

TEST_F(Uci, depth_and_nodes_of_one_go_end_with_it) {
    settings.depth_limit = 17;  // as by switches
    settings.node_limit = 5000;
    const struct {
        const char* command;
        int depth;
        std::uint64_t nodes;
    } steps[] = {
        {"go wtime 1000", 17, 5000},
        {"go depth 3", 3, 5000},
        {"go wtime 1000 btime 1000", 17, 5000},
        {"go nodes 70", 17, 70},
        {"go infinite", 80, 0},
        {"go movetime 10", 17, 5000},
        {"go movestogo 4 wtime 10", 80, 0},
        {"position startpos", 17, 5000},
    };
    for (const auto& step : steps) {
        uci_command(step.command);
        EXPECT_EQ(settings.depth_limit, step.depth) << step.command;
        EXPECT_EQ(settings.node_limit, step.nodes) << step.command;
        search_control.think_flags = 0;
    }
    uci_command("go depth 3");
    search_control.think_flags = 0;
    uci_command("setoption name Ponder value true");
    EXPECT_EQ(default_settings.depth_limit, 17) << "the limit of a search became a default";
}

TEST_F(Uci, commands_while_a_search_runs) {
    const struct {
        const char* command;
        std::uint16_t before, after;
        int stop, quit;
        const char* printed;
    } cases[] = {
        {"stop", 0, 0, 0, 0, ""},
        {"ponderhit", 0, 0, 0, 0, ""},
        {"quit", 0, 0, 0, 1, ""},
        {"stop", THINK_CLOCK, THINK_CLOCK | THINK_STOPPED, 1, 0, ""},
        {"stop", THINK_PONDER, THINK_PONDER | THINK_STOPPED, 1, 0, ""},
        {"ponderhit", THINK_PONDER, THINK_CLOCK, 0, 0, ""},
        {"ponderhit", THINK_CLOCK, THINK_CLOCK, 0, 0, ""},
        {"quit", THINK_CLOCK, THINK_CLOCK | THINK_STOPPED, 1, 1, ""},
        {"isready", THINK_CLOCK, THINK_CLOCK, 0, 0, "readyok\n"},
        {"nonsense", THINK_CLOCK, THINK_CLOCK, 0, 0, ""},
        {"setoption name Hash value 128", THINK_CLOCK, THINK_CLOCK | THINK_STOPPED, 1, 1,
         "unexpected command setoption, stopping Tarn\n"},
        {"go depth 3", THINK_PONDER, THINK_PONDER | THINK_STOPPED, 1, 1, "unexpected command go, stopping Tarn\n"},
        {"position startpos", THINK_CLOCK, THINK_CLOCK | THINK_STOPPED, 1, 1,
         "unexpected command position, stopping Tarn\n"},
        {"ucinewgame", THINK_CLOCK, THINK_CLOCK | THINK_STOPPED, 1, 1,
         "unexpected command ucinewgame, stopping Tarn\n"},
    };
    for (const auto& c : cases) {
        search_control.think_flags = c.before;
        search_control.stop = 0;
        settings.quit = 0;
        EXPECT_EQ(printed([&] { uci_command(c.command); }), c.printed) << c.command << " at " << c.before;
        EXPECT_EQ(search_control.think_flags, c.after) << c.command << " at " << c.before;
        EXPECT_EQ(search_control.stop, c.stop) << c.command << " at " << c.before;
        EXPECT_EQ(settings.quit, c.quit) << c.command << " at " << c.before;
        EXPECT_EQ(settings.hash_mb, 1) << "a refused option was set";
    }
}

TEST_F(Uci, unplayable_positions_are_answered_without_a_search) {
    for (const char* position :
         {"fen 8/8/8/8/8/8/8/8 w - - 0 1", "fen", "fen 4k3/8/8/8/8/8/8/4R1K1 w - - 0 1", "startpos moves e1e8"}) {
        uci_command(std::string("position ") + position);
        EXPECT_EQ(printed([] { uci_command("go depth 5"); }), "info string illegal position\nbestmove null\n")
            << position;
        EXPECT_EQ(search_control.think_flags, 0) << position;
    }
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
