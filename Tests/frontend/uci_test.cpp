// UCI commands and what they leave in the position, the settings and the search record.
#include "engine_fixture.h"

#include "position/board.h"

#include <map>
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

// Knights and rooks go back and forth at random, with a pawn move or capture once in 150 plies. The game is sent as an
// interface sends it, all its moves anew with every one made; positions are counted here by their FENs.
TEST_F(Uci, two_thousand_plies_move_by_move) {
    std::mt19937 random(19);
    Board board;
    Position& position = board.position;
    std::map<std::string, int> seen{{board.fen(), 1}};  // since the last capture or pawn move
    std::string command = "position startpos moves";
    Move back[2] = {};
    int repetitions = 0;
    for (int ply = 1; ply <= 2000; ++ply) {
        const std::vector<Move> moves = board.legal();
        ASSERT_FALSE(moves.empty()) << ply;
        Move chosen;
        for (int tries = 0; tries < 200; ++tries) {
            chosen = moves[random() % moves.size()];
            const int type = type_of(position.board[move_from(chosen)]);
            const bool shuffles = !position.board[move_to(chosen)] && (type == KNIGHT || type == ROOK);
            if (shuffles == (ply % 150 != 0) && (tries > 100 || chosen == back[position.side])) break;
        }
        back[position.side] = random() % 4 ? make_move_word(move_to(chosen), move_from(chosen)) : NULL_MOVE;
        command += ' ' + move_to_text(position, position.side, chosen);
        make_move(position, chosen);
        const int rule50 = position.rule50;
        set_position(position, board.fen(true));  // the reference keeps no history
        if (rule50 == 0) seen.clear();
        const bool repeats = ++seen[board.fen()] >= 3 && rule50 > 3;

        uci_command(command);
        ASSERT_EQ(fen(), board.fen()) << ply;
        ASSERT_EQ(is_draw(game_record->position, 0), rule50 >= 100 || repeats) << ply;
        repetitions += repeats && rule50 < 100;
    }
    EXPECT_GT(repetitions, 100);
}
