// The searches answer known positions rightly, keep their rules at the edges, and leave nothing behind.
#include "search/search.h"

#include "eval/evaluate.h"
#include "platform/clock.h"
#include "position/make_move.h"
#include "position/movegen.h"
#include "position/notation.h"
#include "search/engine_fixture.h"
#include "search/info_lines.h"
#include "search/move_picker.h"
#include "search/search_params.h"
#include "search/think.h"

#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using Search = EngineTest;

// Plays the position of the game record until the poller says stop; on this thread without one.
void run_search(std::uint16_t mode, InputPoller poll) {
    start_search(mode, poll != nullptr, poll);
    search_control.think_flags.store(0);
}

// Ends the search that runs.
void stop_search() {
    search_control.think_flags.fetch_or(THINK_STOPPED);
    search_control.stop = 1;
}

// Composed and published mates, their length proved by the problems' own solutions, and draws by the rules.
TEST_F(Search, known_positions_have_their_results) {
    const struct {
        const char* name;
        const char* fen;
        int depth;
        const char* score;  // empty where it is a matter of the evaluation
        const char* move;   // empty where several do
        std::vector<const char*> played = {};
    } cases[] = {
        {"back rank, in one", "6k1/5ppp/8/8/8/8/8/K2R4 w - -", 3, "mate 1", "d1d8"},
        {"smothered, in two", "5r1k/6pp/7N/8/8/1Q6/8/K7 w - -", 6, "mate 2", "b3g8"},
        {"Morphy's problem, in two", "kbK5/pp6/1P6/8/8/8/8/R7 w - -", 6, "mate 2", "a1a6"},
        {"mated in one after any move", "7k/R7/1R6/8/8/8/8/6K1 b - -", 4, "mate -1", "h8g8"},
        {"mate on the hundredth half-move", "7k/8/6K1/8/8/8/8/1Q6 w - - 99", 4, "mate 1", "b1b8"},
        {"a queen up on the hundredth half-move", "7k/8/8/8/8/8/Q7/K7 w - - 99", 6, "cp 0", ""},
        {"stalemate", "7k/5Q2/6K1/8/8/8/8/8 b - -", 5, "cp 0", "null"},
        {"depth zero", "4k3/8/8/3q4/4P3/8/8/4K3 w - -", 0, "", "e4d5"},
        {"mated", "R5k1/5ppp/8/8/8/8/8/K7 b - -", 5, "mate -0", "null"},
        {"a queen down, to where the game has been twice",
         "7k/7p/8/8/8/q7/7P/7K w - -",
         6,
         "cp 0",
         "h1g1",
         {"h1g1", "h8g8", "g1h1", "g8h8", "h1g1", "h8g8", "g1h1", "g8h8"}},
    };
    for (const auto& c : cases) {
        set_game(c.fen);
        for (const char* move : c.played) {
            make_move(game_record->position, parse_uci_move(game_record->position, move));
            game_record->game.search_ply = 1;
        }
        hash_clear();
        search_to_depth(c.depth);
        const ScoreText score = score_text(search_control.score);
        EXPECT_TRUE(!*c.score || score.text == std::string(c.score)) << c.name << ": " << score.text;
        const std::string best =
            move_to_text(game_record->position, game_record->position.side, search_control.best_line[1]);
        EXPECT_TRUE(!*c.move || best == c.move) << c.name << ": " << best;
    }
    // A bare king and a rook pawn with the defender in the corner: a draw at any depth.
    set_game("k7/8/K7/P7/8/8/8/8 w - -");
    search_to_depth(14);
    EXPECT_LT(search_control.score, 100);
    for (const auto& [score, text] : {std::pair{9900, "mate 50"}, {9899, "cp 9899"}, {-9900, "cp -9900"}}) {
        EXPECT_STREQ(score_text(score).text, text);
    }
}

