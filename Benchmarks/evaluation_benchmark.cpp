// Evaluation speed: the network over the positions of a search tree, step by step and from scratch, and the
// hand-crafted evaluation with and without the pawn hash.
#include "eval/evaluate.h"
#include "eval/hce.h"
#include "eval/inference.h"
#include "position/board.h"
#include "search/engine.h"

#include <benchmark/benchmark.h>

#include <deque>

namespace {

void start_evaluation() {
    [[maybe_unused]] static const BringUp ready = bring_up({.network = true});
}

struct Node {
    int ply;
    Position position;
};

// All positions of a tree in the order of a search.
void append_tree(Board& board, int ply, int last_ply, std::vector<Node>& nodes) {
    for (const Move move : board.legal()) {
        make_move(board.position, move);
        nodes.push_back({ply, board.position});
        if (ply < last_ply) append_tree(board, ply + 1, last_ply, nodes);
        unmake_move(board.position);
    }
}

// Near the root, below ply 3, nothing is taken from the evaluations before.
void network_scores(benchmark::State& state, int first_ply) {
    start_evaluation();
    Board board("r1bq1rk1/pp2bppp/2n1pn2/3p4/3P4/2NB1N2/PP3PPP/R1BQ1RK1 w - -");
    std::vector<Node> nodes;
    append_tree(board, first_ply, first_ply + 1, nodes);
    NetworkState network_state{};
    for (auto _ : state) {
        for (const Node& node : nodes) {
            benchmark::DoNotOptimize(nn_evaluate(network_state, node.position, node.ply));
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(nodes.size()));
    free_network_state(network_state);
}
BENCHMARK_CAPTURE(network_scores, step_by_step, 5);
BENCHMARK_CAPTURE(network_scores, from_scratch, 1);

// The positions of the evaluation's reference data: enough of them that branches are not learnt by heart. `ply` 2 takes
// pawn scores from the pawn hash, 0 computes them.
void hand_crafted_scores(benchmark::State& state, int ply) {
    start_evaluation();
    std::deque<Board> boards;
    for (const auto& row : read_rows(data_file("hce_reference.tsv"))) boards.emplace_back(row[0]);
    const auto hce = std::make_unique<HceState>();
    for (auto _ : state) {
        for (const Board& board : boards) benchmark::DoNotOptimize(hce_evaluate(*hce, board.position, ply));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(boards.size()));
}
BENCHMARK_CAPTURE(hand_crafted_scores, pawn_hash_warm, 2);
BENCHMARK_CAPTURE(hand_crafted_scores, pawn_hash_unused, 0);

}  // namespace
