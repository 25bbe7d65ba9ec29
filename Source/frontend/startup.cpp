// Start-up, dispatch and tear-down.
#include "frontend/startup.h"

#include "book/book_build.h"
#include "eval/eval_params.h"
#include "eval/network.h"
#include "frontend/base/output.h"
#include "frontend/base/program_end.h"
#include "frontend/base/settings.h"
#include "frontend/command_line.h"
#include "frontend/config_file.h"
#include "frontend/input.h"
#include "frontend/options.h"
#include "platform/clock.h"
#include "platform/file_ops.h"
#include "platform/file_reports.h"
#include "platform/process.h"
#include "position/position.h"
#include "search/engine.h"
#include "search/game_stack.h"
#include "search/hash_table.h"
#include "search/parallel.h"
#include "search/search_control.h"
#include "search/search_thread.h"
#include "search/think.h"
#include "search/time_manager.h"
#include "syzygy/tbprobe.h"
#include "tools/bench.h"
#include "tools/epd_analysis.h"
#include "tools/pgn.h"
#include "tools/prune_network.h"
#include "tools/training_data.h"

#if defined(TARN_TRAIN)
#include "training/train/train.h"
#endif

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// --- Steps of start-up ---------------------------------------------------------------------------------------

void prepare_process() {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    std::setvbuf(stdin, nullptr, _IONBF, 0);
    survive_closed_output();
    std::srand(monotonic_nanoseconds());
}

bool create_game_record() {
    game_record = create_search_thread(GAME_RECORD_INDEX);
    if (!game_record) std::fputs("no memory for the record of the game\n", stderr);
    return game_record != nullptr;
}

// A probe opens its book anew and takes a missing one for a book without moves, so start-up looks for mistyped names.
void check_book(const char* name) {
    const OwnedFile file(open_file(name, "rb"));
    if (!file || (std::getc(file.get()) == EOF && std::ferror(file.get()))) report_unreadable(name, errno);
}

// The files that the command line names.
void read_named_files() {
    if (settings.book_file[0] != '\0') check_book(settings.book_file);
    if (settings.config_file[0] != '\0' && !load_config()) report_unreadable(settings.config_file, errno);
}

// Everything that needs memory or files. False when the program cannot go on.
bool bring_up_subsystems() {
    print_format("info string Hello from %s", ENGINE_NAME);
    settings.hash_mb = capped_hash_mb(settings.hash_mb, settings.depth_limit, settings.node_limit);
    init_zobrist();
    if (!resize_hash_table()) return false;
    if (const char* failure = begin_timer_resolution()) print_line(failure);
    read_named_files();
    if (program_ends()) return false;
    open_log();
    init_eval_params();
    load_network();
    if (program_ends()) return false;
    if (std::strlen(settings.syzygy_path) > 1) tb_init();
    return !program_ends();
}

void tear_down() {
    hash_free();
    close_log();
    free_search_threads();
    end_timer_resolution();
}

// --- Run modes -----------------------------------------------------------------------------------------------

constexpr const char* CALIBRATION_FEN = "rnb1k2r/1pq1bppp/p2p1n2/4p3/4P3/2N1BN2/PPP1BPPP/R2QK2R w KQkq -";
constexpr std::uint64_t CALIBRATION_NODES = 35000;
constexpr float CALIBRATION_SECONDS = 5.0f;

// Measures this machine's speed with a search of fixed size. Only the result stays in the settings. False when there is
// no memory for a search.
bool calibrate_speed() {
    const Settings saved = settings;
    set_game_position(CALIBRATION_FEN);
    settings.node_limit = CALIBRATION_NODES;
    settings.depth_limit = MAX_DEPTH;
    settings.level_moves = 1;
    settings.level_time = CALIBRATION_SECONDS;
    settings.noise = SILENT;
    settings.threads = 1;
    settings.multipv = 1;
    settings.limit_strength = 0;
    const bool searched = analysis_search();
    search_control.think_flags = 0;
    settings = saved;
    if (!searched) return false;

    constexpr double TYPICAL_SPEEDUP = 1.18;  // of a longer search over this one
    const double seconds = search_control.elapsed;
    const double nodes = static_cast<double>(search_threads[0]->nodes);
    const double nps = nodes / (seconds + 0.002) * TYPICAL_SPEEDUP;
    settings.calibration_nps = static_cast<float>(nps);
    settings.max_elo = static_cast<float>(nps_to_elo(std::max(nps, 1.0)));
    print_format("info string et= %.3f, calibration nps= %0.0f, elo= %0.0f", seconds,
                 static_cast<double>(settings.calibration_nps), static_cast<double>(settings.max_elo));
    return true;
}

