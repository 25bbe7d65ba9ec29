// Exchange values against a slow independent program.
#include "position/see.h"
#include "board.h"

#include <gtest/gtest.h>

namespace {

int square_of(const std::string& name) {
    return (name[0] - 'a') + (name[1] - '1') * 8;
}

// Moves "e4d5", and squares "-d5" for what can be won there.
TEST(See, agrees_with_an_independent_program) {
    const std::vector<std::string> lines = read_lines(data_file("position/see.tsv"));
    ASSERT_GT(lines.size(), 2000u);
    for (std::size_t i = 1; i < lines.size(); ++i) {
        const std::vector<std::string> row = split_tabs(lines[i]);
        Board board(row[0]);
        const Position& p = board.position;
        const bool threat = row[1][0] == '-';
        const int from = threat ? NO_SQUARE : square_of(row[1]);
        const int to = square_of(row[1].substr(threat ? 1 : 2));
        const int value = std::stoi(row[2]);
        EXPECT_EQ(see(p, p.side, from, to), value) << lines[i];
        if (threat) continue;
        EXPECT_EQ(see_ok(p, make_move_word(from, to)), value >= -70) << lines[i];
    }
    // The victim of en passant counts nothing; the capture is good all the same.
    Board board("4k3/2p5/8/3pP3/8/8/8/4K3 w - d6");
    const int from = square_of("e5"), to = square_of("d6");
    EXPECT_EQ(see(board.position, WHITE, from, to), -100);
    EXPECT_TRUE(see_ok(board.position, make_move_word(from, to)));
}

// Around every value that an exchange comes to, the short answer is that of the whole exchange.
TEST(See, reaches_what_the_exchange_is_worth) {
    int cases = 0, worth_something = 0;
    visit_random_positions(8, [&](Board& board) {
        if (HasFailure()) return;
        const Position& p = board.position;
        const auto compare = [&](int c, int from, int to) {
            const int value = see(p, c, from, to);
            for (const int wanted :
                 {-12000, -1060, -350, -70, -49, 0, 1, 100, 550, 9999, value - 1, value, value + 1}) {
                ASSERT_EQ(see_reaches(p, c, from, to, wanted), value >= wanted)
                    << board.fen() << ' ' << square_names[from] << square_names[to] << ' ' << wanted;
            }
            ++cases;
            worth_something += value != 0;
        };
        for (const MoveEntry& entry : board.pseudo_legal()) compare(p.side, move_from(entry.move), move_to(entry.move));
        for (int square = 0; square < 64; ++square) {
            for (const int c : {WHITE, BLACK}) compare(c, NO_SQUARE, square);
        }
    });
    EXPECT_GT(cases, 100000);
    EXPECT_GT(worth_something, 10000);
}

}  // namespace
