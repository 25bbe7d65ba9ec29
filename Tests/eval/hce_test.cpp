// The hand-crafted evaluation against a second implementation and in the mirror, its pawn hash, and its trace.
#include "eval/hce.h"

#include "captured.h"
#include "eval/eval_trace.h"
#include "eval/network.h"
#include "eval_fixture.h"

#include <algorithm>
#include <cctype>

namespace {

using Hce = EvalFixture;

Bitboard squares_of(const std::string& list) {
    Bitboard squares = 0;
    for (const std::string& square : split_words(list)) {
        if (square != "-") squares |= bit(make_square(square[0] - 'a', square[1] - '1'));
    }
    return squares;
}

// Scores, all subtotals, scale factor, hung and free squares by a slow program: 200 positions of games, then small ones
// that show one term or one rule of drawish endings each. The program that made the data, make_hce_reference.py, is in
// the history up to commit 79c3a6a.
TEST_F(Hce, agrees_with_second_implementation) {
    ASSERT_TRUE(load_params_file(data_file("hce_reference_params.txt").c_str()));
    const auto rows = read_rows(data_file("hce_reference.tsv"));
    EXPECT_GE(rows.size(), 400u);
    for (const auto& fields : rows) {
        SCOPED_TRACE(fields[0]);
        EXPECT_EQ(evaluate_fen(fields[0], 2), std::stoi(fields[1]));
        std::string groups;
        for (const auto& group : hce->scratch.group) {
            for (const PackedScore score : group) groups += std::to_string(static_cast<std::int32_t>(score)) + ' ';
        }
        EXPECT_EQ(groups, fields[2] + ' ');
        EXPECT_NEAR(hce->scratch.scale, std::stof(fields[4]), 1e-6f);
        EXPECT_EQ(hce->scratch.hung, squares_of(fields[5]));
        EXPECT_EQ(hce->scratch.free_passers, squares_of(fields[6]));
    }
}

// Turned by 180 degrees, which exchanges the wings as well, and the other side to move; without castling and en
// passant, which the evaluation does not look at.
std::string colours_exchanged(std::string placement, char side) {
    std::reverse(placement.begin(), placement.end());
    for (char& c : placement) c = std::isupper(c) ? std::tolower(c) : std::toupper(c);
    return placement + (side == 'w' ? " b - -" : " w - -");
}

// Random games: scores with the pawn hash, filled before, are those without it; and neither side of the board is any
// better, nor either colour. Group sums are exact; a blended score may be one off between the colours, as a packed sum
// reads one less in its end-game half above a negative other half. Of two queens only the first one's pins count, which
// is another one in the mirror: such positions are left out.
TEST_F(Hce, mirrored_positions_have_mirrored_scores) {
    const auto other_hce = std::make_unique<HceState>();
    int positions = 0;
    visit_random_positions(30, [&](Board& board) {
        if (count_of(board.position, WHITE, QUEEN) > 1 || count_of(board.position, BLACK, QUEEN) > 1) return;
        const std::string fen = board.fen(), placement = fen.substr(0, fen.find(' '));
        const char side = fen[placement.size() + 1];
        const int score = evaluate_fen(fen, 2);
        EXPECT_EQ(hce_evaluate(*other_hce, position, 1), score) << fen;
        const EvalScratch seen = hce->scratch;

        EXPECT_NEAR(evaluate_fen(colours_exchanged(placement, side)), score, 1) << fen;
        for (int group = 0; group < GROUP_COUNT; ++group) {
            for (const int c : {WHITE, BLACK}) EXPECT_EQ(hce->scratch.group[group][c], seen.group[group][c ^ 1]) << fen;
        }
        ++positions;
    });
    EXPECT_GE(positions, 10000);
    EXPECT_GT(hce->pawn_hits.load(), 1000u);
}

// White: Ka1, Nd4 (hit by e5), h2. Black: Kd8, Ra8, Bb8, a5, e5; Black to move. Phase 0.017 * (3 + 2 * 3 + 5) = 0.238,
// so a pair counts 0.762 * eg + 0.238 * mg. Nd4 is on no outpost, since e5 attacks it, but reaches b5, c6, e6 and f5:
// 33. Hung: -57 reads as -58 above a negative half: -58 * 0.762 - 64 * 0.238 = -59.4. The way of h2 is free; e2 is
// covered by the knight and a1 by the king.
// mg: 335 + 33 - 64 + 100 - 335 - 535 - 200 = -666, eg: 335 + 33 - 57 + 100 - 335 - 535 - 200 = -659, read as -660:
// -158.5 - 502.9 = -661.4. A rook ahead of a knight by 5 points: not scaled.
TEST_F(Hce, trace_shows_terms_apart_from_material) {
    register_params();  // material alone
    const auto set = [](eval_param::Handle weight, int mg, int eg) {
        EvalParams& param = eval_params[weight - eval_params];
        param.packed = static_cast<std::int32_t>(pack(mg, eg));
        param.mg = mg;
        param.eg = eg;
    };
    set(eval_param::hung_minor, -64, -57);
    set(eval_param::knight_outpost, 100, 100);
    derive_hce_weights();
    network.complete = false;  // its score shows as 0
    set_position(position, "rb1k4/8/8/p3p3/3N4/8/7P/K7 b - - 3");
    const auto state = std::make_unique<EvalState>();
    const std::string text = printed([&] { eval_trace(*state, position, -17, 1); });
    for (const char* part :
         {"\npawns:         0      0    -100\nknights:      33      0     335\nbishops:       0      0    -335\n",
          "\nthreats:     -59      0       0\n", "\nhung pieces on:  d4\nfree pawns on:  h2\n",
          "\nnne= 0, hce= 661, qscore= -17, mtl= 635, phase= 0.24, sf= 1.00, rule50= 3\n\n"}) {
        EXPECT_NE(text.find(part), std::string::npos) << part << "is not in\n" << text;
    }
}

}  // namespace
