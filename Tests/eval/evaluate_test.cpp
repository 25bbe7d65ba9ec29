#include "eval/evaluate.h"

#include "eval/kpk.h"
#include "network_fixture.h"

struct Evaluate : NetworkFixture {
    static void SetUpTestSuite() { build_kpk_table(); }

    int score(std::string_view fen, int ply = 1) {
        set_position(position, fen);
        return evaluate(*eval, position, position.side, ply, false);
    }
};

// Endgames known by material, by the formulas; the score is for the side to move and the cache is not used.
TEST_F(Evaluate, known_endgames_have_their_formulas) {
    load_constant(1234);  // what everything else evaluates to
    const struct {
        const char* fen;
        int score;
    } cases[] = {
        {"4k3/8/8/8/8/8/8/4K3 w - -", 0},
        {"4kb2/8/8/8/8/8/8/4K1N1 w - -", 0},
        {"4kb2/8/8/8/8/8/8/4K3 w - -", 0},
        {"4k3/8/8/8/8/8/8/2N1K1N1 w - -", 0},
        {"2n1k1n1/8/8/8/8/8/8/4K3 w - -", 0},
        {"4kn2/8/8/8/8/8/8/2N1K1N1 w - -", 1234},  // both have pieces
        {"4k3/8/8/8/8/8/P7/2N1K1N1 w - -", 1234},  // with a pawn nothing is known
        {"4k3/8/8/8/8/8/8/2B1KB2 w - -", 1234},
        {"4k3/8/8/8/8/8/PP6/4K3 w - -", 1234},
        {"4k3/8/8/8/8/8/P7/4KBN1 w - -", 1234},
        // Rook: 256 - 16 * 3 (Ke1) + 1000 - 16 * 7 (kings) + 16 * 3 (ke8).
        {"4k3/8/8/8/8/8/8/4K2R w - -", 1144},
        {"4k3/8/8/8/8/8/8/4K2R b - -", -1144},
        {"4k2r/8/8/8/8/8/8/4K3 w - -", -1144},
        {"4k3/8/8/8/8/8/PP6/4K2R w - -", 1144},  // pawns are not looked at
        // Queen 512 - 16 * 0 (Kd4) + 1000 - 16 * 4 (kings d4 a8) + 16 * 6 (ka8).
        {"k7/8/8/8/3K4/8/8/7Q w - -", 1544},
        // Three queens 1536, capped at 1500: 1500 - 0 + 1000 - 64 + 96.
        {"k7/8/8/8/3K4/8/8/5QQQ w - -", 2532},
        // Bishop f1 is light-squared, so ka8 is seen as h8: 16 * 9 + 900 + 8 * 2 (Ke5) - 8 * 4 (kings).
        {"k7/8/8/4K3/8/8/8/4NB2 w - -", 1028},
        {"k7/8/8/4K3/8/8/8/4NB2 b - -", -1028},
        // Bishop c1 is dark-squared, a8 is the wrong corner: 16 * 2 + 900 + 16 - 32.
        {"k7/8/8/4K3/8/8/8/2B1N3 w - -", 916},
        // The same for Black, king on the edge: bishop c8 (light) against Kh1 seen as a1: 16 * 9 + 900 + 0 - 8 * 7.
        {"k1b1n3/8/8/8/8/8/8/7K b - -", 988},
        // Pawn e2 (looked up as d2), kings e1 e8: dB = 0, 4 * 1, dW = 7; won by the opposition only if Black moves.
        {"4k3/8/8/8/8/8/4P3/4K3 w - -", 0 + 4 - 7 + 800},
        // Kb6, pawn b5, kb8: dB = 0, 4 * 4, dW = 2, and won.
        {"1k6/8/1K6/1P6/8/8/8/8 w - -", 814},
        {"1k6/8/1K6/1P6/8/8/8/8 b - -", -814},
        {"6k1/8/6K1/6P1/8/8/8/8 w - -", 814},
        // The same with colours turned: Black's Kb3, pawn b4, White's kb1.
        {"8/8/8/8/1p6/1k6/8/1K6 b - -", 814},
        {"8/8/8/8/1p6/1k6/8/1K6 w - -", -814},
        {"8/8/8/8/6p1/6k1/8/6K1 b - -", 814},
        // Rook pawn, blocked for good: dB = 0, 4 * 6, dW = 3.
        {"k7/P7/8/2K5/8/8/8/8 b - -", -(24 - 3)},
    };
    for (const auto& c : cases) {
        const std::uint64_t probes = eval->probes;
        EXPECT_EQ(score(c.fen, 3), c.score) << c.fen;
        EXPECT_EQ(eval->probes, probes + 1);
        const EvalCacheEntry& slot = eval->cache[position.key % 16384];
        EXPECT_EQ(slot.key == position.key, c.score == 1234) << c.fen;
    }
    EXPECT_EQ(eval->hits, 0u);
}

