// Hand-crafted evaluations a second over middle-game and end-game positions, with and without the pawn hash.
#include "eval/hce.h"
#include "position/position.h"
#include "search/engine.h"

#include <benchmark/benchmark.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace {

struct Board {
    GameState game;
    Position position;
};

// The positions of the evaluation's reference data: enough of them that branches are not learnt by heart.
std::vector<std::unique_ptr<Board>> reference_positions() {
    std::vector<std::unique_ptr<Board>> boards;
    std::ifstream in(TARN_SOURCE_DIR "/Tests/data/hce_reference.tsv");
    for (std::string line; std::getline(in, line);) {
        boards.push_back(std::make_unique<Board>());
        init_game_state(boards.back()->game, boards.back()->position);
        set_position(boards.back()->position, line.substr(0, line.find('\t')));
    }
    return boards;
}

// `ply` 2 takes pawn scores from the pawn hash, 0 computes them.
void evaluate_positions(benchmark::State& state, int ply) {
    [[maybe_unused]] static const BringUp ready = bring_up({.network = true});
    const auto boards = reference_positions();
    auto hce = std::make_unique<HceState>();
    for (auto _ : state) {
        for (const auto& board : boards) benchmark::DoNotOptimize(hce_evaluate(*hce, board->position, ply));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(boards.size()));
}

void hce_pawn_hash_warm(benchmark::State& state) {
    evaluate_positions(state, 2);
}
void hce_pawn_hash_unused(benchmark::State& state) {
    evaluate_positions(state, 0);
}

BENCHMARK(hce_pawn_hash_warm);
BENCHMARK(hce_pawn_hash_unused);

}  // namespace
