#include "eval/kpk.h"

#include "eval_fixture.h"
#include "shared_data.h"

#include <fstream>
#include <iterator>
#include <string>

struct Kpk : EvalFixture {
    static void SetUpTestSuite() {
        EvalFixture::SetUpTestSuite();
        build_kpk_table();
    }
};

// The simple rule for promotions (won unless the bare king takes the queen at once) loses nothing: all 196,608
// positions have the result of the endgame tablebase, 111,282 of them wins.
TEST_F(Kpk, every_position_has_the_result_of_the_tablebase) {
    std::ifstream file(data_file("kpk_reference.bin"), std::ios::binary);
    const std::string bits{std::istreambuf_iterator<char>(file), {}};
    ASSERT_EQ(bits.size(), 24576u);
    int wins = 0;
    std::string differences;
    std::size_t index = 0;
    for (int mover = 0; mover < 2; ++mover) {
        for (int pawn = 8; pawn < 56; ++pawn) {
            if (file_of(pawn) > 3) continue;
            for (int kings = 0; kings < 4096; ++kings, ++index) {
                const bool won = (bits[index >> 3] >> (index & 7)) & 1;
                const int strong = kings >> 6;
                const int weak = kings & 63;
                wins += won;
                if (won == (kpk_table[kpk_index(pawn, mover, strong, weak)] == KPK_WIN)) continue;
                differences += std::string(square_names[pawn]) + " K" + square_names[strong] + " k" +
                               square_names[weak] + (mover ? " b" : " w") + (won ? " is won\n" : " is not won\n");
            }
        }
    }
    EXPECT_EQ(differences, "");
    EXPECT_EQ(wins, 111282);
}

// Known by name: the rook pawn with the king in front, the rank-6 king with either side to move, a lost pawn. Every
// entry of a pawn that still stands on its way is decided.
TEST_F(Kpk, textbook_positions_and_no_undecided_entry) {
    const auto square = [](const char* name) { return make_square(name[0] - 'a', name[1] - '1'); };
    const struct {
        const char *pawn, *strong, *weak;
        int mover;
        bool won;
    } cases[] = {
        {"a7", "c7", "a8", 0, false},                                // the pawn is blocked for good
        {"b5", "b6", "b8", 0, true},                                 // king on the sixth in front of the pawn
        {"b5", "b6", "b8", 1, true},  {"d4", "d5", "d7", 0, false},  // opposition: whoever has to move
        {"d4", "d5", "d7", 1, true},  {"c4", "h1", "c5", 1, false},  // the pawn falls
        {"a2", "h8", "h1", 0, true},                                 // outside the square
        {"c7", "d6", "c8", 0, false},                                // Kc6 is stalemate, all else drops the pawn
        {"c7", "d6", "c8", 1, true},                                 // but here Kb7 is forced and Kd7 promotes
    };
    for (const auto& c : cases) {
        const int index = kpk_index(square(c.pawn), c.mover, square(c.strong), square(c.weak));
        EXPECT_EQ(kpk_table[index] == KPK_WIN, c.won) << c.pawn << " K" << c.strong << " k" << c.weak << " " << c.mover;
    }
    for (int pawn = 8; pawn < 56; ++pawn) {
        for (int i = 0; file_of(pawn) < 4 && i < 2 * 4096; ++i) {
            const int value = kpk_table[kpk_index(pawn, i >> 12, (i >> 6) & 63, i & 63)];
            ASSERT_TRUE(value == 1 || value == KPK_WIN) << square_names[pawn] << " " << i;
        }
    }
}
