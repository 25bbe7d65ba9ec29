// When self-play games end: the rules of chess, and the strict limits of adjudication by score.
#include "tools/selfplay/referee.h"

#include "position/bitboard.h"
#include "position/make_move.h"
#include "position/notation.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int GOES_ON = -1;

struct Board {
    Board() {
        static const bool ready = [] {
            init_tables();
            init_zobrist();
            return true;
        }();
        (void)ready;
        init_game_state(*state, position);
    }
    std::unique_ptr<GameState> state = std::make_unique<GameState>();
    Position position{};
};

TEST(Referee, ends_games_by_the_rules) {
    struct Row {
        const char* story;
        const char* fen;
        int plies;
        int ending;
        int result;
    };
    constexpr Row ROWS[] = {
        {"fool's mate", "rnb1kbnr/pppp1ppp/8/4p3/6Pq/5P2/PPPPP2P/RNBQKBNR w KQkq - 1 3", 4, CHECKMATE, -1},
        {"back rank", "R5k1/5ppp/8/8/8/8/8/6K1 b - - 0 1", 4, CHECKMATE, 1},
        {"mate with the hundredth ply", "R5k1/5ppp/8/8/8/8/8/6K1 b - - 100 90", 180, CHECKMATE, 1},
        {"queen takes all squares", "7k/5Q2/6K1/8/8/8/8/8 b - - 0 1", 4, STALEMATE, 0},
        {"fifty moves", "8/5k2/8/8/8/2R5/5K2/8 w - - 100 90", 180, FIFTY_MOVES, 0},
        {"one ply before", "8/5k2/8/8/8/2R5/5K2/8 w - - 99 90", 180, GOES_ON, 0},
        {"bare kings", "8/5k2/8/8/8/8/5K2/8 w - - 0 1", 4, DEAD_MATERIAL, 0},
        {"knight", "8/5k2/8/8/8/8/5K2/5N2 w - - 0 1", 4, DEAD_MATERIAL, 0},
        {"bishop against knight", "8/3b1k2/8/8/8/8/5K2/5N2 w - - 0 1", 4, DEAD_MATERIAL, 0},
        {"two knights against the king", "8/5k2/8/8/8/8/5K2/4NN2 w - - 0 1", 4, DEAD_MATERIAL, 0},
        {"two knights against a knight", "8/4nk2/8/8/8/8/5K2/4NN2 w - - 0 1", 4, GOES_ON, 0},
        {"two bishops", "8/5k2/8/8/8/8/5K2/4BB2 w - - 0 1", 4, GOES_ON, 0},
        {"a pawn", "8/5k2/8/8/8/4P3/5K2/8 w - - 0 1", 4, GOES_ON, 0},
        {"a pawn against a bishop", "8/4bk2/8/8/8/4P3/5K2/8 w - - 0 1", 4, GOES_ON, 0},
        {"the longest game", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1", 400, TOO_LONG, 0},
        {"one ply shorter", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1", 399, GOES_ON, 0},
    };
    for (const Row& row : ROWS) {
        Board board;
        set_position(board.position, row.fen);
        const auto verdict = judge_position(board.position, row.plies, 0);
        EXPECT_EQ(verdict ? static_cast<int>(verdict->ending) : GOES_ON, row.ending) << row.story;
        if (verdict) { EXPECT_EQ(verdict->result, row.result) << row.story; }
    }
}

TEST(Referee, third_occurrence_is_a_draw_and_no_earlier) {
    Board board;
    set_position(board.position, START_FEN);
    const std::vector<std::string> moves = {"g1f3", "g8f6", "f3g1", "f6g8", "g1f3", "g8f6", "f3g1", "f6g8"};
    for (std::size_t i = 0; i < moves.size(); ++i) {
        EXPECT_FALSE(judge_position(board.position, static_cast<int>(i), 0)) << i;
        make_move(board.position, parse_uci_move(board.position, moves[i]));
        board.state->search_ply = 1;
    }
    const auto verdict = judge_position(board.position, 8, 0);
    ASSERT_TRUE(verdict);
    EXPECT_EQ(verdict->ending, REPETITION);
}

// Scores for the side to move, White first.
struct ScoreRow {
    const char* story;
    std::vector<int> scores;
    int first_ply;
    int men;
    int ending;
    int result;
};

std::vector<int> repeated(int count, std::vector<int> pair) {
    std::vector<int> scores;
    for (int i = 0; i < count; ++i) scores.push_back(pair[static_cast<std::size_t>(i) % pair.size()]);
    return scores;
}

std::vector<int> joined(std::vector<int> first, const std::vector<int>& rest) {
    first.insert(first.end(), rest.begin(), rest.end());
    return first;
}

TEST(Referee, adjudicates_only_what_both_sides_see_for_long) {
    const ScoreRow ROWS[] = {
        {"both see White winning", repeated(6, {2000, -2000}), 20, 32, WIN_ADJUDICATED, 1},
        {"both see Black mating", repeated(6, {-9990, 9990}), 20, 32, WIN_ADJUDICATED, -1},
        {"five times", repeated(5, {2000, -2000}), 20, 32, GOES_ON, 0},
        {"one centipawn short", repeated(12, {1999, -2000}), 20, 32, GOES_ON, 0},
        {"each side sees itself winning", repeated(12, {2500, 2500}), 20, 32, GOES_ON, 0},
        {"a doubt between", joined(repeated(5, {2500, -2500}), joined({-1900}, repeated(4, {2500, -2500}))), 20, 32,
         GOES_ON, 0},
        {"nothing in it for eight moves", repeated(16, {8, -8}), 100, 10, DRAW_ADJUDICATED, 0},
        {"seven and a half moves", repeated(15, {8, -8}), 100, 10, GOES_ON, 0},
        {"a little in it", repeated(30, {9, 0}), 100, 10, GOES_ON, 0},
        {"too early", repeated(30, {0, 0}), 70, 10, GOES_ON, 0},
        {"too many men", repeated(30, {0, 0}), 100, 11, GOES_ON, 0},
    };
    for (const ScoreRow& row : ROWS) {
        ScoreJudge judge(true, true);
        for (std::size_t i = 0; i < row.scores.size(); ++i) {
            const int ply = static_cast<int>(i);
            const auto verdict = judge.judge(ply % 2, row.scores[i], row.first_ply + ply, row.men);
            const bool last = i + 1 == row.scores.size();
            EXPECT_EQ(verdict ? static_cast<int>(verdict->ending) : GOES_ON, last ? row.ending : GOES_ON)
                << row.story << ", score " << i;
            if (verdict) { EXPECT_EQ(verdict->result, row.result) << row.story; }
        }
    }
}

TEST(Referee, adjudicates_only_what_it_was_asked_to) {
    ScoreJudge draws_only(false, true);
    ScoreJudge wins_only(true, false);
    for (int ply = 0; ply < 40; ++ply) {
        EXPECT_FALSE(draws_only.judge(ply % 2, ply % 2 ? -3000 : 3000, 100 + ply, 4));
        EXPECT_FALSE(wins_only.judge(ply % 2, 0, 100 + ply, 4));
    }
}

}  // namespace
