// Searches get the time that their clock allows, give some back when the root is settled, and stop when it is used.
#include "search/time_manager.h"

#include "platform/clock.h"
#include "search/engine_fixture.h"

#include <cmath>
#include <limits>
#include <string>

namespace {

constexpr float NAN_SECONDS = std::numeric_limits<float>::quiet_NaN();
constexpr float INFINITE_SECONDS = std::numeric_limits<float>::infinity();

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

// By hand: clock / (moves + 1), times 1.25 with pondering, plus increment * clock / (2 * increment + clock).
TEST_F(TimeManager, first_target_is_a_share_of_the_clock) {
    const struct {
        const char* name;
        bool uci;
        int level_moves, moves_left, game_ply;
        float clock, increment;
        int ponder;
        double target;
    } cases[] = {
        {"sudden death", true, 0, 0, 0, 60, 0, 0, 2.0690},
        {"sudden death with pondering", true, 0, 0, 0, 60, 0, 1, 2.5862},
        {"increment", true, 0, 0, 0, 10, 2, 0, 0.3448 + 1.4286},
        {"negative increment", true, 0, 0, 0, 29, -2, 0, 1.0},
        {"nine moves to go", true, 40, 9, 0, 100, 0, 0, 10.0},
        {"one move to go", true, 40, 1, 0, 10, 0, 0, 5.0},
        {"no moves to go counts as not given", true, 40, 0, 0, 29, 0, 0, 1.0},
        {"minus one move to go", true, 40, -1, 0, 29, 0, 0, 1.0},
        {"console: 30 of 40 moves left", false, 40, 0, 20, 62, 0, 0, 2.0},
        {"console: second period begins", false, 40, 0, 80, 82, 0, 0, 2.0},
        {"never more than the clock less the overhead", true, 40, 1, 0, 1, 10, 1, 0.95},
        {"clock is not a number", true, 0, 0, 0, NAN_SECONDS, 0, 0, 0.0},
        {"endless clock", true, 0, 0, 0, INFINITE_SECONDS, 0, 0, 0.0},
        {"endless increment", true, 0, 0, 0, 29, INFINITE_SECONDS, 0, 1.0},
        {"empty clock", true, 0, 0, 0, 0, 0, 0, 0.0},
    };
    for (const auto& c : cases) {
        settings.uci_mode = c.uci;
        settings.level_moves = static_cast<std::uint8_t>(c.level_moves);
        settings.increment = c.increment;
        settings.ponder = static_cast<std::int16_t>(c.ponder);
        search_control.moves_left = static_cast<std::int16_t>(c.moves_left);
        search_control.clock[WHITE] = c.clock;
        search_control.clock[BLACK] = 777;
        game_record->game.game_ply = static_cast<std::int16_t>(c.game_ply);
        update_at(0);
        EXPECT_NEAR(search_control.target_time, c.target, 0.005 + search_control.elapsed) << c.name;
        if (search_control.elapsed < 0.004f) { EXPECT_EQ(search_control.stop, 0) << c.name; }
    }
    game_record->game.game_ply = 0;

    settings.uci_mode = 1;
    settings.level_moves = 0;
    settings.increment = 0;
    search_control.clock[WHITE] = 60;
    update_at(31);  // a share of what is left now
    EXPECT_NEAR(search_control.target_time, 1.0, 0.005);
    EXPECT_NEAR(search_control.elapsed, 31.0, 0.05);
}

// 29 s on the clock make one second the base; the overhead takes 0.05 s; each hundredth of a share is 0.29 s.
TEST_F(TimeManager, unsettled_roots_get_more_and_certain_ones_less) {
    struct Case {
        const char* name;
        int depth;
        double target;
        int root_state = ROOT_INSIDE;
        int score = 0, one_before = 0, two_before = 0;
        int change_depth = 0;
        int threads = 1, other_depth = 0, other_score = 0;
        Move other_move = 0;
        int tb_result = -1;
        float clock = 29;
    };
    const Case cases[] = {
        {"settled", 5, 0.95},
        {"failing low", 5, 6.75, ROOT_FAILING_LOW},
        {"failing high", 5, 2.11, ROOT_FAILING_HIGH},
        {"score falls by 20", 5, 2.11, ROOT_INSIDE, -50, -30, -30},
        {"score falls by 19", 5, 0.95, ROOT_INSIDE, -50, -31, -30},
        {"score fell in one iteration only", 5, 0.95, ROOT_INSIDE, -50, -30, -31},
        {"too early to say that it falls", 3, 0.95, ROOT_INSIDE, -50, -30, -30},
        {"large scores need a larger fall", 5, 0.95, ROOT_INSIDE, -3200, -3001, -3000},  // 3200 / 16 = 200
        {"large fall of a large score", 5, 2.11, ROOT_INSIDE, -3200, -3000, -3000},
        {"move changed two iterations ago", 6, 1.24, ROOT_INSIDE, 0, 0, 0, 4},
        {"move changed three iterations ago", 6, 0.95, ROOT_INSIDE, 0, 0, 0, 3},
        {"another thread likes another move", 5, 1.82, ROOT_INSIDE, 0, 0, 0, 0, 2, 4, 20, 777},
        {"another thread is not deep enough", 5, 0.95, ROOT_INSIDE, 0, 0, 0, 0, 2, 3, 20, 777},
        {"another thread likes it too little", 5, 0.95, ROOT_INSIDE, 0, 0, 0, 0, 2, 4, 19, 777},
        {"another thread likes the same move", 5, 0.95, ROOT_INSIDE, 0, 0, 0, 0, 2, 4, 20, 555},
        {"record left from more threads", 5, 0.95, ROOT_INSIDE, 0, 0, 0, 0, 1, 4, 20, 777},
        {"everything at once", 5, 9.07, ROOT_FAILING_LOW, -50, -30, -30, 4, 2, 4, 20,
         777},  // 20 + 4 + 3 + 1 hundredths
        {"tablebase position", 5, 0.475, ROOT_INSIDE, 0, 0, 0, 0, 1, 0, 0, 0, 2},
        {"hardly any time", 5, 0.005, ROOT_INSIDE, 0, 0, 0, 0, 1, 0, 0, 0, -1, 0.06f},
        {"no time", 5, 0.005, ROOT_FAILING_LOW, 0, 0, 0, 0, 1, 0, 0, 0, -1, 0.02f},
        {"first iteration: base target alone", 1, 1.0, ROOT_FAILING_LOW},
    };
    for (const Case& c : cases) {
        search_control.stop = 0;
        search_control.iteration_depth = static_cast<std::int8_t>(c.depth);
        search_control.clock[WHITE] = c.clock;
        search_control.score = static_cast<std::int16_t>(c.score);
        search_control.score_by_depth[c.depth - 1] = static_cast<std::int16_t>(c.one_before);
        if (c.depth > 1) search_control.score_by_depth[c.depth - 2] = static_cast<std::int16_t>(c.two_before);
        search_control.change_depth = static_cast<std::int8_t>(c.change_depth);
        search_control.result_depth = 4;
        search_control.best_line[1] = 555;
        search_control.root_tb_result = c.tb_result;
        settings.threads = static_cast<std::int16_t>(c.threads);
        search_threads[0]->root_state = static_cast<std::uint8_t>(c.root_state);
        search_threads[1]->result_depth = static_cast<std::int8_t>(c.other_depth);
        search_threads[1]->best_score = static_cast<std::int16_t>(c.other_score);
        search_threads[1]->root_line[1] = c.other_move;
        update_at(0);
        EXPECT_NEAR(search_control.target_time, c.target, 0.005 + search_control.elapsed) << c.name;
    }
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
        {"not before the second iteration", THINK_CLOCK, 0, 1, 20, false, false},
        {"first iteration, the flag still stands", THINK_CLOCK, 0, 1, 28.9, false, false},
        {"first iteration, the flag is about to fall", THINK_CLOCK, 0, 1, 28.96, false, true},
        {"before the first iteration, the flag is about to fall", THINK_CLOCK, 0, 0, 28.96, false, true},
        {"first iteration, pondering past the clock", THINK_PONDER, 0, 1, 28.96, false, false},
        {"only move, depth 5", THINK_CLOCK, 0, 5, 0.1, true, false},
        {"only move, depth 6", THINK_CLOCK, 0, 6, 0.1, true, true},
        {"fixed time is not over", THINK_CLOCK, 1, 8, 0.95, false, false},
        {"fixed time is over", THINK_CLOCK, 1, 8, 1.0, false, true},
        {"fixed time, first iteration", THINK_CLOCK, 1, 1, 1.5, false, false},
        {"fixed time, pondering", THINK_PONDER, 1, 8, 1.5, false, false},
        {"fixed time ignores the only move", THINK_CLOCK, 1, 8, 0.1, true, false},
    };
    for (const auto& c : cases) {
        search_control.think_flags.store(static_cast<std::uint16_t>(c.flags));
        search_control.stop = 0;
        search_control.iteration_depth = static_cast<std::int8_t>(c.depth);
        search_control.single_reply = c.single_reply;
        search_control.clock[WHITE] = 29;
        settings.level_moves = static_cast<std::uint8_t>(c.level_moves);
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
        settings.ponder = static_cast<std::int16_t>(c.ponder);
        search_threads[0]->root_state = static_cast<std::uint8_t>(c.root_state);
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
        int elo;
        double nps;
    } cases[] = {{1500, 16}, {2000, 170}, {2500, 2500}, {3000, 62000}, {3300, 650000}};
    for (const auto& c : cases) {
        EXPECT_NEAR(elo_to_nps(c.elo) / c.nps, 1.0, 0.04) << c.elo;
        EXPECT_NEAR(nps_to_elo(elo_to_nps(c.elo)), c.elo, 0.5);
    }
    for (const int out_of_reach : {-30000, 0, 1300, 3600, 30000}) {  // ends, inside the range
        EXPECT_GE(elo_to_nps(out_of_reach), 10.0);
        EXPECT_LE(elo_to_nps(out_of_reach), 1e7);
    }

