// Leaving the game, settling down, and coming back.
#include "training/selfplay/deviation.h"

#include "frontend/base/settings.h"
#include "search/game_stack.h"
#include "search/search_thread.h"
#include "training/selfplay/judged_search.h"
#include "training/selfplay/random_moves.h"

namespace {

constexpr int MOST_RANDOM_MOVES = 3;
constexpr int MOST_SEARCHED_MOVES = 16;  // earlier searches of the game left entries far below
constexpr int MOST_SETTLING_MOVES = 4;   // a position that is not quiet after so many best moves is given up

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
        if (!game_goes_on()) return made + 1;
    }
}

}  // namespace

void add_deviations(const GameMaker& maker, Random& random, std::vector<TrainingRecord>& records) {
    settings.node_limit = maker.options.deviation_nodes;
    for (int i = 0; i < maker.options.samples + maker.options.deviations; ++i) {
        // Samples come first: the other searches fill the table with trees of their own.
        int made = i < maker.options.samples ? make_searched_moves(random, MOST_SEARCHED_MOVES)
                                             : make_random_moves(random, MOST_RANDOM_MOVES);
        if (made > 0) made += settle(maker, records);
        for (; made > 0; --made) unmake_game_move();
    }
    settings.node_limit = maker.options.nodes;
}
