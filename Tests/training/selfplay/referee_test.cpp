// When self-play games end: the rules of chess, and the strict limits of adjudication by score.
#include "training/selfplay/referee.h"

#include "position/board.h"

#include <gtest/gtest.h>

#include <utility>

namespace {

constexpr int GOES_ON = -1;

std::pair<int, int> ending_and_result(const std::optional<Verdict>& verdict) {
    return verdict ? std::pair(static_cast<int>(verdict->ending), verdict->result) : std::pair(GOES_ON, 0);
}

TEST(Referee, ends_games_by_the_rules) {
    const struct {
        const char* story;
        const char* fen;
        int plies;
        int ending, result;
        const char* moves = "";
    } rows[] = {
        {"fool's mate", "rnb1kbnr/pppp1ppp/8/4p3/6Pq/5P2/PPPPP2P/RNBQKBNR w KQkq - 1 3", 4, CHECKMATE, -1},
        {"mate with the hundredth ply", "R5k1/5ppp/8/8/8/8/8/6K1 b - - 100 90", 180, CHECKMATE, 1},
        {"fifty moves", "8/5k2/8/8/8/2R5/5K2/8 w - - 100 90", 180, FIFTY_MOVES, 0},
        {"one ply before", "8/5k2/8/8/8/2R5/5K2/8 w - - 99 90", 180, GOES_ON, 0},
        {"third time", START_FEN, 8, REPETITION, 0, "g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8"},
        {"one ply before", START_FEN, 7, GOES_ON, 0, "g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1"},
        {"bishop against knight", "8/3b1k2/8/8/8/8/5K2/5N2 w - - 0 1", 4, DEAD_MATERIAL, 0},
        {"two knights against the king", "8/5k2/8/8/8/8/5K2/4NN2 w - - 0 1", 4, DEAD_MATERIAL, 0},
        {"two knights against a knight", "8/4nk2/8/8/8/8/5K2/4NN2 w - - 0 1", 4, GOES_ON, 0},
        {"a pawn against a bishop", "8/4bk2/8/8/8/4P3/5K2/8 w - - 0 1", 4, GOES_ON, 0},
        {"the longest game", START_FEN, 400, TOO_LONG, 0},
        {"one ply shorter", START_FEN, 399, GOES_ON, 0},
    };
    for (const auto& row : rows) {
        Board board(row.fen);
        const auto verdict = judge_position(board.play(row.moves).position, row.plies, 0);
        EXPECT_EQ(ending_and_result(verdict), std::pair(row.ending, row.result)) << row.story;
    }
}

TEST(Referee, adjudicates_only_what_both_sides_see_for_long) {
    const struct {
        const char* story;
        int times, mover, waiter;  // scores of the sides to move in turn, White first
        int first_ply, men;
        int ending, result;              // with the last score, and none before
        int doubt = -1;                  // the score that is -1900 instead
        bool wins = true, draws = true;  // what it is asked to adjudicate
    } rows[] = {
        {"both see Black winning", 6, -2000, 2000, 20, 32, WIN_ADJUDICATED, -1},
        {"one centipawn short", 12, 1999, -2000, 20, 32, GOES_ON, 0},
        {"each side sees itself winning", 12, 2500, 2500, 20, 32, GOES_ON, 0},
        {"a doubt between", 10, 2500, -2500, 20, 32, GOES_ON, 0, 5},
        {"draws only", 40, 3000, -3000, 100, 4, GOES_ON, 0, -1, false, true},
        {"nothing in it for eight moves", 16, 8, -8, 100, 10, DRAW_ADJUDICATED, 0},
        {"a little in it", 30, 9, 0, 100, 10, GOES_ON, 0},
        {"too early", 30, 0, 0, 70, 10, GOES_ON, 0},
        {"too many men", 30, 0, 0, 100, 11, GOES_ON, 0},
        {"wins only", 40, 0, 0, 100, 4, GOES_ON, 0, -1, true, false},
    };
    for (const auto& row : rows) {
        ScoreJudge judge(row.wins, row.draws);
        for (int i = 0; i < row.times; ++i) {
            const int score = i == row.doubt ? -1900 : i % 2 ? row.waiter : row.mover;
            const auto expected = i + 1 == row.times ? std::pair(row.ending, row.result) : std::pair(GOES_ON, 0);
            const auto verdict = judge.judge(i % 2, score, row.first_ply + i, row.men);
            EXPECT_EQ(ending_and_result(verdict), expected) << row.story << ' ' << i;
        }
    }
}

}  // namespace
