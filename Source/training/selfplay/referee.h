// When a game is over: by the rules, by what the tables know, or because its result is clear.
#pragma once

#include "position/position.h"
#include "training/selfplay/statistics.h"

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
    ScoreJudge(bool wins, bool draws) : wins_(wins), draws_(draws) {}

    // Takes the score of the search before a move, for the side to move; `men` counts all pieces and pawns on the
    // board, `plies` the moves made since the start.
    std::optional<Verdict> judge(int side, int score, int plies, int men);

private:
    bool wins_;
    bool draws_;
    int winner_ = 0;  // +1 White, -1 Black
    int winning_plies_ = 0;
    int level_plies_ = 0;
};
