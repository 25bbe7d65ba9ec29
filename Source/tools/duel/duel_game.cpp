// Playing a pair of games.
#include "tools/duel/duel_game.h"

#include "frontend/game_stack.h"
#include "search/search_thread.h"
#include "tools/selfplay/options.h"
#include "tools/selfplay/referee.h"

#include <cstdlib>

namespace {

constexpr int MAX_START_SCORE = 250;  // centipawns; both games of a more uneven start would have the same winner
constexpr int MAX_START_ATTEMPTS = 1000;

// A lead that both sides have seen for four plies in a row decides a game.
constexpr int WIN_SCORE = 1000;
constexpr int WIN_PLIES = 4;

bool find_start(Player& player, const OpeningBook& book, Random& random, Start& start) {
    SelfplayOptions options;
    options.opening_share = 100;  // without openings: random moves
    Position& position = game_record->position;
    for (int attempt = 0; attempt < MAX_START_ATTEMPTS; ++attempt) {
        if (!set_up_start(book, options, random, start) || judge_position(position, 0, 0)) continue;
        if (std::abs(choose_move(player).score) <= MAX_START_SCORE) return true;
    }
    return false;
}

// +1 White won, 0 draw, -1 Black won; nothing when interrupted.
std::optional<int> play_duel_game(const Start& start, const Player& white, const Player& black, bool (*stop)()) {
    Position& position = game_record->position;
    set_game_position(start.fen.empty() ? START_FEN : start.fen);
    for (const Move move : start.moves) make_game_move(move);
    ScoreJudge judge(true, true, WIN_SCORE, WIN_PLIES);
    for (int plies = static_cast<int>(start.moves.size());; ++plies) {
        if (const auto verdict = judge_position(position, plies, 0)) return verdict->result;
        if (stop()) return {};
        const SearchResult choice = choose_move(position.side == WHITE ? white : black);
        if (const auto verdict = judge.judge(position.side, choice.score, plies, popcount(occupancy(position)))) {
            return verdict->result;
        }
        make_game_move(choice.move);
    }
}

}  // namespace

PairResult play_pair(Player& first, Player& second, const OpeningBook& book, Random& random, bool (*stop)()) {
    PairResult pair;
    Start start;
    forget_evaluations(first);
    forget_evaluations(second);
    if (!find_start(first, book, random, start)) return pair;
    for (const bool first_is_white : {true, false}) {
        const auto white_result =
            first_is_white ? play_duel_game(start, first, second, stop) : play_duel_game(start, second, first, stop);
        if (!white_result) return pair;
        const int result = first_is_white ? *white_result : -*white_result;
        pair.points += result;
        pair.wins += result > 0;
        pair.losses += result < 0;
    }
    pair.finished = true;
    return pair;
}
