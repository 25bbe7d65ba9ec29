// The recipe's names are one table; reading and the usage text both walk it.
#include "training/train/training_plan.h"

#include "frontend/base/output.h"
#include "platform/file_ops.h"
#include "platform/words.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <string_view>

namespace {

struct RecipeName {
    const char* name;
    const char* meaning;
    void (*set)(TrainingPlan& plan, std::string_view value);
};

bool is_on(std::string_view value) {
    return read_int(value, 0, 1) == 1;
}

constexpr int MOST_STEPS = 1000000000;

constexpr RecipeName NAMES[] = {
    {"data", "file of training records, or a folder of .bin files; may be repeated",
     [](TrainingPlan& plan, std::string_view value) { plan.data.emplace_back(value); }},
    {"positions", "records to read at most",
     [](TrainingPlan& plan, std::string_view value) {
         plan.positions = static_cast<std::size_t>(read_integer(value, 1, INT64_MAX));
     }},
    {"output", "network file to write; checkpoint, log and report stand beside it (trained.nn)",
     [](TrainingPlan& plan, std::string_view value) { plan.output = value; }},
    {"network", "network file to begin with, if asked for; several: with their mean (embedded)",
     [](TrainingPlan& plan, std::string_view value) { plan.network.emplace_back(value); }},
    {"hidden", "hidden width, a multiple of 16 (1536)",
     [](TrainingPlan& plan, std::string_view value) {
         plan.hidden = (read_int(value, COLUMNS, 8192) + COLUMNS - 1) / COLUMNS * COLUMNS;
     }},
    {"batch", "positions of one step (16384)",
     [](TrainingPlan& plan, std::string_view value) { plan.batch = read_int(value, 1, 1 << 20); }},
    {"rate", "highest learning rate (0.001)",
     [](TrainingPlan& plan, std::string_view value) { plan.learning_rate = read_number(value, 0, 1); }},
    {"final_rate", "share of it that is left at the end (0.01)",
     [](TrainingPlan& plan, std::string_view value) { plan.final_rate = read_number(value, 0, 1); }},
    {"warm_up", "steps until the highest rate (200)",
     [](TrainingPlan& plan, std::string_view value) { plan.warm_up = read_int(value, 0, MOST_STEPS); }},
    {"decay", "decay of the first-layer weights, relative to the learning rate (0)",
     [](TrainingPlan& plan, std::string_view value) { plan.decay = read_number(value, 0, 100); }},
    {"result_share", "share of the game's result in the target, 0 to 1; the score has the rest (0.35)",
     [](TrainingPlan& plan, std::string_view value) {
         double share = -1;
         const char* const end = value.data() + value.size();
         plan.result_share = std::from_chars(value.data(), end, share).ptr == end ? share : -1;
     }},
    {"loss", "squared or cross_entropy (squared)",
     [](TrainingPlan& plan, std::string_view value) {
         plan.loss = value == "cross_entropy" ? Loss::CROSS_ENTROPY : Loss::SQUARED;
     }},
    {"shared", "1: both king buckets share a set of rows while training (1)",
     [](TrainingPlan& plan, std::string_view value) { plan.shared_rows = is_on(value); }},
    {"held_out", "share of the records to judge by (0.02)",
     [](TrainingPlan& plan, std::string_view value) { plan.held_out = read_number(value, 0, 0.5); }},
    {"held_out_data", "records to judge by instead, from other games: file or folder",
     [](TrainingPlan& plan, std::string_view value) { plan.held_out_data = value; }},
    {"yardstick",
     "deeply judged records to measure each epoch's network by; without data: to measure each network named",
     [](TrainingPlan& plan, std::string_view value) { plan.yardstick = value; }},
    {"seed", "of the first values and the order of the records (1)",
     [](TrainingPlan& plan, std::string_view value) {
         plan.seed = static_cast<std::uint64_t>(read_integer(value, 0, INT64_MAX));
     }},
    {"report", "steps between two lines of the log (100)",
     [](TrainingPlan& plan, std::string_view value) { plan.report_steps = read_int(value, 1, MOST_STEPS); }},
    {"keep", "1: keep a network file of each epoch (0)",
     [](TrainingPlan& plan, std::string_view value) { plan.keep_all = is_on(value); }},
};

std::string_view trimmed(std::string_view text) {
    constexpr const char* BLANKS = " \t\r\n";
    text.remove_prefix(std::min(text.find_first_not_of(BLANKS), text.size()));
    text.remove_suffix(text.size() - (text.find_last_not_of(BLANKS) + 1));
    return text;
}

// Empty on success.
std::string apply(std::string_view line, TrainingPlan& plan) {
    line = trimmed(line.substr(0, line.find('#')));
    if (line.empty()) return {};
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos)
        return format_text("no '=' in \"%.*s\"", static_cast<int>(line.size()), line.data());
    const std::string_view name = trimmed(line.substr(0, equals));
    for (const RecipeName& known : NAMES) {
        if (name != known.name) continue;
        known.set(plan, trimmed(line.substr(equals + 1)));
        return plan.result_share >= 0 && plan.result_share <= 1 ? "" : "result_share is a number from 0 to 1";
    }
    return format_text("unknown name \"%.*s\"", static_cast<int>(name.size()), name.data());
}

}  // namespace

std::string read_recipe(const std::string& name, TrainingPlan& plan) {
    std::FILE* const file = open_file(name.c_str(), "r");
    if (!file) return "can't open " + name;
    std::string fault;
    char line[1024];
    while (fault.empty() && std::fgets(line, sizeof line, file)) fault = apply(line, plan);
    std::fclose(file);
    return fault.empty() ? fault : name + ": " + fault;
}

std::string recipe_usage() {
    std::string text =
        "-train FILE N [0|1]   train N epochs; 0: from random values, 1: from the recipe's network\n"
        "-train2 FILE N        go on from the checkpoint of an earlier run, to N epochs in all\n"
        "-lr X, -mbatch N, -threads N   learning rate, positions of a step, threads\n"
        "FILE is a file of training records (.bin), a folder of them, or a recipe: a text of lines \"name = value\".\n";
    for (const RecipeName& known : NAMES) text += format_text("    %-15s%s\n", known.name, known.meaning);
    return text;
}

double learning_rate_at(const TrainingPlan& plan, std::int64_t step, std::int64_t steps) {
    const auto now = static_cast<double>(step);
    const double rise = plan.warm_up > 0 ? std::min(1.0, (now + 1) / plan.warm_up) : 1.0;
    const double done = std::min(1.0, now / static_cast<double>(std::max<std::int64_t>(1, steps)));
    const double fall = plan.final_rate + (1 - plan.final_rate) * 0.5 * (1 + std::cos(std::numbers::pi * done));
    return plan.learning_rate * rise * fall;
}
