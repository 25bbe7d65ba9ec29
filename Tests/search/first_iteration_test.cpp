// Positions whose first iteration would take minutes, since their many queens check and capture each other without end,
// are answered within their limits all the same.
#include "position/movegen.h"
#include "search/engine_fixture.h"

#include <string>

struct FirstIteration : EngineTest {
    // Searches a position as a player does; the answer is a legal move.
    static void search_position(const std::string& fen) {
        settings.depth_limit = MAX_DEPTH;
        set_game(fen);
        run_search(THINK_CLOCK);
        Position& position = game_record->position;
        EXPECT_TRUE(is_legal(position, position.side, search_control.best_line[1])) << fen;
    }
};

// The first two positions were met in play; the second keeps to 16 pieces and 8 pawns a side. The others are composed.
TEST_F(FirstIteration, every_limit_ends_it) {
    use_node_clock();
    for (const std::string& fen : read_lines(data_file("position/explosive.epd"))) {
        for (const int threads : {1, 2}) {
            settings.threads = static_cast<std::int16_t>(threads);
            settings.level_moves = 1;
            settings.level_time = 0.3f;
            search_position(fen);
            EXPECT_LT(search_control.elapsed, 0.41f) << fen;

            settings.level_moves = 0;
            search_control.clock[WHITE] = search_control.clock[BLACK] = 6;
            search_position(fen);
            EXPECT_LT(search_control.elapsed, 1.5f) << fen;
        }
        settings.threads = 1;
        settings.level_moves = 1;
        settings.level_time = 1e7f;
        settings.node_limit = 1000;
        search_position(fen);
        EXPECT_LE(search_threads[0]->nodes, 1'002'000u) << fen;
        settings.node_limit = 0;
    }
}

// The quiescence search of this root ends after 51,427 nodes, no root move is scored in a million: the first move of
// its line is the answer, which `depth 0` tells as well. The evaluation is the one that no new network changes.
TEST_F(FirstIteration, answers_with_the_quiescence_move_when_no_move_is_scored) {
    const std::string fen = "2B3qN/Kn1r4/nn2Qb2/2R2qRN/b1r1nRQ1/Q2q1n2/2R2q1r/2QNkr1R b - -";
    settings.use_nn = 0;
    set_game(fen);
    search_to_depth(0);
    const Move expected = search_control.best_line[1];
    settings.node_limit = 1;
    hash_clear();
    search_position(fen);
    EXPECT_EQ(search_control.result_depth, 0);
    EXPECT_EQ(search_control.best_line[1], expected);
    EXPECT_NE(search_threads[0]->game.list_start[1]->move, expected) << "the first of the list proves nothing";
}
