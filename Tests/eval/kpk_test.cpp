#include "eval/kpk.h"

#include "eval_fixture.h"
#include "shared_data.h"

#include <fstream>
#include <iterator>
#include <string>

struct Kpk : EvalFixture {
    static void SetUpTestSuite() { build_kpk_table(); }
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
