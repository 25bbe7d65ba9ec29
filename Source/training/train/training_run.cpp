// The loop over epochs and steps, its log, and what is written at the end of an epoch.
#include "training/train/training_run.h"

#include "eval/network.h"
#include "frontend/base/output.h"
#include "frontend/base/settings.h"
#include "platform/clock.h"
#include "platform/file_ops.h"
#include "platform/process.h"
#include "platform/words.h"
#include "training/files.h"
#include "training/train/export_network.h"
#include "training/train/import_network.h"
#include "training/train/reports.h"

#include <algorithm>
#include <cstdio>
#include <span>

namespace {

constexpr std::size_t QUICK_CHECK = 32768;          // held-out records for a line of the log
constexpr std::size_t QUANTISATION_CHECK = 100000;  // for the comparison with the engine's inference

std::span<const TrainingRecord> at_most(std::span<const TrainingRecord> records, std::size_t count) {
    return records.first(std::min(records.size(), count));
}

// The name with text put in before its extension.
std::string with_suffix(const std::string& name, const std::string& suffix) {
    const std::size_t dot = name.find_last_of("./\\");
    const std::size_t at = dot == std::string::npos || name[dot] != '.' ? name.size() : dot;
    return name.substr(0, at) + suffix + name.substr(at);
}

RunIdentity identity_of(const TrainingPlan& plan, const TrainingSet& set) {
    return {plan.hidden, plan.batch, plan.seed, set.training};
}

// Steps of an epoch: whole batches, the rest being left for another epoch's order; or one smaller one.
struct EpochShape {
    int batch;
    int steps;
};

EpochShape epoch_shape(const TrainingPlan& plan, const TrainingSet& set) {
    const auto batch = static_cast<std::size_t>(plan.batch);
    if (set.training < batch) return {static_cast<int>(set.training), 1};
    return {plan.batch, static_cast<int>(set.training / batch)};
}

// Lines of the log, and the progress line on a terminal.
class Progress {
public:
    Progress(const TrainingPlan& plan, bool afresh)
        : plan_(plan),
          terminal_(error_output_is_terminal()),
          log_(open_file(log_name(plan).c_str(), afresh ? "w" : "a")) {
        if (log_ && afresh) std::fputs("step\tepoch\trate\ttrain_loss\theld_out_loss\tpositions_per_second\n", log_);
    }
    ~Progress() {
        if (log_) std::fclose(log_);
    }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void count(double loss, int positions, double seconds) {
        loss_ += loss;
        ++steps_;
        positions_ += positions;
        seconds_ += seconds;
    }
    bool is_due() const { return steps_ >= plan_.report_steps; }

    void show_step(const TrainingState& state, int steps_of_epoch) {
        if (!terminal_ || monotonic_seconds() - shown_ < 0.5) return;
        shown_ = monotonic_seconds();
        std::fprintf(stderr, "\repoch %d, step %d of %d, loss %.6f, %.0f positions/s   ", state.epoch + 1,
                     state.epoch_step, steps_of_epoch, loss_ / std::max(1, steps_), speed());
    }

    void write_line(const TrainingState& state, double rate, double held_out) {
        if (log_) {
            std::fprintf(log_, "%lld\t%d\t%.8f\t%.7f\t%.7f\t%.0f\n", static_cast<long long>(state.step),
                         state.epoch + 1, rate, loss_ / std::max(1, steps_), held_out, speed());
            std::fflush(log_);
        }
        std::fprintf(stderr, "%sstep %lld, epoch %d, rate %.6f, loss %.6f, held out %.6f, %.0f positions/s%s\n",
                     terminal_ ? "\r" : "", static_cast<long long>(state.step), state.epoch + 1, rate,
                     loss_ / std::max(1, steps_), held_out, speed(), terminal_ ? "      " : "");
        loss_ = seconds_ = 0;
        steps_ = 0;
        positions_ = 0;
    }

private:
    double speed() const { return seconds_ > 0 ? static_cast<double>(positions_) / seconds_ : 0; }

