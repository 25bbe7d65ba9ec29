// tarn_tune: fits the piece-square tables of the hand-crafted evaluation to training records, or to choices. See
// docs/tuning.md.
#include "eval/eval_params.h"
#include "eval/hce.h"
#include "eval/kpk.h"
#include "frontend/output.h"
#include "platform/file_ops.h"
#include "platform/process.h"
#include "position/bitboard.h"
#include "position/position.h"
#include "tools/tune/choice_loss.h"
#include "tools/tune/params_text.h"
#include "tools/tune/result_loss.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

struct TuneOptions {
    ReadOptions read;
    FitOptions fit;
    double result_share = 0.7;
    double slope = 0;  // 0: fitted to the results
    const char* params = nullptr;
    const char* out = "tuned_params.txt";
    std::size_t length = 0;  // characters of the text; 0: as it comes
    std::vector<const char*> records;
    std::vector<const char*> choices;  // in place of records
};

constexpr const char* USAGE =
    "Usage: tarn_tune [options] RECORDS.bin ...\n"
    "       tarn_tune [options] --choices CHOICES.bin ...\n"
    "Fits the piece-square tables of the hand-crafted evaluation to 40-byte training records, or to choices of moves.\n"
    "  --out FILE          parameter text to write (tuned_params.txt)\n"
    "  --length N          write exactly so many characters; 0 as it comes (0)\n"
    "  --params FILE       parameter text to start from (the built-in one)\n"
    "  --choices FILE      of tarn_selfplay --choices; may be given several times, and not with records\n"
    "  --result-share X    share of the game result in the target, search score the rest (0.7)\n"
    "  --slope X           of the expected result, or the choice, by centipawn; 0 fits it to the data (0)\n"
    "  --prior N           pull of each value to its start, in positions (200)\n"
    "  --smoothness N      pull of each change to its neighbours', in positions (5000)\n"
    "  --average X         pull of each table's average to its start, in shares of the data's own pull (1)\n"
    "  --max-score N       leave out records with larger search scores (1500)\n"
    "  --hold-out PERCENT  records kept from the fit (5)\n"
    "  --seed N            of the choice of the hold-out (1)\n"
    "  --limit N           use at most so many positions\n"
    "  --iterations N      at most (200)\n"
    "  --threads N         (1)\n";

std::atomic<bool> interrupted = false;
static_assert(std::atomic<bool>::is_always_lock_free);

// The first interrupt ends the fit in order, a second one the program.
extern "C" void note_interrupt(int signal) {
    interrupted = true;
    std::signal(signal, SIG_DFL);
}

// True when the option is known; `value` is its argument.
bool set_option(TuneOptions& options, const char* name, const char* value) {
    const double number = std::atof(value);
    const auto is = [name](const char* option) { return std::strcmp(name, option) == 0; };
    if (is("--choices"))
        options.choices.push_back(value);
    else if (is("--out"))
        options.out = value;
    else if (is("--length"))
        options.length = std::strtoull(value, nullptr, 10);
    else if (is("--params"))
        options.params = value;
    else if (is("--result-share"))
        options.result_share = number;
    else if (is("--slope"))
        options.slope = number;
    else if (is("--prior"))
        options.fit.prior = number;
    else if (is("--smoothness"))
        options.fit.smoothness = number;
    else if (is("--average"))
        options.fit.average = number;
    else if (is("--max-score"))
        options.read.max_score = static_cast<int>(number);
    else if (is("--hold-out"))
        options.read.hold_out = number / 100.0;
    else if (is("--seed"))
        options.read.seed = std::strtoull(value, nullptr, 10);
    else if (is("--limit"))
        options.read.limit = std::strtoull(value, nullptr, 10);
    else if (is("--iterations"))
        options.fit.iterations = static_cast<int>(number);
    else if (is("--threads"))
        options.fit.threads = static_cast<int>(number);
    else
        return false;
    return true;
}

bool are_sensible(const TuneOptions& o) {
    return o.records.empty() != o.choices.empty() && o.result_share >= 0 && o.result_share <= 1 && o.slope >= 0 &&
           o.fit.prior >= 0 && o.fit.smoothness >= 0 && o.fit.average >= 0 && o.read.hold_out >= 0 &&
           o.read.hold_out < 1;
}

bool parse_arguments(int count, const char* const* arguments, TuneOptions& options) {
    for (int i = 1; i < count; ++i) {
        if (std::strncmp(arguments[i], "--", 2) != 0) {
            options.records.push_back(arguments[i]);
        } else if (i + 1 == count || !set_option(options, arguments[i], arguments[i + 1])) {
            return false;
        } else {
            ++i;
        }
    }
    return are_sensible(options);
}

unsigned long long shown(std::uint64_t n) {
    return n;
}

bool read_all_records(const TuneOptions& options, TuningSet& training, TuningSet& hold_out) {
    ReadCounts counts{};
    for (const char* name : options.records) {
        if (!read_records(name, options.read, training, hold_out, counts)) {
            std::fprintf(stderr, "cannot read %s\n", name);
            return false;
        }
    }
    std::printf(
        "%llu records: %llu kept; left out %llu damaged, %llu in check, %llu known endgames, %llu decided, "
        "%llu not quiet\n",
        shown(counts.read), shown(counts.kept), shown(counts.damaged), shown(counts.in_check),
        shown(counts.known_endgame), shown(counts.decided), shown(counts.loud));
    std::printf("%zu positions to fit, %zu held out\n", training.positions.size(), hold_out.positions.size());
    if (training.positions.empty()) std::fprintf(stderr, "no positions to fit\n");
    return !training.positions.empty();
}

