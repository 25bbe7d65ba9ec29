// Tuning by games: what a step moves, and that steps lead where the games point.
#include "tools/duel/climb.h"

#include "eval/eval_fixture.h"
#include "tools/tune/tuning_set.h"

#include <cmath>

namespace {

constexpr int SHAPE_DIRECTIONS = 2 * DIRECTIONS_OF_FAMILY;

struct Climb : EvalFixture {
    Player base, moved;
    ClimbPoint point{};
    ClimbFamilies shapes = shape_families();

    Climb() { std::copy(std::begin(eval_params), std::end(eval_params), base.params.begin()); }

    const EvalParams& param(const Player& player, int table, int square) {
        return player.params[static_cast<std::size_t>(first_table_param + table_entry(table, square))];
    }
};

// Heights move all free entries alike and slopes by rank, in their own table and phase; given entries and scalars stay.
TEST_F(Climb, directions_move_what_they_name) {
    constexpr std::size_t HEIGHT = 0, SLOPE = 1;
    point[climb_index(HEIGHT, TABLE_N, false)] = 10;
    point[climb_index(SLOPE, TABLE_N, true)] = 14;
    set_point(moved, base, shapes, point, 0, Signs{});
    const struct {
        int table, square, mg, eg;
    } cases[] = {
        {TABLE_N, 63, 10, 14}, {TABLE_N, 8, 10, -10}, {TABLE_N, 4, 10, -14},
        {TABLE_N, 39, 10, 2},  {TABLE_N, 0, 0, 0},  // given
        {TABLE_B, 63, 0, 0},   {TABLE_P1, 20, 0, 0},
    };
    for (const auto& c : cases) {
        const EvalParams& before = param(base, c.table, c.square);
        const EvalParams& after = param(moved, c.table, c.square);
        EXPECT_EQ(after.mg - before.mg, c.mg) << c.table << ' ' << c.square;
        EXPECT_EQ(after.eg - before.eg, c.eg) << c.table << ' ' << c.square;
        EXPECT_EQ(static_cast<PackedScore>(after.packed), pack(static_cast<int>(after.mg), static_cast<int>(after.eg)));
    }
    for (int i = 0; i < first_table_param; ++i) EXPECT_EQ(moved.params[i].packed, base.params[i].packed);
}

// The way to another text is gone by each table's half alone: the whole of it arrives there, and the free entries only.
TEST_F(Climb, leads_to_another_text) {
    Player goal{base.params};
    for (int i = first_table_param; i < first_table_param + TABLE_ENTRIES; ++i) {
        goal.params[i].mg += static_cast<float>(i % 7 - 3);
        goal.params[i].eg += static_cast<float>(i % 5 - 2);
    }
    const ClimbFamilies families{shapes[0], family_towards("goal", base, goal)};
    point[climb_index(1, TABLE_R, true)] = 100;
    point[climb_index(1, TABLE_P2, false)] = -100;
    set_point(moved, base, families, point, 0, Signs{});
    for (int table = 0; table < TABLE_PARAMS; ++table) {
        for (int square = 0; square < 64; ++square) {
            const bool free = is_free_entry(table_entry(table, square));
            const EvalParams& before = param(base, table, square);
            const EvalParams& there = param(goal, table, square);
            const EvalParams& after = param(moved, table, square);
            EXPECT_EQ(after.eg - before.eg, free && table == TABLE_R ? there.eg - before.eg : 0);
            EXPECT_EQ(after.mg - before.mg, free && table == TABLE_P2 ? before.mg - there.mg : 0);
        }
    }
}

// The pair's sides lie on both sides of the point.
TEST_F(Climb, signs_are_tried_both_ways) {
    Random random{7};
    const Signs signs = random_signs(random, shapes.size());
    const auto plus = std::count(signs.begin(), signs.end(), 1), minus = std::count(signs.begin(), signs.end(), -1);
    EXPECT_EQ(plus + minus, SHAPE_DIRECTIONS);
    EXPECT_NE(plus, SHAPE_DIRECTIONS);
    Player up, down;
    set_point(up, base, shapes, point, 6, signs);
    set_point(down, base, shapes, point, -6, signs);
    for (const int table : {TABLE_P2, TABLE_Q}) {
        const int square = 45;
        EXPECT_NE(param(up, table, square).mg, param(down, table, square).mg);
        EXPECT_NEAR(param(up, table, square).mg + param(down, table, square).mg, 2 * param(base, table, square).mg, 1);
    }
}

// Games whose chances follow the distance from a peak, as Elo does: the climb must end near it, and stay where it
// is without any difference to see.
TEST_F(Climb, finds_the_peak_of_noisy_games) {
    ClimbPoint peak;
    for (int i = 0; i < SHAPE_DIRECTIONS; ++i) peak[i] = i % 3 == 0 ? 20 : i % 3 == 1 ? -10 : 0;
    Random random{3};
    constexpr std::uint64_t PAIRS = 60000;
    for (std::uint64_t pair = 0; pair < PAIRS; ++pair) {
        const ClimbStep step = climb_step(8, 0.02, pair, PAIRS);
        const Signs signs = random_signs(random, shapes.size());
        double loss[2] = {};
        for (int i = 0; i < SHAPE_DIRECTIONS; ++i) {
            for (const int way : {0, 1}) {
                loss[way] += std::pow(point[i] + (way ? -1 : 1) * step.distance * signs[i] - peak[i], 2) * 0.0001;
            }
        }
        const double chance = 1 / (1 + std::exp(loss[0] - loss[1]));
        int points = 0;
        for (int game = 0; game < 2; ++game) points += random_percent(random, static_cast<int>(100 * chance)) ? 1 : -1;
        move_point(point, step, signs, points);
    }
    double error = 0, start = 0;
    for (int i = 0; i < SHAPE_DIRECTIONS; ++i) {
        error += std::abs(point[i] - peak[i]) / SHAPE_DIRECTIONS;
        start += std::abs(peak[i]) / SHAPE_DIRECTIONS;
    }
    EXPECT_LT(error, start / 3);
}

}  // namespace
