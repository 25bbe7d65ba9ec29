// The tuner: its linear terms against the evaluation itself, and known tables found again from synthetic records.
#include "tools/tune/fit.h"
#include "tools/tune/params_text.h"
#include "tools/tune/table_trace.h"
#include "tools/tune/tuning_set.h"

#include "eval/evaluate.h"
#include "position/board.h"

#include <gtest/gtest.h>

#include <fstream>

namespace {

// Both kings on either wing, drawish endings, a board full of pieces, and pawns on every square.
constexpr const char* ROOTS[] = {
    START_FEN,
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -",
    "2kr3r/ppp2ppp/8/8/8/8/PPP2PPP/R4RK1 b - -",
    "4k3/pp3ppp/4b3/8/8/4B3/PP3PPP/4K3 w - -",
    "8/2k1p3/3p4/2p5/2P1N3/3P1PK1/5P2/3b4 w - -",
    "1k6/1pp3r1/8/3R4/8/5P2/6PP/6K1 b - -",
    "8/PPPPPPPP/4k3/8/8/8/8/4K3 w - -",
    "4k3/8/8/8/8/4K3/pppppppp/8 b - -",
};

class Tuner : public testing::Test {
protected:
    void SetUp() override {
        init_game_state(*game, position);
        load_defaults();
        restore();
    }
    void TearDown() override { load_defaults(); }

    static void load_defaults() {
        register_params();
        load_default_params();
    }
    // The same from a copy, much faster than from text.
    static void restore() {
        static const std::vector<EvalParams> copy(eval_params, eval_params + MAX_EVAL_PARAMS);
        std::copy(copy.begin(), copy.end(), eval_params);
        derive_hce_weights();
    }

    // Calls visit(position) for the positions of random games of 80 plies from the roots in turn.
    template <class Visit>
    void random_positions(int count, unsigned seed, Visit visit) {
        std::mt19937 random(seed);
        for (int root = 0; count > 0; root = (root + 1) % static_cast<int>(std::size(ROOTS))) {
            set_position(position, ROOTS[root]);
            for (int ply = 0; ply < 80 && count > 0; ++ply) {
                const std::vector<Move> moves = legal_moves(position);
                if (moves.empty()) break;
                make_move(position, moves[random() % moves.size()]);
                visit(position);
                --count;
            }
        }
    }

    static EvalParams& param_of(int entry) { return eval_params[first_table_param + entry]; }
    // Adds to a value of the registry; derive_hce_weights must follow.
    static void add_to(int entry, int mg, int eg) {
        EvalParams& param = param_of(entry);
        param.mg += static_cast<float>(mg);
        param.eg += static_cast<float>(eg);
        param.packed = static_cast<std::int32_t>(pack(static_cast<int>(param.mg), static_cast<int>(param.eg)));
    }

    PackedScore packed_difference() {
        hce_evaluate(*hce, position, 0);
        return hce->scratch.score[WHITE] - hce->scratch.score[BLACK];
    }