bool read_all_choices(const TuneOptions& options, ChoiceSet& training, ChoiceSet& hold_out) {
    ChoiceCounts counts{};
    for (const char* name : options.choices) {
        if (!read_choices(name, options.read, options.fit.threads, training, hold_out, counts)) {
            std::fprintf(stderr, "cannot read %s\n", name);
            return false;
        }
    }
    std::printf("%llu choices, %llu damaged; %llu moves: %llu kept; left out %llu illegal, %llu far, %llu tactical\n",
                shown(counts.read), shown(counts.damaged), shown(counts.moves), shown(counts.kept),
                shown(counts.illegal), shown(counts.far), shown(counts.tactical));
    std::printf("%zu choices to fit, %zu held out\n", training.first_move.size(), hold_out.first_move.size());
    if (training.first_move.empty()) std::fprintf(stderr, "no choices to fit\n");
    return !training.first_move.empty();
}

bool write_file(const char* name, const std::string& text) {
    std::FILE* file = open_file(name, "wb");
    bool good = file && std::fwrite(text.data(), 1, text.size(), file) == text.size();
    if (file && std::fclose(file) != 0) good = false;
    if (!good) std::fprintf(stderr, "cannot write %s\n", name);
    return good;
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

TableChange fit(const TuneOptions& options, const FitData& training, const FitData& hold_out) {
    constexpr TableChange none{};
    const int threads = options.fit.threads;
    std::printf("iteration   training   hold-out\n%9d   %.6f   %.6f\n", 0, mean_loss(training, none, threads),
                mean_loss(hold_out, none, threads));
    return fit_tables(training, hold_out, options.fit, [](int iteration, double loss, double hold_out_loss) {
        std::printf("%9d   %.6f   %.6f\n", iteration, loss, hold_out_loss);
        std::fflush(stdout);
        return !interrupted;
    });
}

// The change that the rounded text holds.
TableChange rounded_change(const std::array<float, 2 * TABLE_ENTRIES>& before) {
    TableChange change;
    for (std::size_t v = 0; v < change.size(); ++v) {
        const EvalParams& param = eval_params[static_cast<std::size_t>(first_table_param) + v / 2];
        change[v] = static_cast<double>((v % 2 ? param.eg : param.mg) - before[v]);
    }
    return change;
}

std::array<float, 2 * TABLE_ENTRIES> table_values() {
    std::array<float, 2 * TABLE_ENTRIES> values;
    for (std::size_t v = 0; v < values.size(); ++v) {
        const EvalParams& param = eval_params[static_cast<std::size_t>(first_table_param) + v / 2];
        values[v] = v % 2 ? param.eg : param.mg;
    }
    return values;
}

// Fits, writes the text and prints what it holds. `shown_set` counts the entries.
bool fit_and_write(const TuneOptions& options, const FitData& training, const FitData& hold_out,
                   const TuningSet& shown_set) {
    const int threads = options.fit.threads;
    TableChange change = fit(options, training, hold_out);
    if (options.length && !fit_text_length(change, loss_curvature(training, change, threads), options.length)) {
        std::printf("the text cannot have %zu characters\n", options.length);
    }
    const auto before = table_values();
    const std::string text = params_text(change);
    if (!write_file(options.out, text)) return false;
    load_params_text(text);

    std::printf("\n");
    print_tables(stdout, entry_counts(shown_set));
    const TableChange written = rounded_change(before);
    std::printf("rounded: training %.6f, hold-out %.6f\n", mean_loss(training, written, threads),
                mean_loss(hold_out, written, threads));
    print_start_position();
    std::printf("wrote %s, %zu characters\n", options.out, text.size());
    return true;
}

void print_slope(const TuneOptions& options, const char* source) {
    std::printf("slope %.5f by centipawn%s\n", options.fit.slope, options.slope > 0 ? "" : source);
    std::fflush(stdout);
}

bool tune_to_results(TuneOptions& options) {
    TuningSet training, hold_out;
    if (!read_all_records(options, training, hold_out)) return false;
    options.fit.slope = options.slope > 0 ? options.slope : fitted_slope(training);
    print_slope(options, ", fitted to the results");
    set_targets(training, options.result_share, options.fit.slope);
    set_targets(hold_out, options.result_share, options.fit.slope);
    return fit_and_write(options, result_data(training, options.fit.slope), result_data(hold_out, options.fit.slope),
                         training);
}

bool tune_to_choices(TuneOptions& options) {
    ChoiceSet training, hold_out;
    if (!read_all_choices(options, training, hold_out)) return false;
    options.fit.slope = options.slope > 0 ? options.slope : fitted_choice_slope(training);
    print_slope(options, ", fitted to the choices");
    return fit_and_write(options, choice_data(training, options.fit.slope), choice_data(hold_out, options.fit.slope),
                         training.moves);
}

}  // namespace

int main(int count, char** arguments) {
    const Arguments taken = begin_process(count, arguments);
    TuneOptions options;
    if (!parse_arguments(taken.count, taken.words, options)) {
        std::fputs(USAGE, stderr);
        return 1;
    }
    init_tables();
    build_kpk_table();
    init_zobrist();
    register_params();
    load_default_params();
    if (options.params && !load_params_file(options.params)) {
        std::fprintf(stderr, "%s is no parameter text\n", options.params);
        return 1;
    }
    std::signal(SIGINT, note_interrupt);
    return (options.choices.empty() ? tune_to_results(options) : tune_to_choices(options)) ? 0 : 1;
}
