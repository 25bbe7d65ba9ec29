// Statistics of the first layer's nodes, the choice among them and the file of the pruned network.
#include "tools/prune_network.h"

#include "frontend/base/output.h"
#include "frontend/base/settings.h"
#include "platform/file_reports.h"
#include "platform/interrupts.h"
#include "platform/output_file.h"
#include "search/search_thread.h"
#include "tools/progress.h"
#include "tools/training_file.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>

namespace {

constexpr const char* PRUNED_NAME = "pruned.bin";
constexpr const char* USUAL_TRAINING_FILE = "\\chess\\trainingdata\\bin\\depth8_20240504\\20240510_d8.bin";
constexpr std::int32_t INPUTS = 768;  // of one king bucket
constexpr int OUTPUT_ROWS = 8;
constexpr int REFRESHING_PLY = 1;  // at the root the first layer is always computed afresh

std::string usual_training_file() {
    std::string name = USUAL_TRAINING_FILE;
#if !defined(_WIN32)
    std::replace(name.begin(), name.end(), '\\', '/');
#endif
    return name;
}

template <class T>
std::unique_ptr<T[]> allocate_zeros(std::int32_t count) {
    return std::unique_ptr<T[]>(new (std::nothrow) T[static_cast<std::size_t>(count)]());
}

// What pruning works with; allocated when there is a position to evaluate.
struct Workspace {
    std::unique_ptr<float[]> statistics;
    std::unique_ptr<std::int16_t[]> values;  // room for the unpruned network
};

bool prepare(Workspace& work) {
    if (!work.statistics) work.statistics = allocate_zeros<float>(network.hidden2);
    if (!work.statistics) {
        print_line("alloc for stats failed");
        return false;
    }
    if (!work.values) work.values = allocate_zeros<std::int16_t>(network.value_count);
    if (!work.values) print_line("alloc for tmpW failed");
    return work.values != nullptr;
}

// Counts the positions evaluated. False when memory ran out, which has been reported.
bool collect_statistics(const TrainingBuffer& buffer, Workspace& work, std::size_t& evaluated) {
    Progress progress{"positions evaluated"};
    bool enough_memory = true;
    for (std::size_t i = 0; i < buffer.count && enough_memory; ++i) {
        if (interrupted_at(progress, i)) break;
        Position& position = board();
        if (!record_to_position(buffer.records[i], position) || !is_playable(position)) continue;
        enough_memory = prepare(work) && add_contributions(game_record->eval.network, position, work.statistics.get());
        if (enough_memory) ++evaluated;
    }
    end_progress(progress);
    return enough_memory;
}

bool write_network(const std::int16_t* values, std::int32_t count) {
    const auto shape = [](std::int32_t field) { return static_cast<std::int16_t>(field); };
    const std::int16_t header[10] = {network.format_id,       network.quantisation,        network.second_quantisation,
                                     network.scale,           shape(network.king_buckets), shape(network.reserved1),
                                     shape(PRUNED_WIDTH),     shape(network.reserved3),    shape(network.reserved4),
                                     shape(network.reserved2)};
    OutputFile output;
    if (!replace_output(output, PRUNED_NAME)) return false;
    put(output, {reinterpret_cast<const char*>(header), sizeof header});
    put(output, {reinterpret_cast<const char*>(&count), sizeof count});
    put(output, {reinterpret_cast<const char*>(values), static_cast<std::size_t>(count) * sizeof *values});
    return close_output(output);
}

void add_half(float* statistics, const std::int16_t* values, const std::int16_t* weights, int hidden) {
    constexpr float UNIT = 0.000001f;  // keeps sums over many positions in a comfortable range
    for (int i = 0; i < hidden; ++i) statistics[i] += static_cast<float>(std::abs(values[i] * weights[i])) * UNIT;
}

void copy_row(const std::int16_t* source, const PrunedNodes& nodes, std::int16_t*& target) {
    for (const int node : nodes) *target++ = source[node];
}

}  // namespace

bool add_contributions(NetworkState& state, const Position& position, float* statistics) {
    if (nn_evaluate(state, position, REFRESHING_PLY) == NO_SCORE) return false;
    const int hidden = network.hidden;
    const std::int16_t* const values = activated_sums(state);
    for (const int c : {WHITE, BLACK}) {
        const int weights = c == position.side ? 0 : hidden;  // the side to move's values meet the first half
        add_half(statistics + c * hidden, values + c * hidden, state.output_row + weights, hidden);
    }
    return true;
}

PrunedNodes select_nodes(float* statistics, int hidden) {
    PrunedNodes nodes{};
    for (int& chosen : nodes) {
        float best = 0;
        for (int node = 0; node < hidden; ++node) {
            const float contribution = (statistics[node] + statistics[hidden + node]) / 2;
            if (contribution <= best) continue;
            best = contribution;
            chosen = node;
        }
        statistics[chosen] = statistics[hidden + chosen] = 0;
    }
    return nodes;
}

std::int32_t pruned_value_count(const Network& source) {
    return (source.king_buckets * INPUTS + 2 * OUTPUT_ROWS + 2) * PRUNED_WIDTH;
}

void copy_nodes(const Network& source, const PrunedNodes& nodes, std::int16_t* values) {
    // Every block is rows of one value for each node: inputs, halves of output rows, halves of the biases.
    for (std::int32_t row = 0; row < source.king_buckets * INPUTS; ++row) {
        copy_row(source.input_weights + static_cast<std::ptrdiff_t>(row) * source.hidden, nodes, values);
    }
    for (int half = 0; half < 2 * OUTPUT_ROWS; ++half) {
        copy_row(source.output_weights + half * source.hidden, nodes, values);
    }
    for (int half = 0; half < 2; ++half) copy_row(source.biases + half * source.hidden, nodes, values);
}

int prune_network(const char* training_file) {
    const std::string positions = training_file[0] != '\0' ? training_file : usual_training_file();
    if (!network.complete) {
        std::fprintf(stderr, "no complete network to prune\n");
        return 1;
    }
    if (!is_other_file(positions, PRUNED_NAME) || !is_other_file(settings.nn_file, PRUNED_NAME)) return 0;
    catch_interrupts();
    TrainingBuffer buffer;
    if (const auto status = read_training_file(positions.c_str(), buffer)) return *status;

    print_line("Collecting stats ...\n");
    const bool wide = network.hidden > PRUNED_WIDTH;
    Workspace work;
    std::size_t evaluated = 0;
    if (wide && !collect_statistics(buffer, work, evaluated)) return 1;
    if (interrupted()) return report_interrupted(evaluated);
    print_line("Writing pruned net to pruned.bin ...\n");
    if (!wide) return 0;
    if (evaluated == 0) {
        std::fprintf(stderr, "%s has no position to evaluate, nothing was written\n", positions.c_str());
        return 1;
    }
    copy_nodes(network, select_nodes(work.statistics.get(), network.hidden), work.values.get());
    return write_network(work.values.get(), pruned_value_count(network)) ? 0 : -1;
}
