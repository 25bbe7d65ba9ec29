// Search speed: nodes per second at a fixed depth over the benchmark positions, one thread.
#include "frontend/base/settings.h"
#include "position/position.h"
#include "search/engine.h"
#include "search/hash_table.h"
#include "search/parallel.h"
#include "search/search_thread.h"

#include <benchmark/benchmark.h>

#include <fstream>
#include <string>
#include <vector>

namespace {

std::vector<std::string> benchmark_positions() {
    std::vector<std::string> fens;
    std::ifstream in(TARN_SOURCE_DIR "/Benchmarks/positions.epd");
    for (std::string line; std::getline(in, line);) {
        if (!line.empty()) fens.push_back(line);
    }
    return fens;
}

void start_engine() {
    static bool started = false;
    if (started) return;
    started = true;
    settings.noise = SILENT;
    bring_up({.hash_mb = 64, .network = true});
}

void search_nodes(benchmark::State& state, bool network_on) {
    start_engine();
    settings.use_nn = network_on;
    settings.depth_limit = 10;
    settings.level_moves = 1;
    settings.level_time = 10000;
    const std::vector<std::string> fens = benchmark_positions();
    std::uint64_t nodes = 0;
    for (auto _ : state) {
        for (const std::string& fen : fens) {
            hash_clear();
            set_position(game_record->position, fen);
            analysis_search();
            search_control.think_flags.store(0);
            nodes += search_threads[0]->nodes;
        }
    }
    state.counters["nodes/s"] = benchmark::Counter(static_cast<double>(nodes), benchmark::Counter::kIsRate);
}

}  // namespace

BENCHMARK_CAPTURE(search_nodes, network, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(search_nodes, hand_crafted, false)->Unit(benchmark::kMillisecond);
