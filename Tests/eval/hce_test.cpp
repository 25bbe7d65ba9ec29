// The hand-crafted evaluation against a second implementation, its symmetries, its pawn hash and its rounding. What
// the terms of a position amount to by hand is in the test of the trace.
#include "eval/hce.h"

#include "eval_fixture.h"

#include <algorithm>
#include <cctype>
#include <functional>
#include <random>
#include <sstream>

namespace {

using Hce = EvalFixture;

std::string square_list(Bitboard squares) {
    std::string text;
    while (squares) {
        if (!text.empty()) text += ' ';
        text += square_names[pop_lsb(squares)];
    }
    return text.empty() ? "-" : text;
}

// The board with White and Black exchanged and the ranks turned over, or with the files turned over; same mover's view.
std::string mirrored(const std::string& fen, bool colours) {
    std::istringstream in(fen);
    std::string board, side, row, result;
    in >> board >> side;
    std::istringstream rows(board);
    while (std::getline(rows, row, '/')) {
        if (!colours) std::reverse(row.begin(), row.end());
        if (result.empty())
            result = row;
        else
            result = colours ? row + '/' + result : result + '/' + row;
    }
    if (!colours) return result + ' ' + side + " - -";
    for (char& c : result) c = static_cast<char>(std::isupper(c) ? std::tolower(c) : std::toupper(c));
    return result + (side == "w" ? " b" : " w") + " - -";
}

// Scores, all subtotals, scale factor, hung and free squares by the slow program that stands beside the data: 200
// positions of games, then small ones that show one term or one rule of drawish endings each.
TEST_F(Hce, agrees_with_second_implementation) {
    std::string params;
    for (const std::string& line : read_lines(data_file("hce_reference_params.txt"))) params += line + "\n";
    load_params_text(params);
    int rows = 0;
    for (const std::string& line : read_lines(data_file("hce_reference.tsv"))) {
        const std::vector<std::string> fields = split_tabs(line);
        ASSERT_EQ(fields.size(), 7u) << line;
        SCOPED_TRACE(fields[0]);
        EXPECT_EQ(evaluate_fen(fields[0], 2), std::stoi(fields[1]));
        std::string groups;
        for (const auto& group : hce->scratch.group) {
            for (const PackedScore score : group) {
                if (!groups.empty()) groups += ' ';
                groups += std::to_string(static_cast<std::int32_t>(score));
            }
        }
        EXPECT_EQ(groups, fields[2]);
        EXPECT_NEAR(hce->scratch.scale, std::stof(fields[4]), 1e-6f);
        EXPECT_EQ(square_list(hce->scratch.hung), fields[5]);
        EXPECT_EQ(square_list(hce->scratch.free_passers), fields[6]);
        ++rows;
    }
    EXPECT_GE(rows, 400);
}

// Random games. The packed sums of the colours change places exactly; of the score only what the packing costs may
// differ (one unit of the end-game half). Several queens are left out: x-rays and pins take them in square order.
// Scores with the pawn hash are those without.
TEST_F(Hce, mirrored_positions_mirror_every_group_and_cached_scores_are_fresh_ones) {
    const auto other_hce = std::make_unique<HceState>();
    std::mt19937 random(20240607);
    int mirrors = 0;
    for (int game_number = 0; game_number < 60; ++game_number) {
        Board board, other;
        for (int ply = 0; ply < 150; ++ply) {
            const std::vector<Move> moves = board.legal();
            if (moves.empty()) break;
            make_move(board.position, moves[random() % moves.size()]);
            board.game->search_ply = 1;
            const std::string fen = board.fen();
            SCOPED_TRACE(fen);
            const int score = hce_evaluate(*hce, board.position, 2);
            ASSERT_EQ(score, hce_evaluate(*other_hce, board.position, 1));
            if (count_of(board.position, WHITE, QUEEN) > 1 || count_of(board.position, BLACK, QUEEN) > 1) continue;
            const EvalScratch& s = hce->scratch;
            for (const bool colours : {true, false}) {
                set_position(other.position, mirrored(fen, colours));
                const int other_score = hce_evaluate(*other_hce, other.position, 2);
                const EvalScratch& o = other_hce->scratch;
                for (int group = 0; group < GROUP_COUNT; ++group) {
                    ASSERT_EQ(s.group[group][WHITE], o.group[group][colours ? BLACK : WHITE]) << "group " << group;
                    ASSERT_EQ(s.group[group][BLACK], o.group[group][colours ? WHITE : BLACK]) << "group " << group;
                }
                ASSERT_NEAR(score, other_score, colours ? 1 : 0);
                ASSERT_EQ(s.scale, o.scale);
                ++mirrors;
            }
        }
    }
    EXPECT_GT(mirrors, 10000);
    EXPECT_GT(hce->pawn_hits.load(), 1000u);
}

// A poisoned entry shows who reads it: ply 2 and deeper, the same pawns, kings on the same wings.
TEST_F(Hce, pawn_hash_goes_by_structure_and_king_wings) {
    constexpr const char *fen = "4k3/pp6/8/8/8/8/PP6/4K3 w - -", *kings_moved = "5k2/pp6/8/8/8/8/PP6/6K1 w - -";
    const int score = evaluate_fen(fen, 2);
    const int moved_score = evaluate_fen(kings_moved, 1);
    const int other_wing = evaluate_fen("3k4/pp6/8/8/8/8/PP6/4K3 w - -", 1);
    for (PawnHashEntry& entry : hce->pawn_hash) {
        if (entry.key) entry.score[WHITE] += 1000;
    }
    EXPECT_NE(evaluate_fen(kings_moved, 2), moved_score);
    EXPECT_EQ(evaluate_fen("3k4/pp6/8/8/8/8/PP6/4K3 w - -", 1), other_wing);
    EXPECT_EQ(evaluate_fen(fen, 1), score);  // and puts the entry right
    EXPECT_EQ(evaluate_fen(fen, 2), score);
}

// Both halves of a factored term lose their fraction toward zero apart from each other, before they are packed.
TEST_F(Hce, factored_terms_truncate_each_half) {
    clear_weights();
    set_weight("knight_outpost", -10, 10);
    evaluate_fen("4k3/8/8/3N4/8/8/8/4K3 w - -");  // 0.67: -6.7 and 6.7
    EXPECT_EQ(hce->scratch.score[WHITE], pack(-6, 6));
    EXPECT_EQ(middle_game(pack(-6, 6)), -6);
    EXPECT_EQ(end_game(pack(-6, 6)), 5);
}

}  // namespace
