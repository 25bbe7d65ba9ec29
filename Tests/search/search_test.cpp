// The searches answer known positions rightly, keep their rules at the edges, and leave nothing behind.
#include "search/search.h"

#include "eval/evaluate.h"
#include "platform/clock.h"
#include "position/make_move.h"
#include "position/movegen.h"
#include "position/notation.h"
#include "search/engine_fixture.h"
#include "search/move_picker.h"
#include "search/root_search.h"
#include "search/think.h"

#include <cstring>
#include <string>

namespace {

using Search = EngineTest;

std::string best_move_text() {
    return move_to_text(game_record->position, game_record->position.side, search_control.best_line[1]);
}

// Composed and published mates; the length is proved by the problems' own solutions.
TEST_F(Search, finds_forced_mates_with_their_exact_length) {
    struct Case {
        const char* name;
        const char* fen;
        int depth;
        const char* score;
        const char* move;  // empty where several moves mate
    };
    const Case cases[] = {
        {"back rank, in one", "6k1/5ppp/8/8/8/8/8/K2R4 w - -", 3, "mate 1", "d1d8"},
        {"smothered, in two", "5r1k/6pp/7N/8/8/1Q6/8/K7 w - -", 6, "mate 2", "b3g8"},
        {"Morphy's problem, in two", "kbK5/pp6/1P6/8/8/8/8/R7 w - -", 6, "mate 2", "a1a6"},
        {"stairs, in two", "7k/8/8/8/8/8/R7/1R4K1 w - -", 6, "mate 2", ""},
        {"mated in one after any move", "7k/R7/1R6/8/8/8/8/6K1 b - -", 4, "mate -1", "h8g8"},
    };
    for (const Case& c : cases) {
        set_game(c.fen);
        hash_clear();
        search_to_depth(c.depth);
        EXPECT_STREQ(score_text(search_control.score).text, c.score) << c.name;
        if (*c.move) { EXPECT_EQ(best_move_text(), c.move) << c.name; }
    }
}

TEST_F(Search, root_without_moves_and_depth_zero) {
    set_game("7k/5Q2/6K1/8/8/8/8/8 b - -");  // stalemate
    search_to_depth(5);
    EXPECT_EQ(search_control.score, 0);
    EXPECT_EQ(search_control.best_line[1], NULL_MOVE);
    set_game("R5k1/5ppp/8/8/8/8/8/K7 b - -");  // mated
    search_to_depth(5);
    EXPECT_EQ(search_control.score, -9999);
    EXPECT_EQ(search_control.best_line[1], NULL_MOVE);
    set_game("4k3/8/8/3q4/4P3/8/8/4K3 w - -");  // depth 0: the quiescence line takes the queen
    search_to_depth(0);
    EXPECT_EQ(best_move_text(), "e4d5");
    set_game(START_FEN);
    search_to_depth(0);
    EXPECT_EQ(search_control.best_line[1], NULL_MOVE);
}

TEST_F(Search, draws_are_seen_in_the_tree) {
    // A bare king and a rook pawn with the defender in the corner: a draw at any depth.
    set_game("k7/8/K7/P7/8/8/8/8 w - -");
    search_to_depth(14);
    EXPECT_LT(search_control.score, 100);
    // The half-move clock at 99: the queen-up side can win nothing without a capture or pawn move.
    set_game("7k/8/8/8/8/8/Q7/K7 w - - 99");
    search_to_depth(6);
    EXPECT_EQ(search_control.score, 0);
    // Mate on the hundredth half-move counts.
    set_game("7k/8/6K1/8/8/8/8/Q7 w - - 99");
    search_to_depth(4);
    EXPECT_STREQ(score_text(search_control.score).text, "mate 1");
}

TEST_F(Search, edges_of_a_single_node) {
    Move line[LINE_SIZE];

    // Ply 80 returns the static evaluation, 0 in check.
    SearchThread& thread = prepared_thread();
    thread.game.search_ply = 80;
    const int expected = evaluate(thread.eval, thread.position, WHITE, 80, false);
    EXPECT_EQ(search(thread, WHITE, 80, 5, -100, 100, NODE_CUT, line), expected);

    // Mate distance: at ply 10 nothing below -9990 or above 9989 is possible.
    thread.game.search_ply = 10;
    EXPECT_EQ(search(thread, WHITE, 10, 5, 9989, 9995, NODE_CUT, line), 9989);
    EXPECT_EQ(search(thread, WHITE, 10, 5, -10000, -9992, NODE_ALL, line), -9990);

    // Checkmate at ply p scores p - 10000; stalemate 0.
    set_position(thread.position, "R5k1/5ppp/8/8/8/8/8/K7 b - -");
    thread.game.search_ply = 7;
    thread.game.current[6] = thread.game.current[5] = thread.game.move_lists;
    EXPECT_EQ(search(thread, BLACK, 7, 3, NO_SCORE, -NO_SCORE, NODE_PV, line), 7 - MATE);
    set_position(thread.position, "7k/5Q2/6K1/8/8/8/8/8 b - -");
    thread.game.search_ply = 7;
    EXPECT_EQ(search(thread, BLACK, 7, 3, NO_SCORE, -NO_SCORE, NODE_PV, line), 0);

    // Half-move clock 95 at depth 8: a queen ahead, yet the node cannot fail high above 0.
    set_position(thread.position, "7k/8/8/8/8/8/Q7/K7 w - - 95");
    thread.game.search_ply = 7;
    EXPECT_LE(search(thread, WHITE, 7, 8, -50, 500, NODE_CUT, line), 0);

    // The stop flag ends a node at once.
    search_control.stop = 1;
    EXPECT_EQ(search(thread, WHITE, 7, 8, -50, 50, NODE_CUT, line), 0);
}

TEST_F(Search, stand_pat_returns_beta_and_losing_captures_are_not_tried) {
    SearchThread& thread = prepared_thread();
    Move line[LINE_SIZE];
    // Queen takes a defended pawn: skipped, so the static score stands and nothing is stored.
    set_position(thread.position, "4k3/8/2p5/3p4/8/8/8/3QK3 w - -");
    thread.game.search_ply = 3;
    thread.stack[3].eval = 40;
    thread.stack[3].checker_square = NO_SQUARE;
    thread.stack[3].in_check = 0;
    const std::uint64_t nodes = thread.nodes;
    EXPECT_EQ(quiesce(thread, WHITE, 3, -1, 0, 100, NODE_CUT, line), 40);
    EXPECT_EQ(thread.nodes, nodes);
    EXPECT_EQ(quiesce(thread, WHITE, 3, -1, 0, 30, NODE_CUT, line), 30);
}

TEST_F(Search, same_search_twice_visits_the_same_nodes) {
    std::uint64_t nodes[2];
    for (std::uint64_t& n : nodes) {
        hash_clear();
        search_control.hash_age = 0;
        invalidate_eval_caches();
        set_game("r1bqkb1r/pp1ppppp/2n2n2/8/3NP3/2N5/PPP2PPP/R1BQKB1R b KQkq -");
        search_to_depth(9);
        n = search_threads[0]->nodes;
    }
    EXPECT_EQ(nodes[0], nodes[1]);
    EXPECT_GT(nodes[0], 1000u);
}

TEST_F(Search, node_limit_holds_and_leaves_the_game_alone) {
    settings.node_limit = 20000;
    settings.depth_limit = 80;
    analysis_search();
    search_control.think_flags.store(0);
    EXPECT_LT(search_threads[0]->nodes, 21000u);
    EXPECT_NE(search_control.best_line[1], NULL_MOVE);
    EXPECT_EQ(position_to_fen(game_record->position, true), "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 0");
}

// A queen down, White steps to where the game has been twice.
TEST_F(Search, positions_of_the_game_count_for_repetition) {
    set_game("7k/7p/8/8/8/q7/7P/7K w - -");
    for (const char* move : {"h1g1", "h8g8", "g1h1", "g8h8", "h1g1", "h8g8", "g1h1", "g8h8"}) {
        make_move(game_record->position, parse_uci_move(game_record->position, move));
        game_record->game.search_ply = 1;
    }
    search_to_depth(6);
    EXPECT_EQ(search_control.score, 0);
    EXPECT_EQ(best_move_text(), "h1g1");
}

// The input loop may be kept from its processor: a search that nobody polls for ends by itself, its limit of
// nodes unused.
TEST_F(Search, time_is_kept_without_the_input_loop) {
    settings.level_time = 0.1f;
    settings.depth_limit = 80;
    settings.node_limit = 2'000'000;
    start_search(THINK_CLOCK, false, nullptr);
    search_control.think_flags.store(0);
    EXPECT_LT(search_threads[0]->nodes, 2'000'000u);
    EXPECT_GE(search_control.elapsed, 0.1f);
    EXPECT_NE(search_control.best_line[1], NULL_MOVE);
    // A tool's search on the calling thread has no clock: its results do not depend on the machine's speed.
    settings.level_time = 0;
    search_to_depth(7);
    EXPECT_EQ(search_control.completed_depth, 7);
}

// All pawns face each other: the first iteration alone is three million nodes of captures.
TEST_F(Search, first_iteration_does_not_outlast_the_clock) {
    settings.level_moves = 0;
    settings.depth_limit = 80;
    settings.calibration_nps = 100000;
    set_game("rnbqkb1r/5p2/5n2/ppppp1pp/PPPPP1PP/5N2/5P2/RNBQKB1R w KQkq -");
    search_control.clock[WHITE] = 0.06f;
    start_search(THINK_CLOCK, false, nullptr);
    search_control.think_flags.store(0);
    EXPECT_EQ(search_control.completed_depth, 0);
    EXPECT_TRUE(is_legal(game_record->position, WHITE, search_control.best_line[1]));
}

TEST_F(Search, score_texts) {
    struct Case {
        int score;
        const char* text;
    };
    const Case cases[] = {{9998, "mate 1"}, {-9997, "mate -1"},  {9900, "mate 50"}, {9899, "cp 9899"},
                          {0, "cp 0"},      {-9900, "cp -9900"}, {-35, "cp -35"}};
    for (const Case& c : cases) EXPECT_STREQ(score_text(c.score).text, c.text) << c.score;
}

// Threads share the table only; a ponderhit starts the clock, a stop ends all of them.
TEST_F(Search, four_threads_search_until_they_are_stopped) {
    settings.threads = 4;
    settings.level_time = 10;
    set_game("r1bqkb1r/pp1ppppp/2n2n2/8/3NP3/2N5/PPP2PPP/R1BQKB1R b KQkq -");
    static int polls;
    polls = 0;
    const double start = monotonic_seconds();
    start_search(THINK_PONDER, true, [] {
        std::uint16_t pondering = THINK_PONDER;
        if (++polls == 60) search_control.think_flags.compare_exchange_strong(pondering, THINK_CLOCK);
        // A processor shared with others may reach the secondary threads late.
        if (polls >= 120 && (search_threads[1]->result_depth > 1 || polls >= 2000)) {
            search_control.think_flags.fetch_or(THINK_STOPPED);
            search_control.stop = 1;
        }
        return false;
    });
    search_control.think_flags.store(0);
    EXPECT_LT(monotonic_seconds() - start, 9.0);
    EXPECT_TRUE(is_legal(game_record->position, BLACK, search_control.best_line[1]));
    sum_statistics();
    EXPECT_GT(search_control.nodes, search_threads[0]->nodes.load());
}

// Lines that came together are handled together, idle and during a search: a pause of a millisecond after each
// would add up to more than ten seconds.
TEST_F(Search, lines_that_came_together_are_handled_without_pauses) {
    constexpr int LINES = 10000;
    static int polls;
    polls = 0;
    double start = monotonic_seconds();
    think_loop([] {
        settings.quit = ++polls == LINES;
        return true;
    });
    EXPECT_LT(monotonic_seconds() - start, 9.0);
    EXPECT_EQ(polls, LINES);

    settings.quit = 0;
    settings.depth_limit = 80;
    polls = 0;
    start = monotonic_seconds();
    start_search(THINK_CLOCK, true, [] {
        if (++polls == LINES) {
            search_control.think_flags.fetch_or(THINK_STOPPED);
            search_control.stop = 1;
        }
        return true;
    });
    search_control.think_flags.store(0);
    EXPECT_LT(monotonic_seconds() - start, 9.0);
    EXPECT_EQ(polls, LINES);
}

}  // namespace
