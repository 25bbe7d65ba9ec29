// UCI commands and what they leave in the position, the settings and the search record.
#include "engine_fixture.h"

#include <utility>

using Uci = Engine;

// Black is to move. A clock or increment that is not named stays; the limits of the switches begin every go.
TEST_F(Uci, go_turns_into_limits) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "0 moves in 5 s + 0, clocks 60 60, depth 17, 5000 nodes"},
        {"wtime 1500 btime 2500 winc 100 binc 200", "0 moves in 5 s + 0.2, clocks 1.5 2.5, depth 17, 5000 nodes"},
        {"btime -20 binc nan", "0 moves in 5 s + 0, clocks 1.5 0, depth 17, 5000 nodes"},
        {"movestogo 0 binc 1000", "0 moves in 5 s + 1, clocks 1.5 0, depth 17, 5000 nodes"},
        {"movestogo 12", "40 moves in 5 s + 0, clocks 1.5 0, depth 80, 0 nodes"},
        {"depth 99999999999", "1 moves in 1e+07 s + 0, clocks 1.5 0, depth 80, 5000 nodes"},
        {"nodes 12345678901", "1 moves in 1e+07 s + 0, clocks 1.5 0, depth 17, 12345678901 nodes"},
        {"movetime 2500 binc 1000", "1 moves in 2.5 s + 0, clocks 1.5 0, depth 17, 5000 nodes"},
        {"infinite depth 3 nodes 7", "1 moves in 1e+07 s + 0, clocks 1.5 0, depth 80, 0 nodes, infinite"},
        {"ponder", "0 moves in 5 s + 0, clocks 1.5 0, depth 17, 5000 nodes, ponder"},
    };
    uci_command("position startpos moves e2e4");
    settings.depth_limit = 17;
    settings.node_limit = 5000;
    for (const auto& [arguments, limits] : cases) {
        settings.level_time = 5;
        uci_command(std::string("go ") + arguments);
        const bool ponder = search_control.think_flags == THINK_GO_PONDER;
        EXPECT_TRUE(ponder || search_control.think_flags == THINK_GO) << arguments;
        EXPECT_EQ(
            format_text("%d moves in %g s + %g, clocks %g %g, depth %d, %s nodes%s%s", settings.level_moves,
                        settings.level_time, settings.increment, +search_control.clock[WHITE],
                        +search_control.clock[BLACK], settings.depth_limit, std::to_string(settings.node_limit).c_str(),
                        search_control.infinite ? ", infinite" : "", ponder ? ", ponder" : ""),
            limits)
            << arguments;
        search_control.think_flags = 0;
    }
    printed([] { uci_command("setoption name Ponder value true"); });
    EXPECT_EQ(default_settings.depth_limit, 17) << "the limit of a search became a default";
}

TEST_F(Uci, null_moves_pass) {
    uci_command("position fen 6k1/8/8/8/8/8/5PPP/7K b - - 0 1 moves 0000 0000");
    EXPECT_EQ(position_to_fen(game_record->position, true), "6k1/8/8/8/8/8/5PPP/7K b - - 2 2");
}

// Knights go out and home, so that positions come back every fourth ply; once in 113 plies a pawn moves. When the
// record drops its oldest moves, only the last ten can repeat.
TEST_F(Uci, repetitions_are_found_in_games_longer_than_the_record) {
    constexpr const char* KNIGHT_MOVES[2][2] = {{" g1f3", " f3g1"}, {" g8f6", " f6g8"}};
    const std::vector<std::string> pawn_moves =
        split_words("a2a3 a7a6 a3a4 a6a5 b2b3 b7b6 b3b4 b6b5 c2c3 c7c6 c3c4 c6c5 d2d3 d7d6 d3d4");
    std::string command = "position startpos moves";
    int knight_moves[2] = {};
    for (int ply = 1; ply <= 1700; ++ply) {
        const int side = ply % 2 ? WHITE : BLACK;
        command += ply % 113 ? KNIGHT_MOVES[side][knight_moves[side]++ % 2] : ' ' + pawn_moves[ply / 113 - 1];
        uci_command(command);
        ASSERT_EQ(is_draw(game_record->position, 0), ply % 113 >= 8) << ply;
    }
}