TEST_F(Search, edges_of_a_single_node) {
    // Ply 80 returns the static evaluation.
    SearchThread& thread = prepared_thread();
    Move line[LINE_SIZE];
    thread.game.search_ply = 80;
    const int expected = evaluate(thread.eval, thread.position, WHITE, 80, false);
    EXPECT_EQ(search(thread, WHITE, 80, 5, -100, 100, NODE_CUT, line), expected);

    // Mate distance: at ply 10 nothing below -9990 or above 9989 is possible.
    thread.game.search_ply = 10;
    EXPECT_EQ(search(thread, WHITE, 10, 5, 9989, 9995, NODE_CUT, line), 9989);
    EXPECT_EQ(search(thread, WHITE, 10, 5, -10000, -9992, NODE_ALL, line), -9990);

    thread.game.current[6] = thread.game.current[5] = thread.game.move_lists;
    set_position(thread.position, "7k/8/8/8/8/8/Q7/K7 w - - 95");
    thread.game.search_ply = 7;
    EXPECT_LE(search(thread, WHITE, 7, 8, -50, 500, NODE_CUT, line), 0) << "no win within the fifty moves";
    set_position(thread.position, "7k/5Q2/6K1/8/8/8/8/8 b - -");
    thread.game.search_ply = 7;
    EXPECT_EQ(search(thread, BLACK, 7, 3, NO_SCORE, -NO_SCORE, NODE_PV, line), 0) << "stalemate";

    search_control.stop = 1;
    set_position(thread.position, START_FEN);
    EXPECT_EQ(search(thread, WHITE, 7, 8, -50, 50, NODE_CUT, line), 0) << "stopped";
}

// By hand: 90 and 60 times 1.5 / (s / 100 + 0.5), cut to whole centipawns: at 20 192.86 and 128.57, at 200 54 and 36.
// What they are at full selectivity is shown in clients/test_console.py.
TEST_F(Search, margins_follow_selectivity_inside_its_range) {
    for (const auto& [selectivity, futility, static_pruning] : {std::tuple{0, 50 + 192, 128}, {500, 50 + 54, 36}}) {
        settings.selectivity = selectivity;
        init_search_parameters();
        EXPECT_EQ(FP_margins[1], futility);
        EXPECT_EQ(SEP_margins[1], static_pruning);
    }
}

TEST_F(Search, node_limit_holds_and_leaves_the_game_alone) {
    settings.node_limit = 20000;
    search_to_depth(80);
    EXPECT_LT(search_threads[0]->nodes, 21000u);
    EXPECT_NE(search_control.best_line[1], NULL_MOVE);
    EXPECT_EQ(position_to_fen(game_record->position, true), "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 0");
}

// The input loop may be kept from its processor: a search that nobody polls for ends by itself, its limit of
// nodes unused.
TEST_F(Search, time_is_kept_without_the_input_loop) {
    settings.level_time = 0.1f;
    settings.depth_limit = 80;
    settings.node_limit = 2'000'000;
    run_search(THINK_CLOCK, nullptr);
    EXPECT_LT(search_threads[0]->nodes, 2'000'000u);
    EXPECT_GE(search_control.elapsed, 0.1f);
    EXPECT_NE(search_control.best_line[1], NULL_MOVE);
    // A tool's search on the calling thread has no clock: its results do not depend on the machine's speed.
    settings.level_time = 0;
    search_to_depth(7);
    EXPECT_EQ(search_control.completed_depth, 7);
}

// White may capture on d5 or not; the answer is one of the moves asked for, unless none of them can be played.
TEST_F(Search, only_the_moves_asked_for_are_searched) {
    const struct {
        const char* name;
        const char* fen;
        std::vector<const char*> moves;
        std::vector<const char*> answers;
        int depth = 6;
    } cases[] = {
        {"leaves the queen alone", "4k3/8/8/3q4/4P3/8/8/4K3 w - -", {"e1d1", "e1f1"}, {"e1d1", "e1f1"}},
        {"one move is a single reply", "4k3/8/8/3q4/4P3/8/8/4K3 w - -", {"e1f2"}, {"e1f2"}, 80},
        {"castling", "4k3/8/8/8/8/8/7p/R3K3 w Q -", {"e1c1"}, {"e1c1"}},
        {"underpromotion", "7k/4P3/8/8/8/8/8/K7 w - -", {"e7e8n"}, {"e7e8n"}},
        {"none of them is legal: all moves", "4k3/8/8/3q4/4P3/8/8/4K3 w - -", {"e1e3", "nonsense"}, {"e4d5"}},
        {"before the tablebases' choice, too", "8/8/8/8/8/2k5/1q6/K7 w - -", {"a1b2"}, {"null"}},
    };
    settings.level_moves = 0;
    for (const auto& c : cases) {
        set_game(c.fen);
        search_control.clock[WHITE] = 200;  // a move of seven seconds
        search_control.search_move_count = 0;
        for (const char* text : c.moves) {
            const Move move = find_uci_move(game_record->position, text);
            if (move != NULL_MOVE) search_control.search_moves[search_control.search_move_count++] = move;
        }
        hash_clear();
        settings.depth_limit = static_cast<std::int8_t>(c.depth);
        run_search(THINK_CLOCK, [] { return InputState::UNWATCHED; });
        const std::string best =
            move_to_text(game_record->position, game_record->position.side, search_control.best_line[1]);
        EXPECT_TRUE(std::find(c.answers.begin(), c.answers.end(), best) != c.answers.end()) << c.name << ": " << best;
        EXPECT_LT(search_control.elapsed, 4.0f) << c.name;
    }
    search_control.search_move_count = 0;
}