    const TrainingPlan& plan_;
    bool terminal_;
    std::FILE* log_;
    double loss_ = 0;
    double seconds_ = 0;
    double shown_ = 0;
    int steps_ = 0;
    std::int64_t positions_ = 0;
};

// Empty on success.
std::string load(const std::string& name) {
    if (name.size() >= sizeof settings.nn_file) return "the file's name is too long: " + name;
    copy_text(settings.nn_file, name);
    load_network();
    return network.complete ? "" : name + ": the network does not load";
}

std::vector<std::string> networks(const TrainingPlan& plan) {
    return plan.network.empty() ? std::vector<std::string>{"embedded"} : plan.network;
}

// Loads the file into the engine, compares it with the model and measures it.
std::string engine_report(const TrainingPlan& plan, const TrainingState& state, const TrainingSet& set, Workspace& work,
                          ThreadTeam& team) {
    if (const std::string fault = load(plan.output); !fault.empty()) return "quantisation not checked: " + fault + "\n";
    const auto records = at_most(set.held_out(), QUANTISATION_CHECK);
    const QuantisationError error = quantisation_error(state.model, records, work, team);
    const std::string text =
        format_text("quantisation: mean %.3f, largest %.2f centipawns over %d held-out positions\n", error.mean,
                    error.most, error.positions);
    return set.yardstick.empty() ? text : text + yardstick_report(set.yardstick);
}

void say_stopped(const TrainingPlan& plan) {
    print_format("stopped; %s written", checkpoint_name(plan).c_str());
}

// Network, checkpoint and report of the epoch that has just ended.
bool finish_epoch(const TrainingPlan& plan, const TrainingSet& set, const TrainingState& state, Workspace& work,
                  ThreadTeam& team) {
    ExportReport exported;
    bool written = write_network(plan.output, state.model, exported);
    if (plan.keep_all) {
        const std::string numbered = with_suffix(plan.output, format_text("-%03d", state.epoch));
        written &= write_network(numbered, state.model, exported);
    }
    written &= write_checkpoint(checkpoint_name(plan), identity_of(plan, set), state);

    const HeldOutError error = held_out_error(state.model, set.held_out(), plan.result_share, work, team);
    std::string report = format_text("epoch %d, held-out loss %.7f, against the search score alone %.7f\n", state.epoch,
                                     error.target, error.score);
    report += format_text(
        "sums: at most %d of 32767 in any update (%d units scaled down); output weights: at most %d; "
        "output sum: at most %.3f of 2^31\n",
        exported.largest_sum, exported.scaled_units, exported.largest_output_weight, exported.output_bound);
    if (exported.output_bound >= 1) report += "warning: the output sum may overflow in extreme positions; use decay\n";
    if (written) report += engine_report(plan, state, set, work, team);
    report += calibration_report(state.model, set.held_out(), work, team);
    print_raw("%s", report.c_str());

    written &= write_file_atomically(report_name(plan), {report});
    if (!written) print_line("can't write the files of this epoch");
    return written;
}

}  // namespace

std::string checkpoint_name(const TrainingPlan& plan) {
    return plan.output + ".checkpoint";
}
std::string log_name(const TrainingPlan& plan) {
    return plan.output + ".tsv";
}
std::string report_name(const TrainingPlan& plan) {
    return plan.output + ".report";
}

std::string measure_networks(const TrainingPlan& plan, std::span<const TrainingRecord> yardstick) {
    for (const std::string& name : networks(plan)) {
        if (std::string fault = load(name); !fault.empty()) return fault;
        print_raw("%s", yardstick_report(yardstick).c_str());
    }
    return {};
}

std::string start_state(const TrainingPlan& plan, TrainingStart start, const TrainingSet& set, TrainingState& state) {
    if (start == TrainingStart::CHECKPOINT) {
        RunIdentity identity;
        if (std::string fault = read_checkpoint(checkpoint_name(plan), identity, state); !fault.empty()) return fault;
        const RunIdentity wanted = identity_of(plan, set);
        if (identity.hidden != wanted.hidden) return "the checkpoint has another hidden width";
        const bool same = identity.batch == wanted.batch && identity.seed == wanted.seed &&
                          identity.training_records == wanted.training_records;
        if (state.epoch_step != 0 && !same) return "the checkpoint stopped in the middle of an epoch of other data";
        return {};
    }
    state = make_training_state(plan.hidden);
    randomise(state.model, plan.seed);
    if (start == TrainingStart::NETWORK) {
        std::vector<Model> models;
        for (const std::string& name : networks(plan)) {
            if (std::string fault = load(name); !fault.empty()) return fault;
            models.push_back(make_model(plan.hidden));
            if (!import_network(models.back())) return name + ": this network has another shape";
        }
        state.model = mean_model(models);
    }
    return {};
}

bool train_epochs(const TrainingPlan& plan, const TrainingSet& set, TrainingState& state, ThreadTeam& team,
                  const std::function<bool()>& stop) {
    const EpochShape shape = epoch_shape(plan, set);
    const std::int64_t steps = std::int64_t{plan.epochs} * shape.steps;
    Workspace work;
    Progress progress(plan, state.step == 0);
    std::vector<std::uint32_t> order;
    while (state.epoch < plan.epochs) {
        shuffle_order(order, set.training, plan.seed, state.epoch);
        for (; state.epoch_step < shape.steps;) {
            const double start = monotonic_seconds();
            const std::uint32_t* const chosen = order.data() + std::ptrdiff_t{state.epoch_step} * shape.batch;
            fill_batch(
                work.batch, shape.batch, [&](int i) -> const TrainingRecord& { return set.records[chosen[i]]; },
                plan.result_share, team);
            const double rate = learning_rate_at(plan, state.step, steps);
            const double loss = train_batch(state, work, {plan.loss, plan.shared_rows, rate, plan.decay}, team);
            ++state.epoch_step;
            progress.count(loss, shape.batch, monotonic_seconds() - start);
            progress.show_step(state, shape.steps);
            const bool last = state.epoch_step == shape.steps;
            if (progress.is_due() || last) {
                const auto records = last ? set.held_out() : at_most(set.held_out(), QUICK_CHECK);
                const double error = held_out_error(state.model, records, plan.result_share, work, team).target;
                progress.write_line(state, rate, error);
            }
            if (!last && stop()) {
                const bool written = write_checkpoint(checkpoint_name(plan), identity_of(plan, set), state);
                if (written) {
                    say_stopped(plan);
                } else {
                    print_format("can't write %s", checkpoint_name(plan).c_str());
                }
                return written;
            }
        }
        state.epoch_step = 0;
        ++state.epoch;
        if (!finish_epoch(plan, set, state, work, team)) return false;
        if (state.epoch < plan.epochs && stop()) {
            say_stopped(plan);
            break;
        }
    }
    return true;
}
