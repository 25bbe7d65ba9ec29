// Gauss-Newton: each step solves the least squares problem that the expected results make when they are taken as linear
// in the tables.
#include "training/tune/fit.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr std::size_t VALUES = 2 * TABLE_ENTRIES;

// Expected result for White of a score, and its derivative by the score.
struct Expected {
    double result;
    double by_score;
};

Expected expect(double score, double slope) {
    const double result = 1.0 / (1.0 + std::exp(-slope * score));
    return {result, slope * result * (1.0 - result)};
}

// What the row's score gains by a centipawn of one value.
struct Share {
    std::size_t value;
    double by_value;
};

// In ascending order of the values.
void find_shares(const TuningSet& set, const TuningPosition& row, std::vector<Share>& shares) {
    shares.clear();
    for (const std::uint16_t term : terms_of(set, row)) {
        const double sign = term & TERM_OF_BLACK ? -1.0 : 1.0;
        shares.push_back({value_of(term), sign * static_cast<double>(row.mg_factor)});
        shares.push_back({value_of(term) + 1, sign * static_cast<double>(row.eg_factor)});
    }
}

// Gradient of the objective, and the Gauss-Newton approximation of its second derivatives.
struct Normal {
    TableChange gradient{};
    std::vector<double> matrix = std::vector<double>(VALUES * VALUES);  // lower triangle, row by row

    double* row(std::size_t v) { return &matrix[v * VALUES]; }
};

void add_errors(const TuningSet& set, const TableChange& change, double slope, Normal& normal) {
    std::vector<Share> shares;
    for (const TuningPosition& position : set.positions) {
        const Expected expected = expect(changed_score(set, position, change), slope);
        const double error = expected.result - static_cast<double>(position.result);
        find_shares(set, position, shares);
        for (std::size_t i = 0; i < shares.size(); ++i) {
            const double by_value = 2.0 * expected.by_score * shares[i].by_value;
            normal.gradient[shares[i].value] += error * by_value;
            double* const row = normal.row(shares[i].value);
            const double weight = by_value * expected.by_score;
            for (std::size_t j = 0; j <= i; ++j) row[shares[j].value] += weight * shares[j].by_value;
        }
    }
}

// Half a square of a gap between two changes, or of one change, times its strength.
struct Pull {
    std::size_t value, other;  // the same: towards no change
    double strength;
};

// Given entries take part in the smoothness: what lies beside them should not leave them behind.
bool pull_each_other(int entry, int neighbour) {
    return (is_free_entry(entry) && is_used_entry(neighbour)) || (is_used_entry(entry) && is_free_entry(neighbour));
}

std::vector<Pull> make_pulls(const FitOptions& options) {
    const double even_position = options.slope * options.slope / 8.0;  // second derivative of its squared error
    std::vector<Pull> pulls;
    for (int entry = 0; entry < TABLE_ENTRIES; ++entry) {
        const int square = entry % 64;
        for (std::size_t half = 0; half < 2; ++half) {
            const std::size_t value = 2 * static_cast<std::size_t>(entry) + half;
            pulls.push_back({value, value, options.prior * even_position});
            if (file_of(square) < 7 && pull_each_other(entry, entry + 1)) {
                pulls.push_back({value, value + 2, options.smoothness * even_position});
            }
            if (rank_of(square) < 7 && pull_each_other(entry, entry + 8)) {
                pulls.push_back({value, value + 16, options.smoothness * even_position});
            }
        }
    }
    return pulls;
}

double gap(const Pull& pull, const TableChange& change) {
    return change[pull.value] - (pull.other == pull.value ? 0.0 : change[pull.other]);
}

void add_pulls(const std::vector<Pull>& pulls, const TableChange& change, Normal& normal) {
    for (const Pull& pull : pulls) {
        const double force = pull.strength * gap(pull, change);
        normal.gradient[pull.value] += force;
        normal.row(pull.value)[pull.value] += pull.strength;
        if (pull.other == pull.value) continue;
        normal.gradient[pull.other] -= force;
        normal.row(pull.other)[pull.other] += pull.strength;
        normal.row(pull.other)[pull.value] -= pull.strength;
    }
}

