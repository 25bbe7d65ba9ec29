// Evaluation speed: the network by the number of changed pieces and from scratch, the hand-crafted evaluation,
// and the start-up costs of the evaluation room.
#include "eval/evaluate.h"
#include "eval/hce.h"
#include "eval/inference.h"
#include "eval/kpk.h"
#include "eval/network.h"
#include "position/make_move.h"
#include "position/movegen.h"
#include "position/position.h"
#include "search/engine.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <random>
#include <vector>

namespace {

constexpr const char* MIDDLE_GAME = "r1bq1rk1/pp2bppp/2n1pn2/3p4/3P4/2NB1N2/PP3PPP/R1BQ1RK1 w - -";

void start_evaluation() {
    static bool started = false;
    if (started) return;
    started = true;
    bring_up({.network = true});
}

Position position_of(const char* fen) {
    const auto game = std::make_unique<GameState>();
    Position position{};
    init_game_state(*game, position);
    set_position(position, fen);
    return position;
}

// Each position has so many pieces less or more than the one before it: first taken off at random, then put back,
// so that the rows come from everywhere in the weights as they do in a search.
std::vector<Position> neighbours(int changed) {
    std::vector<Position> positions;
    std::mt19937 random(1);
    const Position full = position_of(MIDDLE_GAME);
    for (int i = 0; i < 500; ++i) {
        Position thinned = full;
        for (int n = 0; n < changed;) {
            const int square = static_cast<int>(random() % 64);
            const int piece = thinned.board[square];
            if (!piece || type_of(piece) == KING) continue;
            thinned.board[square] = 0;
            thinned.pieces[colour_of(piece)][0] &= ~bit(square);
            thinned.pieces[colour_of(piece)][type_of(piece)] &= ~bit(square);
            ++n;
        }
        positions.push_back(thinned);
        positions.push_back(full);
    }
    return positions;
}

void network_changes(benchmark::State& state, int changed, int ply) {
    start_evaluation();
    const std::vector<Position> positions = neighbours(changed);
    NetworkState network_state{};
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(nn_evaluate(network_state, positions[next], ply));
        next = next + 1 < positions.size() ? next + 1 : 0;
    }
    free_network_state(network_state);
}

void BM_network_update(benchmark::State& state) {
    network_changes(state, static_cast<int>(state.range(0)), 5);
}
BENCHMARK(BM_network_update)->DenseRange(0, 6);

void BM_network_refresh(benchmark::State& state) {
    network_changes(state, 1, 1);
}
BENCHMARK(BM_network_refresh);

// All positions of a tree in the order of a search, each at its ply.
void append_tree(Position& position, int ply, int last_ply, std::vector<std::pair<int, Position>>& nodes) {
    for (const MoveEntry& move : entries_of(gen_all(position))) {
        if (!is_legal(position, position.side, move.move)) continue;
        make_move(position, move.move);
        nodes.emplace_back(ply, position);
        if (ply < last_ply) append_tree(position, ply + 1, last_ply, nodes);
        unmake_move(position);
    }
}

void BM_network_tree(benchmark::State& state) {
    start_evaluation();
    const auto game = std::make_unique<GameState>();
    Position root{};
    init_game_state(*game, root);
    set_position(root, MIDDLE_GAME);
    std::vector<std::pair<int, Position>> nodes;
    append_tree(root, 5, 6, nodes);
    NetworkState network_state{};
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(nn_evaluate(network_state, nodes[next].second, nodes[next].first));
        next = next + 1 < nodes.size() ? next + 1 : 0;
    }
    free_network_state(network_state);
}
BENCHMARK(BM_network_tree);

void BM_hand_crafted(benchmark::State& state) {
    start_evaluation();
    const std::vector<Position> positions = neighbours(2);
    const auto hce_state = std::make_unique<HceState>();
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(hce_evaluate(*hce_state, positions[next], 5));
        next = next + 1 < positions.size() ? next + 1 : 0;
    }
}
BENCHMARK(BM_hand_crafted);

void BM_build_kpk_table(benchmark::State& state) {
    start_evaluation();
    for (auto _ : state) build_kpk_table();
}
BENCHMARK(BM_build_kpk_table);

}  // namespace
