// What the command line asks for: brings the engine up, plays games in one or several processes, and reports.
#include "training/selfplay/program.h"

#include "frontend/base/settings.h"
#include "platform/clock.h"
#include "platform/file_ops.h"
#include "platform/interrupts.h"
#include "platform/process.h"
#include "platform/words.h"
#include "platform/workers.h"
#include "search/engine.h"
#include "training/selfplay/endings.h"
#include "training/selfplay/game.h"
#include "training/selfplay/game_files.h"
#include "training/selfplay/judged_search.h"
#include "training/selfplay/merge.h"
#include "training/selfplay/options.h"
#include "training/selfplay/vary.h"

#include <chrono>
#include <cstdio>
#include <new>

namespace {

constexpr int POLL_MILLISECONDS = 50;
constexpr double PROGRESS_SECONDS = 1.0;

// What launcher and workers share.
Relaxed<std::uint8_t>* stop_all = nullptr;
Statistics* process_statistics = nullptr;  // one for each process

bool stop_requested() {
    return interrupted() || *stop_all;
}

bool must_exist(const char* option, const std::string& name) {
    if (name.empty() || file_exists(name.c_str())) return true;
    return complain_of(option, name + " cannot be opened");
}

bool bring_up_engine(const SelfplayOptions& options) {
    if (!must_exist("--network", options.network) || !must_exist("--params", options.params)) return false;
    if (!options.network.empty()) copy_text(settings.nn_file, options.network);
    EngineNeeds needs{.hash_mb = options.hash_mb, .network = options.use_network};
    if (!options.params.empty()) needs.params_file = options.params.c_str();
    if (!options.syzygy.empty()) needs.tablebase_folder = options.syzygy.c_str();
    set_search_limits(options.nodes);
    switch (bring_up(needs)) {
        case BringUp::READY: return true;
        case BringUp::NO_MEMORY: return complain_of("--hash", "no memory for the transposition table");
        case BringUp::NO_PARAMS: return complain_of("--params", options.params + " is no parameter file");
        case BringUp::NO_NETWORK: return complain_of("--network", "no complete network");
        case BringUp::NO_TABLEBASES: return complain_of("--syzygy", "no tables in " + options.syzygy);
    }
    return false;
}

class ProgressLine {
public:
    ProgressLine() : start_(monotonic_seconds()), wanted_(error_output_is_terminal()) {}
    double seconds() const { return monotonic_seconds() - start_; }
    void show(const SelfplayOptions& options, bool last = false) {
        if (!wanted_ || (!last && seconds() < next_)) return;
        next_ = seconds() + PROGRESS_SECONDS;
        print_progress(sum(options), seconds());
        if (last) std::fputc('\n', stderr);
    }
    static Statistics sum(const SelfplayOptions& options) {
        Statistics total;
        for (int i = 0; i < options.processes; ++i) add_statistics(total, process_statistics[i]);
        return total;
    }

private:
    double start_;
    bool wanted_;
    double next_ = PROGRESS_SECONDS;
};

void count_game(Statistics& statistics, const Game& game) {
    statistics.games += 1;
    statistics.results[game.result + 1] += 1;
    statistics.endings[game.ending] += 1;
    statistics.plies += game.moves.size();
    statistics.positions += game.records.size();
    for (const TrainingRecord& record : game.records) statistics.score_classes[score_class(record.sc)] += 1;
}

// Games of this run that fall to one process.
std::uint64_t share_of(const SelfplayOptions& options, int worker) {
    if (options.games == 0) return UINT64_MAX;
    const auto processes = static_cast<std::uint64_t>(options.processes);
    return options.games / processes + (static_cast<std::uint64_t>(worker) < options.games % processes);
}

// Plays the games of one process. `progress` is null in a worker.
bool play_games(const SelfplayOptions& options, const OpeningBook& book, int worker, GameFiles& files,
                ProgressLine* progress) {
    Statistics& statistics = process_statistics[worker];
    SeenPositions seen;
    const GameMaker maker{options, book, seen, statistics, stop_requested};
    Game game;
    for (std::uint64_t left = share_of(options, worker); left > 0 && !launcher_is_gone(); --left) {
        const Random random = random_stream(options.seed, static_cast<std::uint64_t>(worker), files.games());
        const GameOutcome outcome = play_game(maker, random, game);
        if (outcome == GameOutcome::STOPPED) return true;
        if (outcome == GameOutcome::NO_START) {
            return complain_of("tarn_selfplay", "no even start found; the openings may be too uneven");
        }
        if (!files.write(game)) return false;
        count_game(statistics, game);
        if (progress) progress->show(options);
    }
    return true;
}

std::string worker_prefix(const SelfplayOptions& options, int worker) {
    return options.processes == 1 ? options.output : options.output + '.' + std::to_string(worker);
}

bool run_alone(const SelfplayOptions& options, const OpeningBook& book, ProgressLine& progress) {
    GameFiles files;
    return files.open(worker_prefix(options, 0), options) && play_games(options, book, 0, files, &progress);
}

int run_worker(const SelfplayOptions& options, const OpeningBook& book, int worker) {
    GameFiles files;
    if (files.open(worker_prefix(options, worker), options) && play_games(options, book, worker, files, nullptr))
        return 0;
    *stop_all = 1;
    return 1;
}

bool watch_workers(const SelfplayOptions& options, ProgressLine& progress) {
    while (workers_running()) {
        if (interrupted()) *stop_all = 1;
        progress.show(options);
        sleep_milliseconds(POLL_MILLISECONDS);
    }
    if (workers_failed() == 0) return true;
    return complain_of("--processes", std::to_string(workers_failed()) + " failed");
}

bool create_shared_state(const SelfplayOptions& options) {
    const auto processes = static_cast<std::size_t>(options.processes);
    void* const memory = allocate_shared(sizeof(Statistics) * (processes + 1));
    if (!memory) return false;
    process_statistics = static_cast<Statistics*>(memory);
    for (std::size_t i = 0; i < processes; ++i) new (&process_statistics[i]) Statistics;
    stop_all = new (&process_statistics[processes]) Relaxed<std::uint8_t>(0);
    return true;
}

std::uint64_t seed_from_clock() {
    return static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch().count()) | 1;
}

