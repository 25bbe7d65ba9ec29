// tarn_duel: quick matches between evaluation parameters, and tuning by them. See docs/tuning.md.
#include "eval/kpk.h"
#include "frontend/settings.h"
#include "platform/clock.h"
#include "platform/file_ops.h"
#include "platform/interrupts.h"
#include "platform/process.h"
#include "platform/workers.h"
#include "position/bitboard.h"
#include "search/hash_table.h"
#include "search/search_thread.h"
#include "tools/duel/climb.h"
#include "tools/duel/duel_game.h"
#include "tools/duel/options.h"
#include "tools/selfplay/judged_search.h"
#include "tools/tune/params_text.h"

#include <cmath>
#include <cstdio>
#include <new>

namespace {

constexpr int POLL_MILLISECONDS = 50;
constexpr double PROGRESS_SECONDS = 2.0;

// What the processes share. Each worker writes its own counts.
struct WorkerCounts {
    Relaxed<std::uint64_t> pairs;
    Relaxed<std::uint64_t> wins;
    Relaxed<std::uint64_t> losses;
    Relaxed<std::uint64_t> squares;  // of the points of the pairs
    Relaxed<std::uint64_t> averaged;
    ClimbPoint sum;  // of the points of the second half of the climb
};
struct SharedState {
    Relaxed<std::uint8_t> stop;
    ClimbPoint point;
    WorkerCounts workers[256];
};
SharedState* shared = nullptr;

ClimbFamilies families;  // empty in a match

bool stop_requested() {
    return interrupted() || shared->stop;
}

bool load_params(const std::string& name) {
    register_params();
    load_default_params();
    if (name == "built-in" || load_params_file(name.c_str())) return true;
    std::fprintf(stderr, "%s is no parameter text\n", name.c_str());
    return false;
}

// The texts climbed towards, or the shapes of the tables.
bool choose_directions(const DuelOptions& options, const Player& start) {
    if (options.towards.empty()) families = shape_families();
    for (const std::string& name : options.towards) {
        if (!load_params(name)) return false;
        Player goal;
        std::copy(std::begin(eval_params), std::end(eval_params), goal.params.begin());
        families.push_back(family_towards(name, start, goal));
    }
    return true;
}

bool bring_up_engine(const DuelOptions& options, OpeningBook& book, Player (&players)[2]) {
    game_record = create_search_thread(GAME_RECORD_INDEX);
    if (!game_record) return false;
    init_tables();
    build_kpk_table();
    settings.hash_mb = 1;
    if (!hash_allocate()) return false;
    settings.use_nn = false;
    set_search_limits(options.nodes);
    for (std::size_t i = 0; i < 2; ++i) {
        if (!load_params(options.params[i % options.params.size()]) || !create_player(players[i])) return false;
    }
    return load_openings(options.openings, book) && (options.climb.empty() || choose_directions(options, players[0]));
}

WorkerCounts total(const DuelOptions& options) {
    WorkerCounts sum;
    for (int w = 0; w < options.processes; ++w) {
        const WorkerCounts& part = shared->workers[w];
        sum.pairs += part.pairs;
        sum.wins += part.wins;
        sum.losses += part.losses;
        sum.squares += part.squares;
        sum.averaged += part.averaged;
        for (std::size_t i = 0; i < sum.sum.size(); ++i) sum.sum[i] += part.sum[i];
    }
    return sum;
}

double elo(double share) {
    return -400.0 * std::log10(1.0 / share - 1.0);
}

// The result so far; the error (95 percent) is that of pairs, whose two games depend on each other.
void print_result(const DuelOptions& options, std::FILE* out, const char* end) {
    const WorkerCounts sum = total(options);
    const auto pairs = static_cast<double>(sum.pairs);
    const double wins = static_cast<double>(sum.wins), losses = static_cast<double>(sum.losses);
    if (pairs < 2 || wins + losses == 0) return;
    const double mean = (wins - losses) / pairs;  // of -2..2
    const double error = 1.96 * std::sqrt((static_cast<double>(sum.squares) / pairs - mean * mean) / pairs) / 4;
    const double share = 0.5 + mean / 4;
    std::fprintf(out, "%.0f games +%.0f -%.0f =%.0f  %.1f %%", 2 * pairs, wins, losses, 2 * pairs - wins - losses,
                 100 * share);
    if (share - error > 0 && share + error < 1) {
        std::fprintf(out, "  Elo %+.1f +- %.1f", elo(share), (elo(share + error) - elo(share - error)) / 2);
    }
    std::fputs(end, out);
    std::fflush(out);
}

// One worker's pairs; a climb begins from `start`. False when there was nothing to play from.
bool play(const DuelOptions& options, const OpeningBook& book, const Player& start, Player (&players)[2], int worker) {
    WorkerCounts& counts = shared->workers[worker];
    const auto processes = static_cast<std::uint64_t>(options.processes);
    for (std::uint64_t pair = static_cast<std::uint64_t>(worker); pair < options.pairs && !launcher_is_gone();
         pair += processes) {
        Random random = random_stream(options.seed, 0, pair);
        const ClimbStep step = climb_step(options.distance, options.rate, pair, options.pairs);
        const Signs signs = random_signs(random, families.size());
        if (!options.climb.empty()) {
            set_point(players[0], start, families, shared->point, step.distance, signs);
            set_point(players[1], start, families, shared->point, -step.distance, signs);
        }
        const PairResult result = play_pair(players[0], players[1], book, random, stop_requested);
        if (!result.finished && !stop_requested()) {
            std::fprintf(stderr, "no even start found; the openings may be too uneven\n");
            return false;
        }
        if (!result.finished) return true;
        counts.pairs += 1;
        counts.wins += static_cast<std::uint64_t>(result.wins);
        counts.losses += static_cast<std::uint64_t>(result.losses);
        counts.squares += static_cast<std::uint64_t>(result.points * result.points);
        if (options.climb.empty()) continue;
        move_point(shared->point, step, signs, result.points);
        if (2 * pair < options.pairs) continue;
        counts.averaged += 1;
        for (std::size_t i = 0; i < counts.sum.size(); ++i) counts.sum[i] += shared->point[i];
    }
    return true;
}

// The point that a climb has come to: the average of its second half, which wanders less than its end.
ClimbPoint climbed_point(const DuelOptions& options) {
    const WorkerCounts sum = total(options);
    if (sum.averaged == 0) return shared->point;
    ClimbPoint point = sum.sum;
    for (Relaxed<double>& value : point) value = value / static_cast<double>(sum.averaged);
    return point;
}

bool finish_climb(const DuelOptions& options, const Player& start) {
    const ClimbPoint point = climbed_point(options);
    std::printf("        middle game and ending");
    for (const ClimbFamily& family : families) std::printf("   %s", family.name.c_str());
    for (std::size_t t = 0; t < TABLE_PARAMS; ++t) {
        std::printf("\n%-8s", eval_params[static_cast<std::size_t>(first_table_param) + 64 * t].name);
        for (std::size_t f = 0; f < families.size(); ++f) {
            std::printf("  %7.1f %7.1f", point[climb_index(f, t, false)].load(), point[climb_index(f, t, true)].load());
        }
    }
    std::printf("\n");
    Player end;
    set_point(end, start, families, point, 0, Signs{});
    std::copy(end.params.begin(), end.params.end(), std::begin(eval_params));
    const std::string text = params_text(TableChange{});
    std::FILE* file = open_file(options.climb.c_str(), "wb");
    bool good = file && std::fwrite(text.data(), 1, text.size(), file) == text.size();
    if (file && std::fclose(file) != 0) good = false;
    std::printf(good ? "wrote %s\n" : "cannot write %s\n", options.climb.c_str());
    return good;
}

bool watch_workers(const DuelOptions& options) {
    const bool wanted = error_output_is_terminal();
    double next = monotonic_seconds() + PROGRESS_SECONDS;
    while (workers_running()) {
        if (interrupted()) shared->stop = 1;
        sleep_milliseconds(POLL_MILLISECONDS);
        if (!wanted || monotonic_seconds() < next) continue;
        next = monotonic_seconds() + PROGRESS_SECONDS;
        print_result(options, stderr, "   \r");
    }
    if (wanted) std::fputc('\n', stderr);
    return workers_failed() == 0;
}

int run(const DuelOptions& options) {
    OpeningBook book;
    static Player players[2];
    if (!bring_up_engine(options, book, players)) return 1;
    void* const memory = allocate_shared(sizeof(SharedState));
    if (!memory) return 1;
    shared = new (memory) SharedState;
    const Player start{players[0].params};
    catch_interrupts();
    bool good = true;
    if (options.processes == 1) {
        good = play(options, book, start, players, 0);
    } else {
        const int role = start_workers(options.processes);
        if (role < 0) {
            std::fprintf(stderr, "--processes: cannot start workers\n");
            return 1;
        }
        if (role < options.processes) return play(options, book, start, players, role) ? 0 : 1;
        good = watch_workers(options);
    }
    print_result(options, stdout, "\n");
    if (!options.climb.empty()) good &= finish_climb(options, start);
    return good ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
    const Arguments taken = begin_process(count, arguments);
    DuelOptions options;
    if (!read_duel_options(taken.count, taken.words, options)) {
        print_duel_usage();
        return 1;
    }
    return run(options);
}