    settings.calibration_nps = 100000;
    const struct {
        int limit, elo;
        double nps;
        bool throttle;
    } limits[] = {{0, 1500, 100000, false}, {1, 0, 100000, false}, {1, 2500, 2500, true}, {1, 3100, 133000, false}};
    for (const auto& c : limits) {
        settings.limit_strength = static_cast<std::uint8_t>(c.limit);
        settings.uci_elo = static_cast<std::int16_t>(c.elo);
        begin_search();
        EXPECT_NEAR(search_control.target_nps / c.nps, 1.0, 0.04) << c.elo;
        EXPECT_EQ(search_control.throttle, c.throttle) << c.elo;
    }
}

TEST_F(TimeManager, a_new_search_starts_from_nothing) {
    search_control.stop = 1;
    search_control.best_line[1] = search_control.best_line[80] = 77;
    search_control.best_by_depth[99] = search_control.multipv_move[3] = 77;
    search_control.score_by_depth[40] = search_control.multipv_score[3] = 77;
    search_control.nodes_by_depth[80] = search_control.nodes = search_control.tt_hits = 77;
    search_control.completed_depth = search_control.change_depth = search_control.result_depth = 7;
    search_control.single_reply = 1;
    search_control.root_tb_result = 3;
    search_threads[0]->game.search_ply = 5;
    search_threads[0]->root_line[1] = 77;
    search_control.hash_age = 8;
    search_control.hash_age_step = 1;
    set_game("4k3/8/8/8/8/8/8/R3K3 b - -");
    settings.level_moves = 1;
    settings.level_time = 3;
    begin_search();
    EXPECT_EQ(search_control.stop, 0);
    EXPECT_EQ(search_control.best_line[1], 0);
    EXPECT_EQ(search_control.best_line[80], 0);
    EXPECT_EQ(search_control.best_by_depth[99], 0);
    EXPECT_EQ(search_control.multipv_move[3], 0);
    EXPECT_EQ(search_control.multipv_score[3], 0);
    EXPECT_EQ(search_control.score_by_depth[40], NO_SCORE);
    EXPECT_EQ(search_control.nodes_by_depth[80] + search_control.nodes + search_control.tt_hits, 0u);
    EXPECT_EQ(search_control.completed_depth + search_control.change_depth + search_control.result_depth, 0);
    EXPECT_EQ(search_control.single_reply, 0);
    EXPECT_EQ(search_control.root_tb_result, -1);
    EXPECT_EQ(search_threads[0]->game.search_ply, 1);
    EXPECT_EQ(search_threads[0]->root_line[1], 0);
    EXPECT_EQ(search_control.root_side, BLACK);
    EXPECT_EQ(search_control.clock[BLACK], 3.0f);
    EXPECT_EQ(search_control.target_time, 3.0f);
    EXPECT_EQ(search_control.hash_age, 9);
    EXPECT_EQ(search_control.hash_enabled, 1);
    EXPECT_LT(search_control.elapsed, 0.5f);
    settings.hash_mb = 0;
    begin_search();
    EXPECT_EQ(search_control.hash_enabled, 0);
}

TEST_F(TimeManager, the_clock_is_shown_to_console_and_log_only) {
    const struct {
        float noise;
        int uci_mode;
        bool shown;
    } cases[] = {{0, 1, false}, {0, 0, true}, {SILENT, 0, false}};
    for (const auto& c : cases) {
        settings.noise = c.noise;
        settings.uci_mode = static_cast<std::uint8_t>(c.uci_mode);
        settings.level_moves = 1;
        settings.level_time = 2.5f;
        testing::internal::CaptureStdout();
        begin_search();
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  c.shown ? "info string fen rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 0\n"
                            "info string clock= 2.50, target_time= 2.500\n"
                          : "");
    }
}

}  // namespace