    std::unique_ptr<GameState> game = std::make_unique<GameState>();
    std::unique_ptr<HceState> hce = std::make_unique<HceState>();
    std::unique_ptr<TableTrace> trace = std::make_unique<TableTrace>();
    Position position{};
};

// Packed sums are exact: a change of the tables must show in them to the last bit.
TEST_F(Tuner, traced_counts_predict_the_packed_sum_of_any_tables) {
    std::mt19937 random(3);
    std::vector<std::uint64_t> seen(TABLE_ENTRIES);
    random_positions(20000, 11, [&](const Position& p) {
        trace_tables(*hce, p, *trace);
        PackedScore predicted = packed_difference();
        for (int entry = 0; entry < TABLE_ENTRIES; ++entry) {
            const int mg = static_cast<int>(random() % 101) - 50, eg = static_cast<int>(random() % 101) - 50;
            add_to(entry, mg, eg);
            const int count = trace->count[entry];
            ASSERT_LE(std::abs(count), 1);
            predicted += static_cast<PackedScore>(count) * pack(mg, eg);
            seen[entry] += count != 0;
        }
        derive_hce_weights();
        EXPECT_EQ(packed_difference(), predicted) << position_to_fen(p, false);
        restore();
    });
    int never_seen = 0;
    for (int entry = 0; entry < TABLE_ENTRIES; ++entry) {
        if (!is_used_entry(entry)) { EXPECT_EQ(seen[entry], 0u) << entry; }
        never_seen += is_used_entry(entry) && !seen[entry];
    }
    EXPECT_LT(never_seen, 5);
}

// One pawn worth (-9, -11): phase 0.017; the side ahead, Black, has no pawn, which scales by 0.65.
TEST_F(Tuner, trace_keeps_fractions_of_centipawns) {
    for (EvalParams& param : eval_params) param.packed = 0, param.mg = param.eg = 0;
    add_to(table_entry(TABLE_P1, 12), -9, -11);
    derive_hce_weights();
    set_position(position, "4k3/8/8/8/8/8/4P3/4K3 b - -");
    trace_tables(*hce, position, *trace);
    EXPECT_NEAR(trace->mg_factor, 0.65 * 0.017, 1e-5);
    EXPECT_NEAR(trace->eg_factor, 0.65 * 0.983, 1e-5);
    EXPECT_NEAR(trace->score, 0.65 * (0.017 * -9 + 0.983 * -11), 1e-4);
    EXPECT_EQ(trace->count[table_entry(TABLE_P1, 12)], 1);
    EXPECT_EQ(trace->count[table_entry(TABLE_K, 4)], 0);  // both kings at home
}

TEST_F(Tuner, unchanged_text_is_the_default_text) {
    EXPECT_EQ(params_text(TableChange{}),
              std::string(default_params, static_cast<std::size_t>(default_params_end - default_params)));
}

TEST_F(Tuner, changed_text_rounds_and_is_read_back) {
    TableChange change{};
    const int entry = table_entry(TABLE_Q, 27);
    const EvalParams before = param_of(entry);
    change[2 * entry] = 1.6;
    change[2 * entry + 1] = -2.4;
    load_params_text(params_text(change));
    EXPECT_EQ(param_of(entry).mg, before.mg + 2);
    EXPECT_EQ(param_of(entry).eg, before.eg - 2);
    EXPECT_EQ(param_of(entry + 1).packed, param_of(entry + 1).packed);
    EXPECT_STREQ(eval_params[eval_param_count - 1].name, "ttune");
}

// Every value is as dear as the next, but those of one table cost nothing: they alone change, and as little as
// possible.
TEST_F(Tuner, text_gets_the_asked_length_where_it_costs_least) {
    const std::size_t length = params_text(TableChange{}).size();
    TableChange curvature;
    for (std::size_t v = 0; v < curvature.size(); ++v) curvature[v] = v / 128 == TABLE_Q ? 0 : 1;
    for (const int by : {-20, -1, 0, 1, 20}) {
        TableChange change{};
        ASSERT_TRUE(fit_text_length(change, curvature, length + by));
        EXPECT_EQ(params_text(change).size(), length + by);
        int changed = 0;
        for (std::size_t v = 0; v < change.size(); ++v) {
            changed += change[v] != 0;
            if (v / 128 != TABLE_Q) { EXPECT_EQ(change[v], 0) << v; }
        }
        EXPECT_EQ(changed, std::abs(by));
    }
    TableChange change{};
    change[2 * table_entry(TABLE_Q, 27)] = 0.25;
    EXPECT_FALSE(fit_text_length(change, curvature, length + 5000));
    EXPECT_EQ(change[2 * table_entry(TABLE_Q, 27)], 0.25);
}

TEST_F(Tuner, given_entries_are_not_free) {
    struct {
        TableId table;
        int square;
        bool free;
    } const cases[] = {
        {TABLE_N, 3, false},   {TABLE_N, 4, true},    {TABLE_B, 1, false},   {TABLE_B, 2, true},
        {TABLE_K, 3, false},   {TABLE_K, 4, false},   {TABLE_K, 7, false},   {TABLE_K, 12, true},
        {TABLE_K, 11, false},  {TABLE_P1, 7, false},  {TABLE_P1, 9, false},  {TABLE_P1, 10, true},
        {TABLE_P2, 56, false}, {TABLE_DP, 10, false}, {TABLE_DP, 17, false}, {TABLE_DP, 18, true},
    };
    for (const auto& c : cases) EXPECT_EQ(is_free_entry(table_entry(c.table, c.square)), c.free) << c.table << c.square;
}

// What the records of other tables say: the score, or a game's result drawn from its probability.
struct Labels {
    bool from_score;
    double slope;
};

class Recovery : public Tuner {
protected:
    // A few changes of each kind: a pawn table each, a piece, the king, whole material.
    static void change_tables() {
        for (int square = 0; square < 64; ++square) {
            if (is_free_entry(table_entry(TABLE_R, square))) add_to(table_entry(TABLE_R, square), 0, 40);
        }
        add_to(table_entry(TABLE_N, 21), 30, -20);   // f3
        add_to(table_entry(TABLE_P1, 28), 25, 10);   // e4
        add_to(table_entry(TABLE_P2, 15), -30, 20);  // h2
        add_to(table_entry(TABLE_CP, 27), 20, 0);    // d4
        add_to(table_entry(TABLE_DP, 20), 15, 15);   // e3
        add_to(table_entry(TABLE_K, 12), -40, 30);   // e2
        derive_hce_weights();
    }