int play(const SelfplayOptions& options) {
    survive_closed_output();
    OpeningBook book;
    if (!load_openings(options.openings, book) || !create_shared_state(options)) return 1;
    std::printf("seed %llu\n", static_cast<unsigned long long>(options.seed));
    std::fflush(stdout);

    catch_interrupts();
    ProgressLine progress;
    bool good;
    if (options.processes == 1) {
        good = run_alone(options, book, progress);
    } else {
        const int role = start_workers(options.processes);
        if (role < 0) {
            complain_of("--processes", "cannot start workers; start several programs with their own --output");
            return 1;
        }
        if (role < options.processes) return run_worker(options, book, role);
        good = watch_workers(options, progress);
    }
    progress.show(options, true);
    print_summary(ProgressLine::sum(options), progress.seconds());
    return good ? 0 : 1;
}

}  // namespace

int run_selfplay(int count, const char* const* arguments) {
    SelfplayOptions options;
    switch (read_options(count, arguments, options)) {
        case SwitchesResult::HELP: return 0;
        case SwitchesResult::BAD: return 1;
        case SwitchesResult::RUN: break;
    }
    build_tables();  // positions are checked for attacks in every mode
    if (!options.merge_output.empty()) return merge_records(options) ? 0 : 1;
    if (options.seed == 0) options.seed = seed_from_clock();
    if (!bring_up_engine(options)) return 1;
    if (!options.vary_output.empty()) return vary_records(options) ? 0 : 1;
    if (!options.endings_output.empty()) return write_endings(options) ? 0 : 1;
    return play(options);
}
