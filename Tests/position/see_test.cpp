// Exchange values by hand and against a slow independent program.
#include "position/see.h"
#include "board.h"

#include <gtest/gtest.h>

namespace {

int square_of(const std::string& name) {
    return (name[0] - 'a') + (name[1] - '1') * 8;
}

TEST(See, hand_worked_exchanges) {
    const struct {
        const char* fen;
        const char* move;
        int value;
        bool ok;
    } rows[] = {
        {"4k3/8/2p5/3n4/4P3/8/8/4K3 w - -", "e4d5", 350 - 100, true},
        {"4k3/8/2p5/3p4/8/8/8/3QK3 w - -", "d1d5", 100 - 1060, false},
        {"4k3/8/8/3p4/8/8/8/3RK3 w - -", "d1d5", 100, true},
        {"4k3/8/2p5/3r4/8/2N5/8/4K3 w - -", "c3d5", 550 - 350, true},
        {"4k3/8/2p5/3p4/4K3/8/8/8 w - -", "e4d5", 100 - 9999, false},
        {"4k3/8/8/3p4/4K3/8/8/8 w - -", "e4d5", 100, true},
        // Two rooks against a pawn held by a rook: +100, -550, +550.
        {"3rk3/8/8/3p4/8/8/3R4/3RK3 w - -", "d2d5", 100, true},
        {"3rk3/8/8/3p4/8/8/3R4/4K3 w - -", "d2d5", 100 - 550, false},
        {"4k3/8/8/3pP3/8/8/8/4K3 w - d6", "e5d6", 0, true},  // the en-passant victim counts nothing
        {"4k3/8/2p5/8/8/2N5/8/4K3 w - -", "c3d5", -350, false},
    };
    for (const auto& row : rows) {
        Board board(row.fen);
        const Move move = parse_uci_move(board.position, row.move);
        EXPECT_EQ(see(board.position, WHITE, move_from(move), move_to(move)), row.value) << row.fen;
        EXPECT_EQ(see_ok(board.position, move), row.ok) << row.fen;
    }
    // The threat form: what White can win on a square.
    Board hanging("4k3/8/8/3q4/4P3/8/8/4K3 w - -");
    EXPECT_EQ(see(hanging.position, WHITE, NO_SQUARE, square_of("d5")), 1060);
    EXPECT_EQ(see(hanging.position, WHITE, NO_SQUARE, square_of("f5")), 0);
}

TEST(See, agrees_with_an_independent_program) {
    const std::vector<std::string> lines = read_lines(data_file("position/see.tsv"));
    ASSERT_GT(lines.size(), 2000u);
    for (std::size_t i = 1; i < lines.size(); ++i) {
        const std::vector<std::string> row = split_tabs(lines[i]);
        Board board(row[0]);
        const bool threat = row[1][0] == '-';
        const int from = threat ? NO_SQUARE : square_of(row[1]);
        const int to = square_of(row[1].substr(threat ? 1 : 2));
        EXPECT_EQ(see(board.position, board.position.side, from, to), std::stoi(row[2])) << lines[i];
    }
}

}  // namespace