TEST_F(Search, a_player_held_back_to_a_rating_has_no_helpers) {
    settings.threads = 2;
    settings.calibration_nps = 1e6f;
    settings.limit_strength = 1;
    settings.uci_elo = 2000;  // 170 nodes a second
    settings.level_time = 0.3f;
    settings.depth_limit = 80;
    if (!search_threads[1]) search_threads[1] = create_search_thread(1);
    search_threads[1]->nodes = 0;
    run_search(THINK_CLOCK, [] { return InputState::UNWATCHED; });
    EXPECT_EQ(search_threads[1]->nodes, 0u);
    search_threads[1]->nodes = 1'000'000;  // of another search
    search_threads[1]->result_depth = 5;
    sum_statistics();
    EXPECT_LT(search_control.nodes, 1000u);
}

// Evaluations out of all bounds: every window opens, none overflows.
TEST_F(Search, windows_widen_without_bound) {
    for (const int contempt : {INT16_MAX, INT16_MIN}) {
        settings.contempt = static_cast<std::int16_t>(contempt);
        for (const char* fen : {START_FEN, "r1bqkb1r/pp1ppppp/2n2n2/8/3NP3/2N5/PPP2PPP/R1BQKB1R b KQkq -"}) {
            set_game(fen);
            settings.depth_limit = 7;
            settings.node_limit = 0;
            settings.level_time = 2;
            run_search(THINK_CLOCK, [] { return InputState::UNWATCHED; });
            EXPECT_NE(search_control.best_line[1], NULL_MOVE);
        }
    }
    invalidate_eval_caches();
    hash_clear();
}

// Threads share the table only; a ponderhit starts the clock, a stop ends all of them.
TEST_F(Search, four_threads_search_until_they_are_stopped) {
    settings.threads = 4;
    settings.level_time = 10;
    set_game("r1bqkb1r/pp1ppppp/2n2n2/8/3NP3/2N5/PPP2PPP/R1BQKB1R b KQkq -");
    static int polls;
    polls = 0;
    const double start = monotonic_seconds();
    run_search(THINK_PONDER, [] {
        std::uint16_t pondering = THINK_PONDER;
        if (++polls == 60) search_control.think_flags.compare_exchange_strong(pondering, THINK_CLOCK);
        // A processor shared with others may reach the secondary threads late.
        if (polls >= 120 && (search_threads[1]->result_depth > 1 || polls >= 2000)) stop_search();
        sleep_milliseconds(1);
        return InputState::HANDLED;
    });
    EXPECT_LT(monotonic_seconds() - start, 9.0);
    EXPECT_TRUE(is_legal(game_record->position, BLACK, search_control.best_line[1]));
    sum_statistics();
    EXPECT_GT(search_control.nodes, search_threads[0]->nodes.load());
}

// Lines that came together are handled together, idle and during a search: a pause of a millisecond after each
// would add up to more than ten seconds.
TEST_F(Search, lines_that_came_together_are_handled_without_pauses) {
    static int polls;
    constexpr int LINES = 10000;
    settings.depth_limit = 80;
    for (const bool searching : {false, true}) {
        polls = 0;
        settings.quit = 0;
        const double start = monotonic_seconds();
        if (searching) {
            run_search(THINK_CLOCK, [] {
                if (++polls == LINES) stop_search();
                return InputState::HANDLED;
            });
        } else {
            think_loop([] {
                settings.quit = ++polls == LINES;
                return InputState::HANDLED;
            });
        }
        EXPECT_LT(monotonic_seconds() - start, 9.0);
        EXPECT_EQ(polls, LINES);
    }
}

}  // namespace
