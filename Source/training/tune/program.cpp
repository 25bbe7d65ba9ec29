// Reads training records, fits the piece-square tables to their results, writes the parameter text and prints it.
#include "training/tune/program.h"

#include "eval/eval_params.h"
#include "frontend/base/output.h"
#include "platform/interrupts.h"
#include "platform/output_file.h"
#include "search/engine.h"
#include "training/files.h"
#include "training/switches.h"
#include "training/tune/fit.h"
#include "training/tune/params_text.h"

#include <cstdio>
#include <memory>

namespace {

struct TuneOptions {
    ReadOptions read;
    FitOptions fit;
    std::string params;  // empty: the built-in ones
    std::string out = "tuned_params.txt";
    std::vector<std::string> records;
};

constexpr const char* INTRODUCTION =
    "Fits the piece-square tables of the hand-crafted evaluation to the results of games.\n\n"
    "  tarn_tune [options] RECORDS.bin...\n\n";

std::vector<Switch> tune_switches(TuneOptions& o) {
    constexpr double MOST = 1e12;
    return {
        {"--out", "FILE", "parameter text to write (tuned_params.txt)", name_in(o.out)},
        {"--params", "FILE", "parameter text to start from (the built-in one)", name_in(o.params)},
        {"--prior", "N", "pull of each value to its start, in positions (200)", real_in(o.fit.prior, 0, MOST)},
        {"--smoothness", "N", "pull of each change to its neighbours', in positions (5000)",
         real_in(o.fit.smoothness, 0, MOST)},
        {"--max-score", "N", "centipawns; records with larger search scores are left out (1500)",
         number_in(o.read.max_score, 0, 32767)},
        {"--hold-out", "N", "percent of the records that are kept from the fit (0..50, default 5)",
         number_in(o.read.hold_out, 0, 50)},
        {"--seed", "N", "of the choice which (1)", number_in(o.read.seed, 0, UINT64_MAX)},
    };
}

unsigned long long shown(std::uint64_t n) {
    return n;
}

bool read_all_records(const TuneOptions& options, TuningSet& training, TuningSet& hold_out) {
    ReadCounts counts{};
    for (const std::string& name : options.records) {
        std::vector<TrainingRecord> records;
        const std::string fault = read_record_file(name, SIZE_MAX, records);
        if (!fault.empty()) return complain_of(name, fault);
        add_records(records, options.read, training, hold_out, counts);
    }
    std::printf(
        "%llu records: %llu kept; left out %llu damaged, %llu in check, %llu known endgames, %llu decided, "
        "%llu not quiet\n",
        shown(counts.read), shown(counts.kept), shown(counts.damaged), shown(counts.in_check),
        shown(counts.known_endgame), shown(counts.decided), shown(counts.loud));
    std::printf("%zu positions to fit, %zu held out\n", training.positions.size(), hold_out.positions.size());
    return !training.positions.empty() || complain_of(options.records.front(), "no positions to fit");
}

bool write_text(const std::string& name, const std::string& text) {
    OutputFile file;
    if (!replace_output(file, name)) return false;
    put(file, text);
    return close_output(file);
}

// Everything but the bonus for the move cancels there, whatever the tables hold; a fault in the text would show.
void print_start_position() {
    auto game = std::make_unique<GameState>();
    auto hce = std::make_unique<HceState>();
    Position position{};
    init_game_state(*game, position);
    set_position(position, START_FEN);
    std::printf("start position: %d for the side to move\n", hce_evaluate(*hce, position, 0));
}

TableChange fit(const TuneOptions& options, const TuningSet& training, const TuningSet& hold_out) {
    constexpr TableChange none{};
    const double slope = options.fit.slope;
    std::printf("step   training   hold-out   (mean squared errors)\n%4d   %.6f   %.6f\n", 0,
                mean_error(training, none, slope), mean_error(hold_out, none, slope));
    std::fflush(stdout);
    return fit_tables(training, hold_out, options.fit, [](int step, double error, double hold_out_error) {
        std::printf("%4d   %.6f   %.6f\n", step, error, hold_out_error);
        std::fflush(stdout);
        return !interrupted();
    });
}

TableChange table_values() {
    TableChange values;
    for (std::size_t v = 0; v < values.size(); ++v) values[v] = table_value(v);
    return values;
}

bool tune(TuneOptions& options) {
    TuningSet training, hold_out;
    if (!read_all_records(options, training, hold_out)) return false;
    catch_interrupts();  // the values found so far are worth writing
    const double slope = options.fit.slope = fitted_slope(training);
    std::printf("slope %.5f by centipawn, fitted to the results\n", slope);
    TableChange change = fit(options, training, hold_out);
    if (!fit_text_length(change, error_curvature(training, change, slope), fixed_text_length())) {
        return complain_of(options.out, "the text cannot be brought to its length");
    }
    const TableChange before = table_values();
    const std::string text = params_text(change);
    if (!write_text(options.out, text)) return false;

    load_params_text(text);
    TableChange written = table_values();
    for (std::size_t v = 0; v < written.size(); ++v) written[v] -= before[v];
    std::printf("\n");
    print_tables(stdout, entry_counts(training));
    std::printf("rounded: training %.6f, hold-out %.6f\n", mean_error(training, written, slope),
                mean_error(hold_out, written, slope));
    print_start_position();
    std::printf("wrote %s, %zu characters\n", options.out.c_str(), text.size());
    return true;
}

}  // namespace

int run_tuner(int count, const char* const* arguments) {
    TuneOptions options;
    const std::vector<Switch> switches = tune_switches(options);
    const SwitchesResult result = read_switches(count, arguments, switches, options.records);
    if (result == SwitchesResult::HELP) print_switches(INTRODUCTION, switches);
    if (result != SwitchesResult::RUN) return result == SwitchesResult::HELP ? 0 : 1;
    if (options.records.empty()) {
        complain_of("tarn_tune", "no records to read; --help lists the options");
        return 1;
    }
    if (bring_up({.params_file = options.params.empty() ? nullptr : options.params.c_str()}) != BringUp::READY) {
        complain_of("--params", options.params + " is no parameter text");
        return 1;
    }
    return tune(options) ? 0 : 1;
}
