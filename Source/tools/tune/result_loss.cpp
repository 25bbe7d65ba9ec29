// Logistic regression of results by scores.
#include "tools/tune/result_loss.h"

#include <algorithm>
#include <cmath>

namespace {

double cross_entropy(double target, double score, double slope) {
    // log(1 + e^x) - target * x, in a form that large scores do not overflow
    const double x = slope * score;
    return std::max(x, 0.0) + std::log1p(std::exp(-std::abs(x))) - target * x;
}

void add_losses(const TuningSet& set, double slope, std::size_t begin, std::size_t end, const TableChange& change,
                LossSums& sums) {
    for (std::size_t i = begin; i < end; ++i) {
        const TuningPosition& row = set.positions[i];
        const double target = static_cast<double>(row.target);
        const double score = changed_score(set, row, change);
        const double expected = expected_result(score, slope);
        const double by_score = slope * (expected - target);
        const double mg = static_cast<double>(row.mg_factor), eg = static_cast<double>(row.eg_factor);
        const double second = slope * slope * expected * (1.0 - expected);
        sums.loss += cross_entropy(target, score, slope);
        for (const std::uint16_t term : terms_of(set, row)) {
            const double sign = term & TERM_OF_BLACK ? -1.0 : 1.0;
            const std::size_t value = value_of(term);
            sums.gradient[value] += sign * by_score * mg;
            sums.gradient[value + 1] += sign * by_score * eg;
            sums.curvature[value] += second * mg * mg;
            sums.curvature[value + 1] += second * eg * eg;
        }
    }
}

}  // namespace

FitData result_data(const TuningSet& set, double slope) {
    return {set.positions.size(), [&set, slope](std::size_t begin, std::size_t end, const TableChange& change,
                                                LossSums& sums) { add_losses(set, slope, begin, end, change, sums); }};
}

double fitted_slope(const TuningSet& set) {
    constexpr double START = 0.006, LEAST = 0.0005, MOST = 0.05;
    return newton_minimum(START, LEAST, MOST, [&set](double slope) {
        Derivatives sum{};
        for (const TuningPosition& row : set.positions) {
            const double score = static_cast<double>(row.score);
            const double expected = expected_result(score, slope);
            sum.first += score * (expected - static_cast<double>(row.result));
            sum.second += score * score * expected * (1.0 - expected);
        }
        return sum;
    });
}
