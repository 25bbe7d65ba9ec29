// Tablebase speed: start-up over a directory, and probes of mapped tables in positions that the caches of the processor
// do not hold. The tables come from the directory in TARN_SYZYGY_PATH, without it from the tests' few.
#include "frontend/base/settings.h"
#include "position/board.h"
#include "search/engine.h"
#include "syzygy/tbprobe.h"

#include <benchmark/benchmark.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>

namespace {

void use_tables() {
    const char* const path = std::getenv("TARN_SYZYGY_PATH");
    std::snprintf(settings.syzygy_path, sizeof settings.syzygy_path, "%s", path ? path : data_file("syzygy").c_str());
    tb_init();
}

void syzygy_start_up(benchmark::State& state) {
    for (auto _ : state) use_tables();
}
BENCHMARK(syzygy_start_up)->Unit(benchmark::kMillisecond);

// Random playable placements of the pieces, either side to move.
std::vector<ProbePosition> random_positions(const std::string& pieces, std::size_t count) {
    std::mt19937 random(1);
    std::vector<ProbePosition> positions;
    while (positions.size() < count) {
        std::string squares(64, '1');
        for (const char piece : pieces) {
            std::size_t square;
            do square = random() % 64;
            while (squares[square] != '1' || (std::tolower(piece) == 'p' && (square < 8 || square >= 56)));
            squares[square] = piece;
        }
        for (std::size_t rank = 7; rank > 0; --rank) squares.insert(rank * 8, 1, '/');
        Board board(squares + (random() % 2 ? " w - -" : " b - -"));
        if (is_playable(board.position)) positions.push_back(make_probe_position(board.position));
    }
    return positions;
}

void syzygy_probe(benchmark::State& state, int (*probe)(const ProbePosition&, int&), const char* pieces) {
    [[maybe_unused]] static const BringUp ready = bring_up({.network = true});
    use_tables();
    const std::vector<ProbePosition> positions = random_positions(pieces, 1000);
    int success;
    for (const ProbePosition& position : positions) {  // maps the files
        probe(position, success);
        if (success != PROBE_FAILED) continue;
        state.SkipWithError("a table is missing");
        return;
    }
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(probe(positions[next], success));
        next = next + 1 == positions.size() ? 0 : next + 1;
    }
}
BENCHMARK_CAPTURE(syzygy_probe, wdl_KQvK, probe_wdl, "KQk");
BENCHMARK_CAPTURE(syzygy_probe, wdl_KPvKP, probe_wdl, "KPkp");
BENCHMARK_CAPTURE(syzygy_probe, dtz_KQvK, probe_dtz, "KQk");
BENCHMARK_CAPTURE(syzygy_probe, dtz_KPvKP, probe_dtz, "KPkp");

}  // namespace
