// Tablebase speed: start-up, and probes of mapped tables in the positions of the tests.
#include "frontend/base/settings.h"
#include "platform/words.h"
#include "position/board.h"
#include "search/engine.h"
#include "syzygy/tbprobe.h"

#include <benchmark/benchmark.h>

namespace {

void use_tables() {
    copy_text(settings.syzygy_path, data_file("syzygy"));
    tb_init();
}

void syzygy_start_up(benchmark::State& state) {
    for (auto _ : state) use_tables();
}
BENCHMARK(syzygy_start_up)->Unit(benchmark::kMillisecond);

// Each round probes all positions; the first one, which maps the files, is not timed.
void syzygy_probe(benchmark::State& state, int (*probe)(const ProbePosition&, int&)) {
    [[maybe_unused]] static const BringUp ready = bring_up({.network = true});
    use_tables();
    std::vector<ProbePosition> positions;
    int success;
    for (const auto& row : read_rows(data_file("syzygy/oracle.tsv"))) {
        const Board board(row[0]);
        positions.push_back(make_probe_position(board.position));
        probe(positions.back(), success);
        if (success == PROBE_FAILED) positions.pop_back();  // not every table has the distances
    }
    for (auto _ : state) {
        for (const ProbePosition& position : positions) benchmark::DoNotOptimize(probe(position, success));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(positions.size()));
}
BENCHMARK_CAPTURE(syzygy_probe, wdl, probe_wdl);
BENCHMARK_CAPTURE(syzygy_probe, dtz, probe_dtz);

}  // namespace
