// Perft over the staged generators, evasions included, as the search uses them. The last ply is counted without
// being made.
#include "position/perft.h"

#include "position/make_move.h"
#include "position/movegen.h"

#include <algorithm>

namespace {

MoveEntry* gen_for_node(const Position& position, int c, int checker, MoveEntry* list) {
    list = gen_captures(position, c, list, checker);
    list = gen_promotions(position, c, true, list);
    list = gen_pushes_to_seventh(position, c, list);
    return gen_quiets(position, c, list, checker);
}

// Looks at the abort test are counted in nodes two plies above the leaves: some 900 leaves each.
constexpr int NODES_BETWEEN_LOOKS = 1024;

struct Count {
    bool (*must_stop)();
    int nodes_to_look = NODES_BETWEEN_LOOKS;
    bool stopped = false;
};

void look(Count& count) {
    if (--count.nodes_to_look > 0) return;
    count.nodes_to_look = NODES_BETWEEN_LOOKS;
    count.stopped = count.must_stop();
}

// Returns early, with no meaning, once the count is stopped.
// NOLINTNEXTLINE(misc-no-recursion)
std::uint64_t count_leaves(Position& position, int depth, MoveEntry* list, Count& count) {
    const int c = position.side;
    const int checker = least_attacker(position, position.king_square[c], c ^ 1, occupancy(position));
    const bool in_check = checker != NO_SQUARE;
    MoveEntry* const end = gen_for_node(position, c, checker, list);
    std::uint64_t leaves = 0;
    if (depth == 2) look(count);
    for (const MoveEntry* entry = list; entry != end; ++entry) {
        if (!is_legal(position, c, entry->move, in_check)) continue;
        if (depth == 1) {
            ++leaves;
            continue;
        }
        make_move(position, entry->move);
        leaves += count_leaves(position, depth - 1, end, count);
        unmake_move(position);
        if (count.stopped) break;
    }
    return leaves;
}

}  // namespace

std::optional<std::uint64_t> perft_until(Position& position, int depth, bool (*must_stop)()) {
    const GameState& game = *position.owner;
    // No tree this deep can be counted; the limit only keeps game stack and move lists in bounds.
    const int deepest = std::min<int>(MAX_DEPTH, GAME_STACK_SIZE - game.game_ply);
    const int ply = std::clamp<int>(game.search_ply, 0, PLY_RECORDS - 1);
    Count count{must_stop};
    const std::uint64_t leaves = count_leaves(position, std::min(depth, deepest), game.list_start[ply], count);
    if (count.stopped) return std::nullopt;
    return leaves;
}

std::uint64_t perft(Position& position, int depth) {
    return *perft_until(position, depth, [] { return false; });
}
