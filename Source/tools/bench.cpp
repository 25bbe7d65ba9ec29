// The benchmark run: limits, searches, report.
#include "tools/bench.h"

#include "frontend/base/output.h"
#include "frontend/base/settings.h"
#include "search/hash_table.h"
#include "search/info_lines.h"
#include "search/search_control.h"
#include "search/search_thread.h"

#include <optional>
#include <string_view>

namespace {

constexpr int USUAL_DEPTH = 17;
constexpr int SHORT_DEPTH = 13;
constexpr int DEEPEST_WANTED = 50;  // a depth limit above this was not meant for the benchmark
constexpr float SECONDS_A_POSITION = 99.0f;
constexpr double START_SECONDS = 0.01;  // keeps the speed finite

struct Totals {
    double seconds = START_SECONDS;
    double nodes = 0;
};

void set_limits(int usual_depth) {
    settings.level_time = SECONDS_A_POSITION;
    settings.noise = SILENT;
    if (settings.depth_limit > DEEPEST_WANTED) settings.depth_limit = static_cast<std::int8_t>(usual_depth);
}

// Every position meets the same empty table, so that its time and nodes do not depend on the others.
bool search_position(std::string_view fen, InputPoller poll) {
    set_position(board(), fen);
    hash_clear();
    const bool searched = start_search(THINK_TOOL, poll != nullptr, poll);
    sum_statistics();
    search_control.think_flags = 0;
    return searched;
}

// Nothing when a search could not be started.
std::optional<Totals> search_positions(InputPoller poll) {
    print_format("%s running benchmark using %d threads", ENGINE_NAME, settings.threads);
    Totals totals;
    int number = 0;
    for (const std::string_view fen : BENCH_POSITIONS) {
        if (!search_position(fen, poll)) return std::nullopt;
        if (settings.quit) break;
        totals.nodes += static_cast<double>(search_control.nodes);
        totals.seconds += static_cast<double>(search_control.elapsed);
        print_format("pos %2d: %6.2f seconds", number++, static_cast<double>(search_control.elapsed));
    }
    settings.quit = 1;
    return totals;
}

}  // namespace

void run_bench(InputPoller poll) {
    set_limits(USUAL_DEPTH);
    const std::optional<Totals> totals = search_positions(poll);
    if (!totals) return;
    print_format("total time= %0.2f seconds, nodes= %.0f, nps= %.0f", totals->seconds, totals->nodes,
                 totals->nodes / totals->seconds);
}

void run_short_bench() {
    set_limits(SHORT_DEPTH);
    const std::optional<Totals> totals = search_positions(nullptr);
    if (totals) print_format("%.0f nodes %.0f nps", totals->nodes, totals->nodes / totals->seconds);
}
