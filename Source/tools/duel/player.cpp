// Handing the engine from one player to the other.
#include "tools/duel/player.h"

#include "eval/hce.h"
#include "search/hash_table.h"
#include "search/search_thread.h"

#include <algorithm>
#include <cstring>

bool create_player(Player& player) {
    std::copy(std::begin(eval_params), std::end(eval_params), player.params.begin());
    player.thread = create_search_thread(0);
    return player.thread != nullptr;
}

void forget_evaluations(Player& player) {
    std::memset(player.thread->eval.cache, 0, sizeof player.thread->eval.cache);
    std::memset(player.thread->eval.hce.pawn_hash, 0, sizeof player.thread->eval.hce.pawn_hash);
}

SearchResult choose_move(const Player& player) {
    std::copy(player.params.begin(), player.params.end(), std::begin(eval_params));
    derive_hce_weights();
    search_threads[0] = player.thread;
    hash_clear();
    Statistics uncounted;
    return search_position(uncounted);
}
