// The evaluation trace, to the letter.
#include "eval/eval_trace.h"

#include "eval/network.h"
#include "eval_fixture.h"

#include <algorithm>

namespace {

struct Trace : EvalFixture {
    std::unique_ptr<EvalState> state = std::make_unique<EvalState>();

    // Without a network, so that its score shows as 0 whatever other tests have loaded.
    const bool network_was_complete = network.complete;
    Trace() { network.complete = false; }
    ~Trace() override { network.complete = network_was_complete; }

    std::string trace(std::string_view fen, int qscore, int detail) {
        set_position(position, fen);
        testing::internal::CaptureStdout();
        eval_trace(*state, position, qscore, detail);
        return testing::internal::GetCapturedStdout();
    }
};

// White: Ka1, Nd4 (hit by e5), h2. Black: Kd8, Ra8, Bb8, a5, e5; Black to move. Phase 0.017 * (3 + 2 * 3 + 5) = 0.238,
// so a pair counts 0.762 * eg + 0.238 * mg.
TEST_F(Trace, breakdown_shows_terms_apart_from_material) {
    clear_weights();
    set_weight("mtl_pawn", 100, 100);
    set_weight("mtl_knight", 388, 392);
    set_weight("mtl_bishop", 387, 399);
    set_weight("mtl_rook", 555, 738);
    set_weight("hung_minor", -64, -57);
    set_weight("knight_outpost", 100, 100);
    set_weight("stm_bonus", 28, 20);
    // Knight 391.0, bishop 396.1, rook 694.4. Nd4 is on no outpost, since e5 attacks it, but reaches b5, c6, e6 and
    // f5: 33. Hung: -57 reads as -58 above a negative half: -58 * 0.762 - 64 * 0.238 = -59.4. The way of h2 is
    // free; e2 is covered by the knight and a1 by the king.
    // mg: 388 + 33 - 64 + 100 - 387 - 555 - 200 - 28 = -713, eg: 392 + 33 - 57 + 100 - 399 - 738 - 200 - 20 = -889,
    // read as -890: -678.2 - 169.7 = -847.9. A rook ahead of a knight by 5 points: not scaled.
    EXPECT_EQ(trace("rb1k4/8/8/p3p3/3N4/8/7P/K7 b - - 3", -17, 1),
              "           white  black      md\n"
              "pawns:         0      0    -100\n"
              "knights:      33      0     391\n"
              "bishops:       0      0    -396\n"
              "rooks:         0      0    -694\n"
              "queens:        0      0       0\n"
              "king:          0      0       0\n"
              "ppawns:        0      0       0\n"
              "threats:     -59      0       0\n"
              "special:       0      0       0\n"
              "hung pieces on:  d4\n"
              "free pawns on:  h2\n"
              "nne= 0, hce= 847, qscore= -17, mtl= 799, phase= 0.24, sf= 1.00, rule50= 3\n\n");
}

TEST_F(Trace, detail_two_lists_every_parameter) {
    set_weight("pawn_isolated", -9, -11);
    for (int square = 0; square < 64; ++square) set_weight("PST_N", square, -square, square);
    const std::string text = trace(START_FEN, 0, 2);
    EXPECT_EQ(trace(START_FEN, 0, 1), text.substr(0, text.find("mtl_pawn")));
    EXPECT_NE(text.find("\n\nmtl_pawn                 100 ,  100\n"
                        "mtl_knight               388 ,  392\n"),
              std::string::npos);
    EXPECT_NE(text.find("\npawn_isolated             -9 ,  -12\n"), std::string::npos);
    EXPECT_NE(text.find("\nstm_bonus                 28 ,   20\nPawn1\n"), std::string::npos);
    EXPECT_NE(text.find("\n\nKnight\n"
                        "  56  57  58  59  60  61  62  63      -56 -57 -58 -59 -60 -61 -62 -63\n"),
              std::string::npos);
    EXPECT_NE(text.find("   0   1   2   3   4   5   6   7        0  -1  -2  -3  -4  -5  -6  -7\n\nBishop\n"),
              std::string::npos);
    EXPECT_EQ(text.find("ttune"), std::string::npos);
    EXPECT_EQ(text.find("PST_"), std::string::npos);
    // 9 groups with their header and 2 closing lines, 43 scalars, 9 tables of a name, 8 ranks and an empty line.
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 12 + 43 + 9 * 10);
}

}  // namespace
