// Random moves on the game record.
#include "training/selfplay/random_moves.h"

#include "position/make_move.h"
#include "search/game_stack.h"
#include "search/search_thread.h"
#include "training/selfplay/start.h"

bool game_goes_on() {
    return !legal_moves(game_record->position).empty() && !is_draw(game_record->position, 0);
}

int make_random_moves(Random& random, int most) {
    const int wanted = random_between(random, 1, most);
    for (int made = 0; made < wanted; ++made) {
        const std::vector<Move> moves = legal_moves(game_record->position);
        make_game_move(moves[static_cast<std::size_t>(random_below(random, static_cast<int>(moves.size())))]);
        if (game_goes_on()) continue;
        for (; made >= 0; --made) unmake_game_move();
        return 0;
    }
    return wanted;
}
