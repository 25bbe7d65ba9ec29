// Leaving the game, settling down, and coming back.
#include "tools/selfplay/deviation.h"

#include "frontend/game_stack.h"
#include "frontend/settings.h"
#include "position/make_move.h"
#include "search/search_thread.h"
#include "tools/selfplay/judged_search.h"

namespace {

constexpr int MOST_RANDOM_MOVES = 3;
constexpr int MOST_SETTLING_MOVES = 4;  // a position that is not quiet after so many best moves is given up

bool game_goes_on(Position& position) {
    return !legal_moves(position).empty() && !is_draw(position, 0);
}

// Makes random moves on the game record; returns how many. 0: the game ended on the way and nothing was left standing.
int make_random_moves(Random& random) {
    const int wanted = random_between(random, 1, MOST_RANDOM_MOVES);
    for (int made = 0; made < wanted; ++made) {
        const std::vector<Move> moves = legal_moves(game_record->position);
        make_game_move(moves[static_cast<std::size_t>(random_below(random, static_cast<int>(moves.size())))]);
        if (game_goes_on(game_record->position)) continue;
        for (; made >= 0; --made) unmake_game_move();
        return 0;
    }
    return wanted;
}

// Plays best moves until the position is worth keeping; returns their number.
int settle(const GameMaker& maker, std::vector<TrainingRecord>& records) {
    Position& position = game_record->position;
    for (int made = 0;; ++made) {
        const SearchResult result = search_position(maker.statistics);
        if (worth_keeping(position, result)) {
            if (maker.seen.insert(position.key)) {
                records.push_back(
                    make_training_record(position, result.score, search_threads[0]->root_eval, result.score));
            } else {
                maker.statistics.duplicates += 1;
            }
            return made;
        }
        if (made == MOST_SETTLING_MOVES || result.move == NULL_MOVE) return made;
        make_game_move(result.move);
        if (!game_goes_on(position)) return made + 1;
    }
}

}  // namespace

void add_deviations(const GameMaker& maker, Random& random, std::vector<TrainingRecord>& records) {
    settings.node_limit = maker.options.deviation_nodes;
    for (int i = 0; i < maker.options.deviations; ++i) {
        int made = make_random_moves(random);
        if (made > 0) made += settle(maker, records);
        for (; made > 0; --made) unmake_game_move();
    }
    settings.node_limit = maker.options.nodes;
}
