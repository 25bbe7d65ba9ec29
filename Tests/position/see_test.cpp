// Exchange values against a slow independent program.
#include "position/see.h"
#include "board.h"

#include <gtest/gtest.h>

// Moves "e4d5", and squares "-d5" for what can be won there. The last row is ours: the victim of en passant counts
// nothing, the capture is good all the same. Around the value the short answer changes.
TEST(See, agrees_with_an_independent_program) {
    auto rows = read_rows(data_file("position/see.tsv"));
    ASSERT_GT(rows.size(), 2000u);
    rows.push_back({"4k3/2p5/8/3pP3/8/8/8/4K3 w - d6", "e5d6", "-100"});
    const auto square = [](std::string_view name) { return make_square(name[0] - 'a', name[1] - '1'); };
    for (const auto& row : rows) {
        const Board board(row[0]);
        const Position& p = board.position;
        const bool threat = row[1][0] == '-';
        const int from = threat ? NO_SQUARE : square(row[1]);
        const int to = square(row[1].substr(threat ? 1 : 2));
        const int value = std::stoi(row[2]);
        EXPECT_EQ(see(p, p.side, from, to), value) << row[0] << ' ' << row[1];
        for (const int wanted : {-12000, -1060, -350, -70, -49, 0, 1, 100, 550, 9999, value - 1, value, value + 1}) {
            EXPECT_EQ(see_reaches(p, p.side, from, to, wanted), value >= wanted) << row[0] << ' ' << row[1] << wanted;
        }
        if (threat) continue;
        EXPECT_EQ(see_ok(p, make_move_word(from, to)), value >= -70 || to == p.ep_square) << row[0] << ' ' << row[1];
    }
}