int play(const CommandLine&) {
    if (!calibrate_speed()) return 1;
    think_loop(poll_input);
    return 0;
}

struct RunModeEntry {
    RunMode mode;
    int (*run)(const CommandLine& command_line);  // returns the exit status
};

constexpr RunModeEntry RUN_MODES[] = {
    {RunMode::PLAY, play},
    {RunMode::EPD_ANALYSIS,
     [](const CommandLine&) { return analyse_epd(settings.input_file, Candidates::IGNORED, poll_input); }},
    {RunMode::PGN_SCAN, [](const CommandLine&) { return scan_pgn(board()); }},
    {RunMode::BENCH,
     [](const CommandLine& line) {
         run_bench(line.bench_on_calling_thread ? nullptr : poll_input);
         return 0;
     }},
    {RunMode::SHORT_BENCH,
     [](const CommandLine&) {
         run_short_bench();
         return 0;
     }},
    {RunMode::BOOK_BUILD, [](const CommandLine&) { return build_book(board()); }},
    {RunMode::BOOK_BUILD2, [](const CommandLine&) { return build_opening_tree(settings.input_file, poll_input); }},
    {RunMode::MAKE_CONFIG, [](const CommandLine&) { return 0; }},  // the start-up was all that was asked for
    {RunMode::MAKE_TRAIN_DATA,
     [](const CommandLine&) { return make_train_data(settings.input_file, settings.output_file); }},
    {RunMode::GEN_TRAIN_DATA, [](const CommandLine& line) { return gen_train_data(line.training_file); }},
    {RunMode::EPD_TO_BIN, [](const CommandLine&) { return epd_to_bin(settings.input_file); }},
    {RunMode::BIN_TO_EPD, [](const CommandLine& line) { return bin_to_epd(line.training_file); }},
    {RunMode::PRUNE_NET, [](const CommandLine& line) { return prune_network(line.training_file); }},
};

int run_mode(const CommandLine& command_line) {
    if (command_line.mode != RunMode::PLAY) ignore_end_of_input();
    for (const RunModeEntry& entry : RUN_MODES) {
        if (entry.mode == command_line.mode) return entry.run(command_line);
    }
    return 1;
}

// Only a variant of the program trains: it is built for one machine, which the engine never is.
int train_network([[maybe_unused]] const TrainingRequest& request) {
#if defined(TARN_TRAIN)
    return run_training(request);
#else
    print_raw("Need to compile with 'make train_'\n");
    return 1;
#endif
}

}  // namespace

int capped_hash_mb(int hash_mb, int depth_limit, std::uint64_t node_limit) {
    if (node_limit != 0) {
        int cap = 1;
        for (std::uint64_t nodes = 32000; node_limit > nodes && cap < 64; nodes *= 2) cap *= 2;
        return std::min(hash_mb, cap);
    }
    if (depth_limit < 8) return std::min(hash_mb, 1);
    if (depth_limit < 13) return std::min(hash_mb, 1 << (depth_limit - 7));
    return hash_mb;
}

int run_program(int count, const char* const* arguments) {
    prepare_process();
    if (answer_command_line(count, arguments)) return 0;
    if (!create_game_record()) return 1;
    build_tables();
    default_settings = settings;

    CommandLine command_line;
    int status = 1;
    if (read_command_line(count, arguments, command_line)) {
        if (command_line.mode == RunMode::TRAIN || command_line.mode == RunMode::TRAIN2) {
            status = train_network(command_line.training);
        } else if (bring_up_subsystems()) {
            status = run_mode(command_line);
        }
    }
    tear_down();
    return end_status(status);
}
