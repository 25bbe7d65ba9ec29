// Walks through held-out records batch by batch and adds up what each report wants to know.
#include "training/train/reports.h"

#include "eval/inference.h"
#include "frontend/base/output.h"
#include "position/position.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <functional>
#include <memory>

namespace {

constexpr std::size_t REPORT_BATCH = 16384;
constexpr double MOST_CENTIPAWNS = 2500;

// Calls visit(record, output) for every record, in the order of the batches.
void for_each_output(const Model& model, std::span<const TrainingRecord> records, Workspace& work, ThreadTeam& team,
                     const std::function<void(const TrainingRecord&, float)>& visit) {
    for (std::size_t first = 0; first < records.size(); first += REPORT_BATCH) {
        const auto part = records.subspan(first, std::min(REPORT_BATCH, records.size() - first));
        fill_batch(
            work.batch, static_cast<int>(part.size()),
            [part](int i) -> const TrainingRecord& { return part[static_cast<std::size_t>(i)]; }, team);
        evaluate_batch(model, work, team);
        for (std::size_t n = 0; n < part.size(); ++n) {
            visit(part[static_cast<std::size_t>(work.batch.source[n])], work.output[n]);
        }
    }
}

// Bins of scores and the results of the games in them.
struct Bins {
    static constexpr int WIDTH = 50;
    static constexpr int LOWEST = -300;
    static constexpr int COUNT = 12;

    std::array<double, COUNT> results{};
    std::array<double, COUNT> expected{};
    std::array<int, COUNT> positions{};

    void add(double score, const TrainingRecord& record) {
        const int bin = static_cast<int>(std::floor((score - LOWEST) / WIDTH));
        if (bin < 0 || bin >= COUNT) return;
        const auto b = static_cast<std::size_t>(bin);
        results[b] += static_cast<double>(win_probability(record.result));
        expected[b] += static_cast<double>(win_probability(static_cast<int>(std::lround(score))));
        ++positions[b];
    }
    std::string cell(std::size_t b) const {
        const double n = std::max(1, positions[b]);
        return format_text("%9d %7.3f %7.3f", positions[b], results[b] / n, expected[b] / n);
    }
};

}  // namespace

HeldOutError held_out_error(const Model& model, std::span<const TrainingRecord> records, Workspace& workspace,
                            ThreadTeam& team) {
    HeldOutError sum;
    for_each_output(model, records, workspace, team, [&sum](const TrainingRecord& record, float output) {
        const auto from_target = static_cast<double>(predicted_result(output) - training_target(record));
        const auto from_score = static_cast<double>(predicted_result(output) - win_probability(record.sc));
        sum.target += from_target * from_target;
        sum.score += from_score * from_score;
    });
    const auto count = static_cast<double>(std::max<std::size_t>(1, records.size()));
    return {sum.target / count, sum.score / count};
}

QuantisationError quantisation_error(const Model& model, std::span<const TrainingRecord> records, Workspace& workspace,
                                     ThreadTeam& team) {
    const auto game = std::make_unique<GameState>();
    Position position{};
    init_game_state(*game, position);
    NetworkState state{};
    QuantisationError error;
    for_each_output(model, records, workspace, team, [&](const TrainingRecord& record, float output) {
        if (!record_to_position(record, position)) return;
        const double score = std::clamp(static_cast<double>(CENTIPAWNS * output), -MOST_CENTIPAWNS, MOST_CENTIPAWNS);
        const double difference = std::abs(score - nn_evaluate(state, position, 0));
        error.mean += difference;
        error.most = std::max(error.most, difference);
        ++error.positions;
    });
    error.mean /= std::max(1, error.positions);
    free_network_state(state);
    return error;
}

std::string calibration_report(const Model& model, std::span<const TrainingRecord> records, Workspace& workspace,
                               ThreadTeam& team) {
    Bins by_model;
    Bins by_record;
    for_each_output(model, records, workspace, team, [&](const TrainingRecord& record, float output) {
        by_model.add(static_cast<double>(CENTIPAWNS * output), record);
        by_record.add(record.sc, record);
    });
    std::string text = "                 by the network's score     by the record's score\n";
    text += "     score   positions  result expected   positions  result expected\n";
    for (std::size_t b = 0; b < Bins::COUNT; ++b) {
        const int low = Bins::LOWEST + static_cast<int>(b) * Bins::WIDTH;
        text += format_text("%4d..%4d   %s   %s\n", low, low + Bins::WIDTH, by_model.cell(b).c_str(),
                            by_record.cell(b).c_str());
    }
    return text;
}
