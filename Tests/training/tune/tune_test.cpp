// The tuner: its linear terms against the evaluation itself, and known tables found again from synthetic records.
#include "eval/eval_fixture.h"
#include "eval/evaluate.h"
#include "training/tune/fit.h"
#include "training/tune/params_text.h"
#include "training/tune/table_trace.h"
#include "training/tune/tuning_set.h"

#include <cmath>

namespace {

struct Tuner : EvalFixture {
    const std::vector<EvalParams> defaults{eval_params, eval_params + MAX_EVAL_PARAMS};
    std::unique_ptr<TableTrace> trace = std::make_unique<TableTrace>();

    void restore() {
        std::copy(defaults.begin(), defaults.end(), eval_params);
        derive_hce_weights();
    }
    // Calls visit(position) for so many positions of random games.
    template <class Visit>
    void random_positions(int count, Visit visit) {
        visit_random_positions(120, [&](const Board& board) {
            if (count-- > 0) visit(board.position);
        });
    }

    static EvalParams& param_of(int entry) { return eval_params[first_table_param + entry]; }
    // Adds whole numbers to the tables.
    static void apply(const TableChange& change) {
        for (int entry = 0; entry < TABLE_ENTRIES; ++entry) {
            EvalParams& param = param_of(entry);
            param.mg += static_cast<float>(change[2 * entry]);
            param.eg += static_cast<float>(change[2 * entry + 1]);
            param.packed = static_cast<std::int32_t>(pack(static_cast<int>(param.mg), static_cast<int>(param.eg)));
        }
        derive_hce_weights();
    }
    PackedScore packed_difference(const Position& p) {
        hce_evaluate(*hce, p, 0);
        return hce->scratch.score[WHITE] - hce->scratch.score[BLACK];
    }
};

// Packed sums are exact: a change of the tables must show in them to the last bit.
TEST_F(Tuner, traced_counts_predict_the_packed_sum_of_any_tables) {
    std::mt19937 random(3);
    random_positions(20000, [&](const Position& p) {
        trace_tables(*hce, p, *trace);
        PackedScore predicted = packed_difference(p);
        TableChange change;
        for (double& value : change) value = static_cast<int>(random() % 101) - 50;
        for (int entry = 0; entry < TABLE_ENTRIES; ++entry) {
            const PackedScore added =
                pack(static_cast<int>(change[2 * entry]), static_cast<int>(change[2 * entry + 1]));
            predicted += static_cast<PackedScore>(trace->count[entry]) * added;
        }
        apply(change);
        EXPECT_EQ(packed_difference(p), predicted) << position_to_fen(p, false);
        restore();
    });
    int free_entries = 0;
    for (int entry = 0; entry < TABLE_ENTRIES; ++entry) free_entries += is_free_entry(entry);
    // Four tables of whole boards, half a board, three of six ranks, one of five, less the entries that are given.
    EXPECT_EQ(free_entries, 4 * 64 + 32 + 3 * 48 + 40 - 22);
}

// A text of another length than the default one changes where that costs least, and as little as possible: here in one
// table, whose values cost nothing.
TEST_F(Tuner, text_is_the_default_text_with_rounded_changes_at_the_asked_length) {
    const std::string text(default_params, default_params_end);
    TableChange change{};
    EXPECT_EQ(params_text(change), text);
    const int entry = table_entry(TABLE_Q, 27);
    const EvalParams before = param_of(entry);
    change[2 * entry] = 1.6;
    change[2 * entry + 1] = -2.4;
    load_params_text(params_text(change));
    EXPECT_TRUE(param_of(entry).mg == before.mg + 2 && param_of(entry).eg == before.eg - 2);
    restore();

    TableChange curvature;
    for (std::size_t v = 0; v < curvature.size(); ++v) curvature[v] = v / 128 == TABLE_Q ? 0 : 1;
    for (const int by : {-20, 0, 1}) {
        change = {};
        ASSERT_TRUE(fit_text_length(change, curvature, text.size() + by));
        EXPECT_EQ(params_text(change).size(), text.size() + by);
        const auto* const queen = &change[128 * TABLE_Q];
        EXPECT_EQ(128 - std::count(queen, queen + 128, 0.0), std::abs(by)) << "not as few values as possible";
    }
    EXPECT_FALSE(fit_text_length(change, curvature, text.size() + 5000));
}

struct Recovery : Tuner {
    // A few changes of each kind: a pawn table each, a piece, the king, whole material.
    static TableChange known_change() {
        TableChange change{};
        const auto set = [&change](int table, int square, int mg, int eg) {
            change[2 * table_entry(table, square)] = mg;
            change[2 * table_entry(table, square) + 1] = eg;
        };
        for (int square = 0; square < 64; ++square) {
            if (is_free_entry(table_entry(TABLE_R, square))) set(TABLE_R, square, 0, 40);
        }
        set(TABLE_N, 21, 30, -20);  // f3
        set(TABLE_P1, 28, 25, 10);  // e4
        set(TABLE_DP, 20, 15, 15);  // e3
        set(TABLE_K, 12, -40, 30);  // e2
        return change;
    }

