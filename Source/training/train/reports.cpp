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
#include <numbers>
#include <utility>
#include <vector>

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
            [part](int i) -> const TrainingRecord& { return part[static_cast<std::size_t>(i)]; }, TARGET_RESULT_SHARE,
            team);
        evaluate_batch(model, work, team);
        for (std::size_t n = 0; n < part.size(); ++n) {
            visit(part[static_cast<std::size_t>(work.batch.source[n])], work.output[n]);
        }
    }
}

// Scores of records by the loaded network as the engine runs it.
class LoadedNetwork {
public:
    LoadedNetwork() { init_game_state(*game_, position_); }
    ~LoadedNetwork() { free_network_state(state_); }
    LoadedNetwork(const LoadedNetwork&) = delete;
    LoadedNetwork& operator=(const LoadedNetwork&) = delete;

    // NO_SCORE for a damaged record.
    int score(const TrainingRecord& record) {
        return record_to_position(record, position_) ? nn_evaluate(state_, position_, 0) : NO_SCORE;
    }

private:
    std::unique_ptr<GameState> game_ = std::make_unique<GameState>();
    Position position_{};
    NetworkState state_{};
};

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

HeldOutError held_out_error(const Model& model, std::span<const TrainingRecord> records, double result_share,
                            Workspace& workspace, ThreadTeam& team) {
    HeldOutError sum;
    for_each_output(model, records, workspace, team, [&](const TrainingRecord& record, float output) {
        const auto from_target = static_cast<double>(predicted_result(output) - training_target(record, result_share));
        const auto from_score = static_cast<double>(predicted_result(output) - win_probability(record.sc));
        sum.target += from_target * from_target;
        sum.score += from_score * from_score;
    });
    const auto count = static_cast<double>(std::max<std::size_t>(1, records.size()));
    return {sum.target / count, sum.score / count};
}

QuantisationError quantisation_error(const Model& model, std::span<const TrainingRecord> records, Workspace& workspace,
                                     ThreadTeam& team) {
    LoadedNetwork loaded;
    QuantisationError error;
    for_each_output(model, records, workspace, team, [&](const TrainingRecord& record, float output) {
        const int engine = loaded.score(record);
        if (engine == NO_SCORE) return;
        const double score = std::clamp(static_cast<double>(CENTIPAWNS * output), -MOST_CENTIPAWNS, MOST_CENTIPAWNS);
        const double difference = std::abs(score - engine);
        error.mean += difference;
        error.most = std::max(error.most, difference);
        ++error.positions;
    });
    error.mean /= std::max(1, error.positions);
    return error;
}

YardstickError yardstick_error(std::span<const TrainingRecord> records) {
    LoadedNetwork loaded;
    YardstickError error;
    std::vector<std::pair<int, double>> games;  // score, result
    for (const TrainingRecord& record : records) {
        const int score = loaded.score(record);
        if (score == NO_SCORE) continue;
        error.score += std::pow(static_cast<double>(win_probability(score) - win_probability(record.sc)), 2);
        ++error.positions;
        for (const double result : {0.0, 0.5, 1.0}) {
            if (record.result == result_to_score(result)) games.emplace_back(score, result);
        }
    }
    error.score /= std::max(1, error.positions);
    if (games.empty()) return error;

    const auto error_at = [&games](double scale) {
        double sum = 0;
        for (const auto& [score, result] : games) sum += std::pow(1 / (1 + std::exp(-scale * score)) - result, 2);
        return sum / static_cast<double>(games.size());
    };
    double low = 0;  // golden-section search
    double high = 0.03;
    while (high - low > 1e-6) {
        const double step = (high - low) / std::numbers::phi;
        if (error_at(high - step) < error_at(low + step)) {
            high = low + step;
        } else {
            low = high - step;
        }
    }
    error.games = static_cast<int>(games.size());
    error.scale = low;
    error.result = error_at(low);
    return error;
}

std::string yardstick_report(std::span<const TrainingRecord> records) {
    const YardstickError error = yardstick_error(records);
    return format_text(
        "yardstick: %.6f against the scores of %d positions\n"
        "yardstick: %.5f against the results of %d of them, at the best scale of %.5f a centipawn\n",
        error.score, error.positions, error.result, error.games, error.scale);
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
