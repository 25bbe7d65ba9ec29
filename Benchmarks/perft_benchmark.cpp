// Speed of move generation, making and unmaking: perft leaves per second on one core.
#include "position/perft.h"

#include "position/board.h"

#include <benchmark/benchmark.h>

namespace {

void perft_leaves(benchmark::State& state, const char* fen, int depth) {
    Board board(fen);
    std::uint64_t leaves = 0;
    for (auto _ : state) leaves += perft(board.position, depth);
    state.counters["leaves"] = benchmark::Counter(static_cast<double>(leaves), benchmark::Counter::kIsRate);
}

BENCHMARK_CAPTURE(perft_leaves, start_position_depth_6, START_FEN, 6)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(perft_leaves, middle_game_depth_4, "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -",
                  4)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(perft_leaves, endgame_depth_6, "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -", 6)
    ->Unit(benchmark::kMillisecond);

}  // namespace