    // Positions with results that the changed tables expect: as they are, or games drawn with that chance.
    TuningSet synthetic_set(int count, bool drawn, double slope) {
        TuningSet set;
        const TableChange change = known_change();
        std::mt19937 random(21);
        random_positions(count, [&](const Position& p) {
            trace_tables(*hce, p, *trace);
            apply(change);
            const int score = hce_evaluate(*hce, p, 0);
            restore();
            if (std::abs(score) > 1500) return;  // says little, and that in whole centipawns
            const double chance = 1.0 / (1.0 + std::exp(-slope * score));
            const bool won = std::uniform_real_distribution<>(0, 1)(random) < chance;
            const int result = drawn ? result_to_score(won ? 1.0 : 0.0) : score;  // 0.006 a centipawn
            add_position(set, make_training_record(p, result, 0, 0), p, *trace);
        });
        return set;
    }
};

TEST_F(Recovery, expected_results_give_back_the_changed_tables) {
    const TuningSet set = synthetic_set(60000, false, 0.006);
    FitOptions options;
    options.prior = options.smoothness = 0.01;
    double last = 1e9;
    const TableChange made = fit_tables(set, {}, options, [&last](int, double error, double hold_out) {
        EXPECT_EQ(hold_out, 0);
        EXPECT_LE(error, last + 1e-6);
        last = error;
        return true;
    });
    EXPECT_LT(last, 1e-5);                                                    // the scores are whole centipawns
    const TableChange curvature = error_curvature(set, made, options.slope);  // how much the set says about each value
    const TableChange known = known_change();
    int checked = 0;
    for (int v = 0; v < 2 * TABLE_ENTRIES; ++v) {
        const bool is_free = is_free_entry(v / 2);
        if (is_free && curvature[v] <= 0.0001) continue;
        EXPECT_NEAR(made[v], known[v], is_free ? 2.5 : 0) << v;
        checked += is_free;
    }
    EXPECT_GT(checked, 400);
}

// Random games make large scores, so that a set of this size fixes the slope to a few percent.
TEST_F(Recovery, slope_of_drawn_results_is_found) {
    EXPECT_NEAR(fitted_slope(synthetic_set(40000, true, 0.004)), 0.004, 0.0002);
}

// With an overwhelming smoothness a table moves as one, and given entries, which do not move, hold it back. Steps that
// know how the values depend on each other are few.
TEST_F(Recovery, neighbours_and_given_entries_pull) {
    const TuningSet set = synthetic_set(4000, false, 0.006);
    FitOptions options;
    int steps = 0;
    const auto rook = [&] {
        const TableChange change =
            fit_tables(set, set, options, [&steps](int step, double, double) { return steps = step, true; });
        return change[2 * table_entry(TABLE_R, 36) + 1];
    };
    rook();
    EXPECT_LE(steps, 6);
    options.prior = options.smoothness = 0.01;
    EXPECT_GT(rook(), 20);  // every rook is 40 dearer in the ending
    options.smoothness = 1e9;
    EXPECT_NEAR(rook(), 0, 0.1);
}

struct Records : Tuner {
    TuningSet training, hold_out;

    TrainingRecord record(const char* fen, int sc) {
        set_position(position, fen);
        return make_training_record(position, 0, 0, sc);
    }
};

TEST_F(Records, useless_records_are_left_out_by_their_reason) {
    const struct {
        const char* fen;
        int sc;
        std::uint64_t ReadCounts::*counter;
    } cases[] = {
        {"r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq -", 30, &ReadCounts::kept},
        {"4k3/8/8/8/8/8/4r3/4K2R w - -", 0, &ReadCounts::in_check},
        {"4k3/8/8/8/8/8/8/3QK3 w - -", 900, &ReadCounts::known_endgame},
        {"4k3/4p3/8/8/8/8/4P3/3QK3 w - -", 1500, &ReadCounts::kept},
        {"4k3/4p3/8/8/8/8/4P3/3QK3 w - -", -1501, &ReadCounts::decided},
        {"4k3/pp6/8/8/3r4/8/PP6/3RK3 w - -", 500, &ReadCounts::loud},    // the rook hangs
        {"4k3/pp6/2p5/8/3r4/8/PP6/3RK3 b - -", 500, &ReadCounts::kept},  // an even exchange
        {"8/P3k3/8/8/8/8/4p3/6K1 w - -", 100, &ReadCounts::loud},        // the pawn promotes
        {"4k3/4p3/8/8/8/8/8/3QK2P w - -", 0, &ReadCounts::damaged},
    };
    for (const auto& c : cases) {
        ReadCounts counts{};
        training.positions.clear();
        add_records(std::vector{record(c.fen, c.sc)}, {.hold_out = 0}, training, hold_out, counts);
        EXPECT_EQ(counts.read, 1u) << c.fen;
        EXPECT_EQ(counts.*c.counter, 1u) << c.fen;
        EXPECT_EQ(training.positions.size(), counts.kept) << c.fen;
    }
}

TEST_F(Records, hold_out_is_about_its_share_in_whole_blocks) {
    const std::vector<TrainingRecord> records(64 * 1024, record(START_FEN, 0));
    ReadCounts counts{};
    add_records(records, {.hold_out = 25}, training, hold_out, counts);
    const std::size_t held_out = hold_out.positions.size();
    EXPECT_EQ(training.positions.size() + held_out, records.size());
    EXPECT_TRUE(held_out % 1024 == 0 && held_out > 5 * 1024 && held_out < 30 * 1024) << held_out;
}

}  // namespace
