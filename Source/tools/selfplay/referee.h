// When a game is over: by the rules, by what the tables know, or because its result is clear.
#pragma once

#include "position/position.h"
#include "tools/selfplay/statistics.h"

#include <optional>

struct Verdict {
    Ending ending;
    int result;  // +1 White won, 0 draw, -1 Black won
};

// The longest game; few that are longer end in anything but a draw.
constexpr int MAX_GAME_PLIES = 400;

// What the rules and the tables say about the position, `plies` after the start of the game. `tables` is the largest
// number of men that the tables may be asked about. The position's current move list is overwritten.
std::optional<Verdict> judge_position(Position& position, int plies, int tables);

// Ends games whose result is clear from the scores of both sides. The limits are strict, since a game cut short hides
// how its ending is to be played.
class ScoreJudge {
public:
    // A lead of two queens and more, or a mate, that both sides have seen three times each: no defence is left.
    static constexpr int WIN_SCORE = 2000;
    static constexpr int WIN_PLIES = 6;

    ScoreJudge(bool wins, bool draws, int win_score = WIN_SCORE, int win_plies = WIN_PLIES)
        : wins_(wins), draws_(draws), win_score_(win_score), win_plies_(win_plies) {}

    // Takes the score of the search before a move, for the side to move; `men` counts all pieces and pawns on the
    // board, `plies` the moves made since the start.
    std::optional<Verdict> judge(int side, int score, int plies, int men);

private:
    bool wins_;
    bool draws_;
    int win_score_;  // centipawns
    int win_plies_;
    int winner_ = 0;  // +1 White, -1 Black
    int winning_plies_ = 0;
    int level_plies_ = 0;
};