    void synthetic_set(int count, const Labels& labels, TuningSet& set) {
        std::mt19937 random(21);
        random_positions(count, 5, [&](const Position& p) {
            trace_tables(*hce, p, *trace);
            change_tables();
            const int score = hce_evaluate(*hce, p, 0);
            restore();
            if (std::abs(score) > 1500) return;  // says little, and that in whole centipawns
            const double chance = 1.0 / (1.0 + std::exp(-labels.slope * score));
            const bool won = std::uniform_real_distribution<>(0, 1)(random) < chance;
            const int result = labels.from_score ? 0 : result_to_score(won ? 1.0 : 0.0);
            add_position(set, make_training_record(p, result, 0, labels.from_score ? score : 0), p, *trace);
        });
    }
};

TEST_F(Recovery, exact_scores_give_back_the_changed_tables) {
    TuningSet set;
    synthetic_set(30000, {true, 0.006}, set);
    set_targets(set, 0.0, 0.006);
    FitOptions options;
    options.prior = options.smoothness = 0.01;
    options.average = 0;
    options.iterations = 1000;
    double last = 1e9;
    const TableChange change = fit_tables(set, TuningSet{}, options, [&](int, double loss, double hold_out) {
        EXPECT_EQ(hold_out, 0);
        EXPECT_LE(loss, last + 1e-6);
        last = loss;
        return true;
    });
    // How often the set shows each value, in full strength.
    std::vector<double> shown(2 * TABLE_ENTRIES);
    for (const TuningPosition& row : set.positions) {
        for (int i = 0; i < row.terms; ++i) {
            const int entry = set.terms[row.first_term + i] & ~TERM_OF_BLACK;
            shown[2 * entry] += row.mg_factor * row.mg_factor;
            shown[2 * entry + 1] += row.eg_factor * row.eg_factor;
        }
    }
    change_tables();
    std::vector<EvalParams> wanted(&param_of(0), &param_of(0) + TABLE_ENTRIES);
    load_defaults();
    int checked = 0;
    for (int entry = 0; entry < TABLE_ENTRIES; ++entry) {
        const double made[] = {change[2 * entry], change[2 * entry + 1]};
        const double known[] = {wanted[entry].mg - param_of(entry).mg, wanted[entry].eg - param_of(entry).eg};
        for (const int half : {0, 1}) {
            if (!is_free_entry(entry)) {
                EXPECT_EQ(made[half], 0) << entry;
            } else if (shown[2 * entry + half] > 150) {
                EXPECT_NEAR(made[half], known[half], 2.5) << entry;  // the scores are whole centipawns
                ++checked;
            }
        }
    }
    EXPECT_GT(checked, 300);
}

TEST_F(Recovery, slope_of_drawn_results_is_found) {
    TuningSet set;
    synthetic_set(40000, {false, 0.004}, set);
    // Random games make large scores, so that a set of this size fixes the slope to a few percent.
    EXPECT_NEAR(fitted_slope(set), 0.004, 0.0002);
}

TEST_F(Recovery, fit_does_not_depend_on_threads_and_pulls_hold_it) {
    TuningSet set;
    synthetic_set(6000, {true, 0.006}, set);
    set_targets(set, 0.0, 0.006);
    FitOptions options;
    options.iterations = 12;
    const auto go_on = [](int, double, double) { return true; };
    const TableChange one = fit_tables(set, set, options, go_on);
    options.threads = 2;
    EXPECT_EQ(one, fit_tables(set, set, options, go_on));
    EXPECT_LT(mean_loss(set, one, options.slope, 1), mean_loss(set, TableChange{}, options.slope, 1));
    // An average held without compromise: every rook is 40 dearer in the ending, and no table may say so.
    const auto rook_average = [](const TableChange& change) {
        double sum = 0;
        for (int square = 0; square < 64; ++square) sum += change[2 * table_entry(TABLE_R, square) + 1];
        return sum / 64;
    };
    options.iterations = 100;
    options.prior = options.smoothness = 0.01;
    options.average = 0;
    EXPECT_NEAR(rook_average(fit_tables(set, set, options, go_on)), 40, 20);
    options.average = 1000;
    EXPECT_NEAR(rook_average(fit_tables(set, set, options, go_on)), 0, 8);
    options.prior = 1e9;
    for (const double value : fit_tables(set, set, options, go_on)) EXPECT_NEAR(value, 0, 0.1);
}

class RecordFiles : public Tuner {
protected:
    std::string name = testing::TempDir() + "tarn_tune_test.bin";

