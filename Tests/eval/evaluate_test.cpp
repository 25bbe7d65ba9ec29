#include "eval/evaluate.h"

#include "eval/kpk.h"
#include "network_fixture.h"

#include <fstream>
#include <iterator>
#include <utility>

struct Evaluate : NetworkFixture {
    static void SetUpTestSuite() { build_kpk_table(); }

    int score(std::string_view fen, int ply = 1) {
        set_position(position, fen);
        return evaluate(*eval, position, position.side, ply, false);
    }
};

// Endgames known by material; the score is for the side to move and the cache is not used.
TEST_F(Evaluate, known_endgames_have_their_formulas) {
    load_constant(1234);  // what everything else evaluates to
    const std::pair<const char*, int> cases[] = {
        {"4kb2/8/8/8/8/8/8/4K1N1 w - -", 0},
        {"4k3/8/8/8/8/8/8/2N1K1N1 w - -", 0},
        {"4kn2/8/8/8/8/8/8/2N1K1N1 w - -", 1234},  // both have pieces
        {"4k3/8/8/8/8/8/P7/2N1K1N1 w - -", 1234},  // with a pawn nothing is known
        // Rook: 256 - 16 * 3 (Ke1) + 1000 - 16 * 7 (kings) + 16 * 3 (ke8). Pawns are not looked at.
        {"4k3/8/8/8/8/8/PP6/4K2R b - -", -1144},
        // Three queens 1536, capped at 1500: 1500 - 0 (Kd4) + 1000 - 16 * 4 (kings d4 a8) + 16 * 6 (ka8).
        {"k7/8/8/8/3K4/8/8/5QQQ w - -", 2532},
        // Bishop f1 is light-squared, so ka8 is seen as h8: 16 * 9 + 900 + 8 * 2 (Ke5) - 8 * 4 (kings).
        {"k7/8/8/4K3/8/8/8/4NB2 b - -", -1028},
        // Black's bishop c8 (light), king on the edge, against Kh1 seen as a1: 16 * 9 + 900 + 0 - 8 * 7.
        {"k1b1n3/8/8/8/8/8/8/7K b - -", 988},
        // Kb6, pawn b5, kb8: 0 + 4 * 4 - 2, and won. The same from the other side, and with colours turned.
        {"1k6/8/1K6/1P6/8/8/8/8 b - -", -814},
        {"8/8/8/8/6p1/6k1/8/6K1 b - -", 814},
        // Rook pawn, blocked for good: 0 + 4 * 6 - 3.
        {"k7/P7/8/2K5/8/8/8/8 b - -", -21},
    };
    for (const auto& [fen, expected] : cases) {
        EXPECT_EQ(score(fen, 3), expected) << fen;
        EXPECT_EQ(eval->cache[position.key % 16384].key == position.key, expected == 1234) << fen;
    }
    set_position(position, "4k3/8/8/8/8/8/4r3/4K3 w - -");
    EXPECT_EQ(evaluate(*eval, position, WHITE, 7, true), -9993) << "in check it is mate distance and nothing else";
}

// The cache answers from ply 3 on, is filled at any ply, and is emptied when the evaluator changes.
TEST_F(Evaluate, cache_answers_below_the_root_moves_only) {
    load_constant(50);
    for (const auto& [ply, expected] : {std::pair{1, 50}, {2, 50}, {3, 777}}) {
        EXPECT_EQ(score(START_FEN, ply), expected);
        eval->cache[position.key % 16384].score = 777;
    }
    load_constant(60);
    EXPECT_EQ(score(START_FEN, 3), 60);
}

// A quarter is taken off the network's score when bishops of different colours are all that is left.
TEST_F(Evaluate, opposite_bishops_scale_the_network_score) {
    const std::pair<const char*, bool> cases[] = {
        {"2b1k1n1/pp6/8/8/8/8/PPP5/2B1K3 w - -", true},   // c8 light, c1 dark; knights do not matter
        {"4kb2/pp6/8/8/8/8/PPP5/2B1K3 w - -", false},     // f8 and c1 are both dark
        {"2b1kb2/pp6/8/8/8/8/PPP5/2B1K3 w - -", false},   // two bishops
        {"2b1k2r/pp6/8/8/8/8/PPP5/2B1K2R w - -", false},  // rooks
    };
    load_constant(-103);  // -103 - (-25) = -78
    for (const auto& [fen, is_scaled] : cases) EXPECT_EQ(score(fen), is_scaled ? -78 : -103) << fen;
}

// With full material, 8520 points, Contempt 100 is worth 100.24 and the constant part 15.07; of the rooks, with 500,
// they are 5.9 and -13.2. Neither counts in a short game or a static display.
TEST_F(Evaluate, contempt_favours_the_side_that_searches) {
    load_constant(0);
    const char* const rooks = "r3k3/p7/8/8/8/8/P7/R3K3 w - -";
    const struct {
        const char* fen;
        int game_ply, root_side, no_contempt, contempt, weight, expected;
    } cases[] = {
        {START_FEN, 5, WHITE, 0, 0, 15, 15}, {START_FEN, 5, BLACK, 0, 100, 15, -115},
        {START_FEN, 4, WHITE, 0, 0, 15, 0},  {START_FEN, 5, WHITE, 1, 0, 15, 0},
        {rooks, 5, WHITE, 0, 100, 15, -7},   {rooks, 5, WHITE, 0, 100, 0, 5},
    };
    for (const auto& c : cases) {
        set_position(position, c.fen);
        game->game_ply = c.game_ply;
        eval->root_side = c.root_side;
        eval->no_contempt = c.no_contempt;
        settings.contempt = c.contempt;
        settings.contempt_weight = c.weight;
        EXPECT_EQ(evaluate(*eval, position, WHITE, 1, false), c.expected) << c.fen << c.game_ply << c.root_side;
    }
}

// The simple rule for promotions (won unless the bare king takes the queen at once) loses nothing: all 196,608
// positions have the result of the endgame tablebase, 111,282 of them wins. By mover (0: the pawn's side), pawn (a2 to
// d2, a3 to d3 ...), strong and weak king, a bit each, the lowest of a byte first. The program that made the data,
// make_kpk_reference.py, is in the history up to commit 79c3a6a.
TEST_F(Evaluate, every_pawn_ending_has_the_result_of_the_tablebase) {
    std::ifstream file(data_file("kpk_reference.bin"), std::ios::binary);
    const std::string bits{std::istreambuf_iterator<char>(file), {}};
    ASSERT_EQ(bits.size(), 24576u);
    int wins = 0;
    for (int index = 0; index < 196608; ++index) {
        const int mover = index / 98304, number = index / 4096 % 24, strong = index / 64 % 64, weak = index % 64;
        const int pawn = make_square(number % 4, number / 4 + 1);
        const bool won = (bits[index / 8] >> index % 8) & 1;
        wins += won;
        EXPECT_EQ(kpk_table[kpk_index(pawn, mover, strong, weak)] == KPK_WIN, won) << index;
    }
    EXPECT_EQ(wins, 111282);
}
