// Searches get the time that their clock allows, give some back when the root is settled, and stop when it is used.
#include "search/time_manager.h"

#include "search/engine_fixture.h"

#include <algorithm>
#include <cmath>

namespace {

SearchControl& control = search_control;

struct TimeManager : EngineTest {
    void SetUp() override {
        EngineTest::SetUp();
        settings.level_moves = settings.ponder = 0;
        control.think_flags.store(THINK_CLOCK);
        control.threads = 1;
        if (!search_threads[0]) search_threads[0] = create_search_thread(0);
        if (!search_threads[1]) search_threads[1] = create_search_thread(1);
        now = 0;
        search_clock = [] { return now; };
        begin_search();
    }

    static inline double now = 0;  // seconds since the start of the search
};

// By hand: clock / (moves + 1), times 1.25 with pondering, plus increment * clock / (2 * increment + clock). From the
// second iteration on the overhead takes 0.05 s, and what is unsettled adds hundredths of the clock, here 0.29 s each.
TEST_F(TimeManager, targets_share_the_clock_grow_with_unsettled_roots_and_end_the_search) {
    struct Given {
        float clock = 29, increment = 0;
        double elapsed = 0;
        int level_moves = 0, moves_left = 0, ponder = 0, console_ply = 0, flags = THINK_CLOCK, single_reply = 0;
        int depth = 0, state = ROOT_INSIDE, change_depth = 0, tb_result = -1;
        int score = -50, before = -50, earlier = -50;  // of this and of the last two iterations
        int other_depth = 0, other_score = -30;        // of a thread that likes another move
    };
    const struct {
        const char* name;
        double target;
        Given given;
        bool stop = false;
    } cases[] = {
        {"sudden death", 2.0690, {.clock = 60}},
        {"sudden death with pondering", 2.5862, {.clock = 60, .ponder = 1}},
        {"increment", 0.3448 + 1.4286, {.clock = 10, .increment = 2}},
        {"negative increment", 1.0, {.increment = -2}},
        {"nine moves to go", 10.0, {.clock = 100, .level_moves = 40, .moves_left = 9}},
        {"no moves to go counts as not given", 1.0, {.level_moves = 40, .moves_left = 0}},
        {"console: second period begins", 2.0, {.clock = 82, .level_moves = 40, .console_ply = 80}},
        {"less than the clock", 0.95, {.clock = 1, .increment = 10, .level_moves = 40, .moves_left = 1, .ponder = 1}},
        {"clock is not a number", 0.0, {.clock = NAN}},
        {"a share of what is left now", 1.0, {.clock = 60, .elapsed = 31}, true},
        {"settled", 0.95, {.depth = 5}},
        {"failing low", 6.75, {.depth = 5, .state = ROOT_FAILING_LOW}},
        {"failing high", 2.11, {.depth = 5, .state = ROOT_FAILING_HIGH}},
        {"score falls by 20", 2.11, {.depth = 5, .before = -30, .earlier = -30}},
        {"score falls by 19", 0.95, {.depth = 5, .before = -31, .earlier = -30}},
        {"score fell in one iteration only", 0.95, {.depth = 5, .before = -30, .earlier = -31}},
        {"too early to say that it falls", 0.95, {.depth = 3, .before = -30, .earlier = -30}},
        {"large fall", 0.95, {.depth = 5, .score = -3200, .before = -3001, .earlier = -3000}},  // 3200 / 16 = 200
        {"move changed two iterations ago", 1.24, {.depth = 6, .change_depth = 4}},
        {"move changed three iterations ago", 0.95, {.depth = 6, .change_depth = 3}},
        {"another thread likes another move", 1.82, {.depth = 5, .other_depth = 4}},
        {"another thread is not deep enough", 0.95, {.depth = 5, .other_depth = 3}},
        {"another thread likes it too little", 0.95, {.depth = 5, .other_depth = 4, .other_score = -31}},
        {"20 + 3 hundredths", 7.62, {.depth = 5, .state = ROOT_FAILING_LOW, .other_depth = 4}},
        {"tablebase position", 0.475, {.depth = 5, .tb_result = 2}},
        {"hardly any time", 0.005, {.clock = 0.06f, .depth = 5}},
        {"first iteration: base target alone", 1.0, {.depth = 1, .state = ROOT_FAILING_LOW}},
        {"before the target", 0.922, {.elapsed = 0.80, .depth = 8}},
        {"after the target", 0.916, {.elapsed = 0.99, .depth = 8}, true},
        {"tool search", 0.916, {.elapsed = 0.99, .flags = THINK_TOOL, .depth = 8}, true},
        {"pondering has no clock", 0.310, {.elapsed = 20, .flags = THINK_PONDER, .depth = 8}},
        {"first iteration, past its target", 0.883, {.elapsed = 3.4, .depth = 1}},
        {"first iteration, four times its target", 0.876, {.elapsed = 3.6, .depth = 1}, true},
        {"only move, depth 5", 0.947, {.elapsed = 0.1, .single_reply = 1, .depth = 5}},
        {"only move, depth 6", 0.947, {.elapsed = 0.1, .single_reply = 1, .depth = 6}, true},
        {"fixed time is not over", 1, {.elapsed = 0.95, .level_moves = 1, .depth = 8}},
        {"fixed time is over", 1, {.elapsed = 1.0, .level_moves = 1, .depth = 8}, true},
        {"fixed time, first iteration", 1, {.elapsed = 1.09, .level_moves = 1, .depth = 1}},
        {"fixed time, first iteration without end", 1, {.elapsed = 1.1, .level_moves = 1, .depth = 1}, true},
        {"fixed time, pondering", 1, {.elapsed = 1.5, .level_moves = 1, .flags = THINK_PONDER, .depth = 8}},
    };
    control.clock[BLACK] = 777;
    control.result_depth = 4;
    control.best_line[1] = 555;
    search_threads[1]->root_line[1] = 777;
    settings.level_time = 1;
    for (const auto& [name, target, c, stop] : cases) {
        control.think_flags.store(c.flags);
        control.stop = 0;
        control.single_reply = c.single_reply;
        settings.uci_mode = c.console_ply == 0;
        settings.level_moves = c.level_moves;
        settings.increment = c.increment;
        settings.ponder = c.ponder;
        game_record->game.game_ply = c.console_ply;
        control.moves_left = c.moves_left;
        control.clock[WHITE] = c.clock;
        control.iteration_depth = c.depth;
        control.change_depth = c.change_depth;
        control.root_tb_result = c.tb_result;
        control.score = c.score;
        std::fill(std::begin(control.score_by_depth), std::end(control.score_by_depth), c.earlier);
        if (c.depth > 0) control.score_by_depth[c.depth - 1] = c.before;
        control.threads = c.other_depth ? 2 : 1;
        search_threads[0]->root_state = c.state;
        search_threads[1]->result_depth = c.other_depth;
        search_threads[1]->best_score = c.other_score;
        now = c.elapsed;
        update_clock();
        EXPECT_NEAR(control.target_time, target, 0.005) << name;
        EXPECT_EQ(control.stop, stop) << name;
    }
}

TEST_F(TimeManager, strength_targets_follow_the_rating_curve) {
    const struct {
        int limit, elo;
        double nps;
        bool throttle;
    } cases[] = {
        {0, 1500, 100000, false}, {1, 0, 100000, false},  {1, 1500, 16, true},
        {1, 2500, 2500, true},    {1, 3000, 62000, true}, {1, 3100, 133000, false},
    };
    settings.calibration_nps = 100000;
    for (const auto& c : cases) {
        settings.limit_strength = c.limit;
        settings.uci_elo = c.elo;
        begin_search();
        EXPECT_NEAR(control.target_nps / c.nps, 1.0, 0.04) << c.elo;
        EXPECT_EQ(control.throttle, c.throttle) << c.elo;
    }
    EXPECT_TRUE(elo_to_nps(-30000) >= 10 && elo_to_nps(30000) <= 1e7) << "it ends, inside the range";
}

}  // namespace
