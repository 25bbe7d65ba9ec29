// Tablebase speed: start-up over a large directory, and probes of mapped tables. The tables come from the
// directory in TARN_SYZYGY_PATH; without it the probes are skipped.
#include "frontend/base/settings.h"
#include "search/engine.h"
#include "syzygy/tbprobe.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

void use_path(const std::string& path) {
    std::snprintf(settings.syzygy_path, sizeof settings.syzygy_path, "%s", path.c_str());
    tb_init();
}

// So many empty tables, of names whose first side has more pieces.
void make_table_files(const fs::path& directory, int count) {
    std::vector<std::string> sets{""};
    const std::string letters = "QRBNP";
    for (std::size_t i = 0; i < sets.size(); ++i) {
        if (sets[i].size() == 5) continue;
        for (std::size_t k = sets[i].empty() ? 0 : letters.find(sets[i].back()); k < letters.size(); ++k) {
            sets.push_back(sets[i] + letters[k]);
        }
    }
    for (const std::string& first : sets) {
        for (const std::string& second : sets) {
            if (first.size() <= second.size() || first.size() + second.size() > 5) continue;
            for (const char* extension : {".rtbw", ".rtbz"}) {
                if (count-- <= 0) return;
                std::string name = "K";
                name.append(first).append("vK").append(second).append(extension);
                std::ofstream(directory / name, std::ios::binary) << std::string(80, '\0');
            }
        }
    }
}

void BM_syzygy_start_up_1000_files(benchmark::State& state) {
    const fs::path directory = fs::temp_directory_path() / "tarn_syzygy_benchmark";
    fs::create_directories(directory);
    make_table_files(directory, 1000);
    for (auto _ : state) use_path(directory.string());
    use_path("");
    fs::remove_all(directory);
}
BENCHMARK(BM_syzygy_start_up_1000_files)->Unit(benchmark::kMillisecond);

// Random playable placements of the pieces, either side to move.
std::vector<ProbePosition> random_positions(const std::string& pieces, int count) {
    std::mt19937 random(1);
    const auto game = std::make_unique<GameState>();
    std::vector<ProbePosition> positions;
    while (count > 0) {
        std::string board(64, '1');
        for (const char piece : pieces) {
            std::size_t square;
            do square = random() % 64;
            while (board[square] != '1' || (std::tolower(piece) == 'p' && (square < 8 || square >= 56)));
            board[square] = piece;
        }
        for (int rank = 7; rank > 0; --rank) board.insert(static_cast<std::size_t>(rank) * 8, 1, '/');
        Position position{};
        init_game_state(*game, position);
        set_position(position, board + (random() % 2 ? " w - -" : " b - -"));
        if (!is_playable(position)) continue;
        positions.push_back(make_probe_position(position));
        --count;
    }
    return positions;
}

// Nanoseconds of the probe that half of the positions stay below, each at its best of a few.
double median_time(int (*probe)(const ProbePosition&, int&), const std::vector<ProbePosition>& positions) {
    using Clock = std::chrono::steady_clock;
    std::vector<double> times;
    for (const ProbePosition& position : positions) {
        double best = 0;
        for (int trial = 0; trial < 5; ++trial) {
            int success;
            const auto start = Clock::now();
            benchmark::DoNotOptimize(probe(position, success));
            const double time = std::chrono::duration<double, std::nano>(Clock::now() - start).count();
            best = trial == 0 ? time : std::min(best, time);
        }
        times.push_back(best);
    }
    std::nth_element(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2), times.end());
    return times[times.size() / 2];
}

// The time is the mean over positions that the caches of the processor do not hold; the counter is the median
// position's, warm.
void BM_syzygy_probe(benchmark::State& state, int (*probe)(const ProbePosition&, int&), const char* pieces) {
    const char* const path = std::getenv("TARN_SYZYGY_PATH");
    if (!path) {
        state.SkipWithError("TARN_SYZYGY_PATH is not set");
        return;
    }
    [[maybe_unused]] static const BringUp ready = bring_up({.network = true});
    use_path(path);
    const std::vector<ProbePosition> positions = random_positions(pieces, 1000);
    int success;
    for (const ProbePosition& position : positions) {  // maps the files
        probe(position, success);
        if (success == PROBE_FAILED) {
            state.SkipWithError("a table is missing");
            return;
        }
    }
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(probe(positions[next], success));
        next = next + 1 == positions.size() ? 0 : next + 1;
    }
    state.counters["median_ns"] = median_time(probe, positions);
}
BENCHMARK_CAPTURE(BM_syzygy_probe, wdl_KQvK, probe_wdl, "KQk");
BENCHMARK_CAPTURE(BM_syzygy_probe, wdl_KPvKP, probe_wdl, "KPkp");
BENCHMARK_CAPTURE(BM_syzygy_probe, wdl_KRPvKR, probe_wdl, "KRPkr");
BENCHMARK_CAPTURE(BM_syzygy_probe, wdl_KNNvKP, probe_wdl, "KNNkp");
BENCHMARK_CAPTURE(BM_syzygy_probe, dtz_KQvK, probe_dtz, "KQk");
BENCHMARK_CAPTURE(BM_syzygy_probe, dtz_KBNvK, probe_dtz, "KBNk");
BENCHMARK_CAPTURE(BM_syzygy_probe, dtz_KQvKR, probe_dtz, "KQkr");
BENCHMARK_CAPTURE(BM_syzygy_probe, dtz_KRPvKR, probe_dtz, "KRPkr");

}  // namespace