// Values that are not free get equations of their own, which say that they stay.
void hold_fixed_values(Normal& normal) {
    const auto is_free = [](std::size_t v) { return is_free_entry(static_cast<int>(v / 2)); };
    for (std::size_t v = 0; v < VALUES; ++v) {
        for (std::size_t w = 0; w < v; ++w) {
            if (!is_free(v) || !is_free(w)) normal.row(v)[w] = 0;
        }
        // A free value that nothing shows or pulls has an empty equation; it stays as well.
        if (!is_free(v)) normal.gradient[v] = 0;
        if (!is_free(v) || normal.row(v)[v] <= 0) normal.row(v)[v] = 1;
    }
}

// The step to where the gradient vanishes, by Cholesky decomposition of the matrix in place.
TableChange solve(Normal& normal) {
    TableChange step;
    for (std::size_t v = 0; v < VALUES; ++v) {
        double* const row = normal.row(v);
        for (std::size_t w = 0; w <= v; ++w) {
            const double* const other = normal.row(w);
            double sum = row[w];
            for (std::size_t k = 0; k < w; ++k) sum -= row[k] * other[k];
            // Values that only ever occur together leave a remainder of rounding errors.
            row[w] = w < v ? sum / other[w] : std::sqrt(std::max(sum, 1e-12));
        }
        step[v] = -normal.gradient[v];
        for (std::size_t k = 0; k < v; ++k) step[v] -= row[k] * step[k];
        step[v] /= row[v];
    }
    for (std::size_t v = VALUES; v-- > 0;) {
        step[v] /= normal.row(v)[v];
        for (std::size_t k = 0; k < v; ++k) step[k] -= normal.row(v)[k] * step[v];
    }
    return step;
}

}  // namespace

double mean_error(const TuningSet& set, const TableChange& change, double slope) {
    double sum = 0;
    for (const TuningPosition& row : set.positions) {
        const double error = expect(changed_score(set, row, change), slope).result - static_cast<double>(row.result);
        sum += error * error;
    }
    return sum / static_cast<double>(std::max<std::size_t>(1, set.positions.size()));
}

double fitted_slope(const TuningSet& set) {
    constexpr double START = 0.006, LEAST = 0.0005, MOST = 0.05;
    constexpr int STEPS = 30;
    double slope = START;
    for (int i = 0; i < STEPS; ++i) {
        double first = 0, second = 0;
        for (const TuningPosition& row : set.positions) {
            const double score = static_cast<double>(row.score);
            const Expected expected = expect(score, slope);
            const double by_slope = score * expected.by_score / slope;
            first += by_slope * (expected.result - static_cast<double>(row.result));
            second += by_slope * by_slope;
        }
        if (second <= 0) break;
        slope = std::clamp(slope - first / second, LEAST, MOST);
    }
    return slope;
}

TableChange fit_tables(const TuningSet& training, const TuningSet& hold_out, const FitOptions& options,
                       const FitProgress& progress) {
    constexpr double ENOUGH = 1e-9;  // improvement of the mean that ends the fit
    constexpr int STEPS = 50, HALVINGS = 10;
    const std::vector<Pull> pulls = make_pulls(options);
    const double positions = static_cast<double>(std::max<std::size_t>(1, training.positions.size()));
    const auto pulls_at = [&](const TableChange& change) {
        double sum = 0;
        for (const Pull& pull : pulls) sum += 0.5 * pull.strength * gap(pull, change) * gap(pull, change);
        return sum / positions;
    };
    TableChange change{};
    double here = mean_error(training, change, options.slope);
    for (int number = 1; number <= STEPS; ++number) {
        Normal normal;
        add_errors(training, change, options.slope, normal);
        add_pulls(pulls, change, normal);
        hold_fixed_values(normal);
        const TableChange step = solve(normal);
        TableChange next;
        double error = 0, there = 0, length = 1;
        for (int halving = 0; halving <= HALVINGS; ++halving, length *= 0.5) {
            for (std::size_t v = 0; v < VALUES; ++v) next[v] = change[v] + length * step[v];
            error = mean_error(training, next, options.slope);
            there = error + pulls_at(next);
            if (there <= here) break;
        }
        if (there > here) break;
        const double gain = here - there;
        change = next;
        here = there;
        if (!progress(number, error, mean_error(hold_out, change, options.slope)) || gain < ENOUGH) break;
    }
    return change;
}

TableChange error_curvature(const TuningSet& set, const TableChange& change, double slope) {
    Normal normal;
    add_errors(set, change, slope, normal);
    TableChange curvature;
    for (std::size_t v = 0; v < VALUES; ++v) curvature[v] = normal.row(v)[v];
    return curvature;
}
