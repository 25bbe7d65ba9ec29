// From the command line's request to a run: the plan, the records, the start, and the interrupt key.
#include "training/train/train.h"

#include "frontend/base/output.h"
#include "frontend/base/settings.h"
#include "platform/file_path.h"
#include "platform/interrupts.h"
#include "search/engine.h"
#include "training/train/training_plan.h"
#include "training/train/training_run.h"
#include "training/train/training_set.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace {

constexpr std::size_t LEAST_HELD_OUT = 10000;

// The file is the data or a recipe; the command line's own values come last.
std::string make_plan(const TrainingRequest& request, TrainingPlan& plan) {
    const std::string file = request.file;
    std::error_code ignored;
    if (file.ends_with(".bin") || std::filesystem::is_directory(file_path(file), ignored)) {
        plan.data.push_back(file);
    } else if (std::string fault = read_recipe(file, plan); !fault.empty()) {
        return fault;
    }
    if (std::string_view(settings.output_file) != default_settings.output_file) plan.output = settings.output_file;
    if (request.learning_rate > 0) plan.learning_rate = request.learning_rate;
    if (request.batch > 0) plan.batch = request.batch;
    plan.epochs = request.epochs;
    return {};
}

std::string load_set(const TrainingPlan& plan, ThreadTeam& team, TrainingSet& set) {
    std::vector<TrainingRecord> records;
    for (const std::string& path : plan.data) {
        if (std::string fault = read_records(path, plan.positions, records); !fault.empty()) return fault;
    }
    if (plan.held_out_data.empty()) {
        set = make_training_set(std::move(records), plan.held_out, LEAST_HELD_OUT, team);
    } else {
        std::vector<TrainingRecord> others;
        if (std::string fault = read_records(plan.held_out_data, SIZE_MAX, others); !fault.empty()) return fault;
        set = make_training_set(std::move(records), 0, 0, team);
        const TrainingSet held_out = make_training_set(std::move(others), 0, 0, team);
        set.records.insert(set.records.end(), held_out.records.begin(), held_out.records.end());
        set.rejected += held_out.rejected;
    }
    if (!plan.yardstick.empty()) {
        if (std::string fault = read_records(plan.yardstick, SIZE_MAX, set.yardstick); !fault.empty()) return fault;
        if (set.yardstick.empty()) return "no records in " + plan.yardstick;
        if (plan.data.empty()) return {};
    }
    print_format("%zu records to train on, %zu held out, %zu damaged", set.training, set.held_out().size(),
                 set.rejected);
    return set.training == 0 ? "no records to train on" : std::string();
}

}  // namespace

int run_training(const TrainingRequest& request) {
    TrainingPlan plan;
    if (const std::string fault = make_plan(request, plan); !fault.empty()) {
        print_format("%s\n%s", fault.c_str(), recipe_usage().c_str());
        return 1;
    }
    if (bring_up({}) != BringUp::READY) return 1;
    ThreadTeam team(settings.threads);
    TrainingSet set;
    TrainingState state;
    std::string fault = load_set(plan, team, set);
    const bool only_measure = plan.data.empty() && !plan.yardstick.empty();
    if (fault.empty()) {
        fault = only_measure ? measure_networks(plan, set.yardstick) : start_state(plan, request.start, set, state);
    }
    if (!fault.empty()) {
        print_line(fault);
        return 1;
    }
    if (only_measure) return 0;
    catch_interrupts();
    const bool written = train_epochs(plan, set, state, team, interrupted);
    return written && state.epoch >= plan.epochs ? 0 : 1;
}