TEST_F(Evaluate, in_check_is_mate_distance_and_nothing_else) {
    load_constant(50);
    set_position(position, "4k3/8/8/8/8/8/4r3/4K3 w - -");
    EXPECT_EQ(evaluate(*eval, position, WHITE, 7, true), -9993);
    EXPECT_EQ(eval->probes, 1u);
    EXPECT_EQ(eval->ply, 7);
}

// The cache answers from ply 3 on, is filled at any ply, and is emptied when the evaluator changes.
TEST_F(Evaluate, cache_answers_below_the_root_moves_only) {
    load_constant(50);
    const char* const fen = START_FEN;
    EXPECT_EQ(score(fen, 1), 50);
    eval->cache[position.key % 16384].score = 777;
    EXPECT_EQ(score(fen, 2), 50);
    eval->cache[position.key % 16384].score = 777;
    EXPECT_EQ(score(fen, 3), 777);
    EXPECT_EQ(eval->hits, 1u);
    EXPECT_EQ(eval->probes, 3u);

    settings.use_nn = 0;
    invalidate_eval_caches();
    EXPECT_EQ(score(fen, 3), 28);  // the hand-crafted bonus for the move
    settings.use_nn = 1;
    invalidate_eval_caches();
    EXPECT_EQ(score(fen, 3), 50);
    load_constant(60);
    EXPECT_EQ(score(fen, 3), 60);
}

// A quarter is taken off the network's score when bishops of different colours are all that is left; not off the
// hand-crafted one.
TEST_F(Evaluate, opposite_bishops_scale_the_network_score) {
    const struct {
        const char* fen;
        bool scaled;
    } cases[] = {
        {"2b1k3/pp6/8/8/8/8/PPP5/2B1K3 w - -", true},     // c8 light, c1 dark
        {"2b1k1n1/pp6/8/8/8/8/PPP5/2B1K3 w - -", true},   // knights do not matter
        {"4kb2/pp6/8/8/8/8/PPP5/2B1K3 w - -", false},     // f8 and c1 are both dark
        {"2b1kb2/pp6/8/8/8/8/PPP5/2B1K3 w - -", false},   // two bishops
        {"2b1k2r/pp6/8/8/8/8/PPP5/2B1K2R w - -", false},  // rooks
        {"2b1k3/pp6/8/8/8/8/PPP5/2B1K2Q w - -", false},
    };
    for (const std::int16_t value : {-7, 100}) {
        load_constant(value);
        const int scaled = value == -7 ? -6 : 75;  // -7 - (-1), 100 - 25
        for (const auto& c : cases) EXPECT_EQ(score(c.fen), c.scaled ? scaled : value) << c.fen;
    }
    settings.use_nn = 0;
    set_position(position, cases[0].fen);
    const int by_hand = hce_evaluate(*hce, position, 1);
    EXPECT_EQ(score(cases[0].fen), by_hand);
}

TEST_F(Evaluate, contempt_favours_the_side_that_searches) {
    load_constant(0);
    const char* const full = START_FEN;
    // Thirteen pawns count 1200: m = 2 * 1200, c = 15 * (2400 - 4250) / 4250 = -6.5.
    const char* const pawns = "4k3/pppppp2/8/8/8/8/PPPPPPP1/4K3 w - -";
    // Both rooks: M = 1100 - 1000, m = 100 + 2 * 200: 15 * -3750 / 4250 = -13.2; Contempt 100 adds 500 / 85 = 5.9.
    const char* const rooks = "r3k3/p7/8/8/8/8/P7/R3K3 w - -";
    const struct {
        const char* what;
        const char* fen;
        int game_ply, root_side, no_contempt, contempt, weight, expected;
    } cases[] = {
        {"full material", full, 5, WHITE, 0, 0, 15, 15},
        {"for the other side", full, 5, BLACK, 0, 0, 15, -15},
        {"game too short", full, 4, WHITE, 0, 0, 15, 0},
        {"static display", full, 5, WHITE, 1, 0, 15, 0},
        {"pawns", pawns, 5, WHITE, 0, 0, 15, -6},
        {"rooks", rooks, 5, WHITE, 0, 0, 15, -13},
        {"rooks, contempt", rooks, 5, WHITE, 0, 100, 15, -7},            // -13.24 + 5.88 = -7.35
        {"full material, contempt", full, 5, WHITE, 0, 100, 15, 115},    // 15.07 + 100.24
        {"full material, negative", full, 5, WHITE, 0, -150, 15, -135},  // 15.07 - 150.35 = -135.28
        {"no weight", rooks, 5, WHITE, 0, 100, 0, 5},
    };
    for (const auto& c : cases) {
        set_position(position, c.fen);
        game->game_ply = static_cast<std::int16_t>(c.game_ply);
        eval->root_side = static_cast<std::uint8_t>(c.root_side);
        eval->no_contempt = static_cast<std::uint8_t>(c.no_contempt);
        settings.contempt = static_cast<std::int16_t>(c.contempt);
        settings.contempt_weight = static_cast<std::int16_t>(c.weight);
        EXPECT_EQ(evaluate(*eval, position, WHITE, 1, false), c.expected) << c.what;
    }
}
