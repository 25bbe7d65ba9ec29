// Searches get the time that their clock allows, give some back when the root is settled, and stop when it is used.
#include "search/time_manager.h"

#include "platform/clock.h"
#include "search/engine_fixture.h"

#include <algorithm>
#include <cmath>

namespace {

class TimeManager : public EngineTest {
protected:
    void SetUp() override {
        EngineTest::SetUp();
        settings.level_moves = 0;
        settings.increment = 0;
        settings.ponder = 0;
        search_control.think_flags.store(THINK_CLOCK);
        if (!search_threads[0]) search_threads[0] = create_search_thread(0);
        if (!search_threads[1]) search_threads[1] = create_search_thread(1);
        search_threads[0]->root_state = ROOT_INSIDE;
        begin_search();
    }
    void TearDown() override { search_control.think_flags.store(0); }

    // The clock as it reads `seconds` after the start of the search.
    static void update_at(double seconds) {
        search_control.start_time = monotonic_seconds() - seconds;
        update_clock();
    }
};

// By hand: clock / (moves + 1), times 1.25 with pondering, plus increment * clock / (2 * increment + clock). From the
// second iteration on the overhead takes 0.05 s, and what is unsettled adds hundredths of the clock, here 0.29 s each.
TEST_F(TimeManager, targets_share_the_clock_and_grow_with_unsettled_roots) {
    struct Given {
        float clock = 29, increment = 0;
        int level_moves = 0, moves_left = 0, ponder = 0, game_ply = 0;
        bool console = false;
        double elapsed = 0;
    };
    struct Root {
        int depth = 5, state = ROOT_INSIDE;
        int score[3] = {0, 0, 0};  // now, one and two iterations before
        int change_depth = 0;
        int threads = 1, other_depth = 4, other_score = 20;  // of a thread that likes another move
        int tb_result = -1;
    };
    const struct {
        const char* name;
        double target;
        Given given;
        Root root = {.depth = 0};
    } cases[] = {
        {"sudden death", 2.0690, {.clock = 60}},
        {"sudden death with pondering", 2.5862, {.clock = 60, .ponder = 1}},
        {"increment", 0.3448 + 1.4286, {.clock = 10, .increment = 2}},
        {"negative increment", 1.0, {.increment = -2}},
        {"nine moves to go", 10.0, {.clock = 100, .level_moves = 40, .moves_left = 9}},
        {"no moves to go counts as not given", 1.0, {.level_moves = 40}},
        {"minus one move to go", 1.0, {.level_moves = 40, .moves_left = -1}},
        {"console: second period begins", 2.0, {.clock = 82, .level_moves = 40, .game_ply = 80, .console = true}},
        {"never more than the clock less the overhead",
         0.95,
         {.clock = 1, .increment = 10, .level_moves = 40, .moves_left = 1, .ponder = 1}},
        {"clock is not a number", 0.0, {.clock = NAN}},
        {"a share of what is left now", 1.0, {.clock = 60, .elapsed = 31}},
        {"settled", 0.95, {}, {}},
        {"failing low", 6.75, {}, {.state = ROOT_FAILING_LOW}},
        {"failing high", 2.11, {}, {.state = ROOT_FAILING_HIGH}},
        {"score falls by 20", 2.11, {}, {.score = {-50, -30, -30}}},
        {"score falls by 19", 0.95, {}, {.score = {-50, -31, -30}}},
        {"score fell in one iteration only", 0.95, {}, {.score = {-50, -30, -31}}},
        {"too early to say that it falls", 0.95, {}, {.depth = 3, .score = {-50, -30, -30}}},
        {"large scores need a larger fall", 0.95, {}, {.score = {-3200, -3001, -3000}}},  // 3200 / 16 = 200
        {"move changed two iterations ago", 1.24, {}, {.depth = 6, .change_depth = 4}},
        {"move changed three iterations ago", 0.95, {}, {.depth = 6, .change_depth = 3}},
        {"another thread likes another move", 1.82, {}, {.threads = 2}},
        {"another thread is not deep enough", 0.95, {}, {.threads = 2, .other_depth = 3}},
        {"another thread likes it too little", 0.95, {}, {.threads = 2, .other_score = 19}},
        {"everything at once: 20 + 4 + 3 + 1 hundredths",
         9.07,
         {},
         {.state = ROOT_FAILING_LOW, .score = {-50, -30, -30}, .change_depth = 4, .threads = 2}},
        {"tablebase position", 0.475, {}, {.tb_result = 2}},
        {"hardly any time", 0.005, {.clock = 0.06f}, {}},
        {"first iteration: base target alone", 1.0, {}, {.depth = 1, .state = ROOT_FAILING_LOW}},
    };
    for (const auto& [name, target, given, root] : cases) {
        settings.uci_mode = !given.console;
        settings.level_moves = given.level_moves;
        settings.increment = given.increment;
        settings.ponder = given.ponder;
        search_control.threads = static_cast<std::int16_t>(root.threads);
        game_record->game.game_ply = given.game_ply;
        search_control.moves_left = given.moves_left;
        search_control.clock[WHITE] = given.clock;
        search_control.clock[BLACK] = 777;
        search_control.iteration_depth = root.depth;
        search_control.score = root.score[0];
        for (int before = 1; before <= std::min(2, root.depth); ++before) {
            search_control.score_by_depth[root.depth - before] = root.score[before];
        }
        search_control.change_depth = root.change_depth;
        search_control.result_depth = 4;
        search_control.best_line[1] = 555;
        search_control.root_tb_result = root.tb_result;
        search_threads[0]->root_state = root.state;
        search_threads[1]->result_depth = root.other_depth;
        search_threads[1]->best_score = root.other_score;
        search_threads[1]->root_line[1] = 777;
        update_at(given.elapsed);
        EXPECT_NEAR(search_control.target_time, target, 0.005 + search_control.elapsed - given.elapsed) << name;
    }
    game_record->game.game_ply = 0;
}

TEST_F(TimeManager, stops_when_the_time_is_used) {
    const struct {
        const char* name;
        int flags, level_moves, depth;
        double elapsed;
        bool single_reply, stop;
    } cases[] = {
        {"before the target", THINK_CLOCK, 0, 8, 0.80, false, false},
        {"after the target", THINK_CLOCK, 0, 8, 0.99, false, true},
        {"tool search", THINK_TOOL, 0, 8, 0.99, false, true},
        {"pondering has no clock", THINK_PONDER, 0, 8, 20, false, false},
        {"first iteration, past its target", THINK_CLOCK, 0, 1, 3.4, false, false},
        // Four times 1/29 of what is left of 29 s: 3.515 s.
        {"first iteration, four times its target", THINK_CLOCK, 0, 1, 3.6, false, true},
        {"first iteration, pondering", THINK_PONDER, 0, 1, 20, false, false},
        {"only move, depth 5", THINK_CLOCK, 0, 5, 0.1, true, false},
        {"only move, depth 6", THINK_CLOCK, 0, 6, 0.1, true, true},
        {"fixed time is not over", THINK_CLOCK, 1, 8, 0.95, false, false},
        {"fixed time is over", THINK_CLOCK, 1, 8, 1.0, false, true},
        {"fixed time, first iteration", THINK_CLOCK, 1, 1, 1.09, false, false},
        {"fixed time, first iteration without end", THINK_CLOCK, 1, 1, 1.1, false, true},
        {"fixed time, pondering", THINK_PONDER, 1, 8, 1.5, false, false},
    };
    for (const auto& c : cases) {
        search_control.think_flags.store(c.flags);
        search_control.stop = 0;
        search_control.iteration_depth = c.depth;
        search_control.single_reply = c.single_reply;
        search_control.clock[WHITE] = 29;
        settings.level_moves = c.level_moves;
        settings.level_time = 1;
        update_at(c.elapsed);  // base target 0.93 s: (29 - elapsed) / 29 less the overhead
        EXPECT_EQ(search_control.stop, c.stop) << c.name;
    }
}

// A player with T seconds and an increment who always uses the time allowed, and two milliseconds more for the
// way to the opponent, never runs out.
TEST_F(TimeManager, fast_games_are_not_lost_on_time) {
    const struct {
        float clock, increment;
        int ponder, root_state, moves;
    } cases[] = {
        {1, 0.01f, 1, ROOT_INSIDE, 400}, {1, 0.01f, 0, ROOT_FAILING_LOW, 400}, {0.2f, 0.1f, 1, ROOT_FAILING_LOW, 400},
        {10, 0, 1, ROOT_INSIDE, 150},    {60, 0, 0, ROOT_INSIDE, 200},         {0.06f, 0.02f, 1, ROOT_FAILING_LOW, 400},
    };
    search_control.iteration_depth = 10;
    for (const auto& c : cases) {
        float clock = c.clock;
        settings.increment = c.increment;
        settings.ponder = c.ponder;
        search_threads[0]->root_state = c.root_state;
        for (int move = 0; move < c.moves; ++move) {
            search_control.clock[WHITE] = clock;
            search_control.stop = 0;
            float used = 0;
            while (!search_control.stop && used < clock) {
                used += std::max(0.001f, clock / 1000);
                update_at(used);
            }
            clock -= used + 0.002f;
            ASSERT_GT(clock, 0) << c.clock << " + " << c.increment << ", move " << move;
            clock += c.increment;
        }
    }
}

TEST_F(TimeManager, strength_targets_follow_the_rating_curve) {
    const struct {
        int limit, elo;
        double nps;
        bool throttle;
    } cases[] = {
        {0, 1500, 100000, false}, {1, 0, 100000, false},  {1, 1500, 16, true},      {1, 2000, 170, true},
        {1, 2500, 2500, true},    {1, 3000, 62000, true}, {1, 3100, 133000, false}, {1, 3300, 650000, false},
    };
    settings.calibration_nps = 100000;
    for (const auto& c : cases) {
        settings.limit_strength = c.limit;
        settings.uci_elo = c.elo;
        begin_search();
        EXPECT_NEAR(search_control.target_nps / c.nps, 1.0, 0.04) << c.elo;
        EXPECT_EQ(search_control.throttle, c.throttle) << c.elo;
    }
    for (const int out_of_reach : {-30000, 0, 1300, 3600, 30000}) {  // ends, inside the range
        EXPECT_GE(elo_to_nps(out_of_reach), 10.0);
        EXPECT_LE(elo_to_nps(out_of_reach), 1e7);
    }
}

TEST_F(TimeManager, a_new_search_starts_from_nothing) {
    search_control.stop = search_control.single_reply = search_control.completed_depth = 7;
    search_control.best_line[1] = search_control.best_by_depth[99] = search_control.multipv_move[3] = 7;
    search_control.score_by_depth[40] = search_control.nodes_by_depth[80] = search_control.root_tb_result = 7;
    set_game("4k3/8/8/8/8/8/8/R3K3 b - -");
    settings.level_moves = 1;
    settings.level_time = 3;
    settings.hash_mb = 0;
    begin_search();
    EXPECT_EQ(search_control.stop + search_control.single_reply + search_control.completed_depth, 0);
    EXPECT_EQ(search_control.root_tb_result, -1);
    EXPECT_EQ(search_control.best_line[1] + search_control.best_by_depth[99] + search_control.multipv_move[3], 0);
    EXPECT_EQ(search_control.score_by_depth[40], NO_SCORE);
    EXPECT_EQ(search_control.nodes_by_depth[80], 0u);
    EXPECT_EQ(search_control.clock[BLACK], 3.0f);
    EXPECT_EQ(search_control.target_time, 3.0f);
    EXPECT_EQ(search_control.hash_enabled, 0);
}

}  // namespace