    void write(const std::vector<TrainingRecord>& records, int extra_bytes = 0) {
        std::ofstream out(name, std::ios::binary);
        out.write(reinterpret_cast<const char*>(records.data()),
                  static_cast<std::streamsize>(records.size() * sizeof(TrainingRecord)));
        for (int i = 0; i < extra_bytes; ++i) out.put('x');
    }
    TrainingRecord record(const char* fen, int result, int sc) {
        set_position(position, fen);
        return make_training_record(position, result, 0, sc);
    }
};

TEST_F(RecordFiles, useless_records_are_left_out_by_their_reason) {
    struct {
        const char* fen;
        int sc;
        std::uint64_t ReadCounts::*counter;
    } const cases[] = {
        {START_FEN, 30, &ReadCounts::kept},
        {"r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq -", 30, &ReadCounts::kept},
        {"4k3/8/8/8/8/8/4r3/4K2R w - -", 0, &ReadCounts::in_check},
        {"4k3/8/8/8/8/8/8/3QK3 w - -", 900, &ReadCounts::known_endgame},
        {"4k3/4p3/8/8/8/8/4P3/3QK3 w - -", 1501, &ReadCounts::decided},
        {"4k3/4p3/8/8/8/8/4P3/3QK3 w - -", -1501, &ReadCounts::decided},
        {"4k3/pp6/8/8/3r4/8/PP6/3RK3 w - -", 500, &ReadCounts::loud},    // the rook hangs
        {"4k3/pp6/2p5/8/3r4/8/PP6/3RK3 b - -", 500, &ReadCounts::kept},  // an even exchange
        {"8/P3k3/8/8/8/8/4p3/6K1 w - -", 100, &ReadCounts::loud},        // the pawn promotes
        {"4k3/4k3/8/8/8/8/4P3/3QK3 w - -", 0, &ReadCounts::damaged},
        {"4k3/4p3/8/8/8/8/8/3QK2P w - -", 0, &ReadCounts::damaged},
    };
    for (const auto& c : cases) {
        write({record(c.fen, 0, c.sc)});
        TuningSet training, hold_out;
        ReadOptions options;
        options.hold_out = 0;
        ReadCounts counts{};
        ASSERT_TRUE(read_records(name.c_str(), options, training, hold_out, counts));
        EXPECT_EQ(counts.read, 1u) << c.fen;
        EXPECT_EQ(counts.*c.counter, 1u) << c.fen;
        EXPECT_EQ(training.positions.size(), counts.kept) << c.fen;
    }
}

TEST_F(RecordFiles, labels_turn_to_the_side_of_white) {
    const char* fens[] = {"rnbqkbnr/pppp1ppp/8/4p3/8/8/PPPPPPPP/RNBQKBNR w KQkq -",
                          "rnbqkbnr/pppp1ppp/8/4p3/8/8/PPPPPPPP/RNBQKBNR b KQkq -"};
    write({record(fens[0], 2300, 40), record(fens[1], -2302, -40)}, 17);
    TuningSet training, hold_out;
    ReadOptions options;
    options.hold_out = 0;
    ReadCounts counts{};
    ASSERT_TRUE(read_records(name.c_str(), options, training, hold_out, counts));
    ASSERT_EQ(training.positions.size(), 2u);
    set_targets(training, 0.75, 0.006);
    for (const TuningPosition& row : training.positions) {
        EXPECT_NEAR(row.result, 1.0, 1e-5);
        EXPECT_EQ(row.search_score, 40);
        EXPECT_NEAR(row.target, 0.75 + 0.25 * 0.559714, 1e-5);  // 1 / (1 + e^-0.24)
    }
    EXPECT_FALSE(read_records("no such file.bin", options, training, hold_out, counts));
}

TEST_F(RecordFiles, hold_out_is_about_its_share_in_whole_blocks_and_the_seed_decides) {
    write(std::vector<TrainingRecord>(64 * 1024, record(START_FEN, 0, 0)));
    const auto held_out = [this](std::uint64_t seed) {
        TuningSet training, hold_out;
        ReadOptions options;
        options.seed = seed;
        options.hold_out = 0.25;
        ReadCounts counts{};
        EXPECT_TRUE(read_records(name.c_str(), options, training, hold_out, counts));
        EXPECT_EQ(training.positions.size() + hold_out.positions.size(), 64u * 1024);
        return hold_out.positions.size();
    };
    const std::size_t first = held_out(1);
    EXPECT_EQ(first % 1024, 0u);
    EXPECT_GT(first, 5u * 1024);
    EXPECT_LT(first, 30u * 1024);
    EXPECT_EQ(held_out(1), first);
    EXPECT_NE(held_out(2), first);
}

}  // namespace
