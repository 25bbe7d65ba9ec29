// The objective of the fit, and its minimisation by limited-memory BFGS. The objective is convex, so that the result
// does not depend on the way to it.
#include "tools/tune/fit.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <thread>

namespace {

constexpr int VALUES = 2 * TABLE_ENTRIES;

// Sums over positions: the loss, its gradient and the diagonal of its Hessian by the table values.
struct LossSums {
    double loss = 0;
    TableChange gradient{};
    TableChange curvature{};
};

double cross_entropy(double target, double score, double slope) {
    // log(1 + e^x) - target * x, in a form that large scores do not overflow
    const double x = slope * score;
    return std::max(x, 0.0) + std::log1p(std::exp(-std::abs(x))) - target * x;
}

struct TermRange {
    const std::uint16_t* first;
    const std::uint16_t* last;
    const std::uint16_t* begin() const { return first; }
    const std::uint16_t* end() const { return last; }
};
TermRange terms_of(const TuningSet& set, const TuningPosition& row) {
    const std::uint16_t* first = set.terms.data() + row.first_term;
    return {first, first + row.terms};
}
std::size_t value_of(std::uint16_t term) {
    return 2u * (term & ~unsigned{TERM_OF_BLACK});
}

double changed_score(const TuningSet& set, const TuningPosition& row, const TableChange& change) {
    double mg = 0, eg = 0;
    for (const std::uint16_t term : terms_of(set, row)) {
        const double sign = term & TERM_OF_BLACK ? -1.0 : 1.0;
        mg += sign * change[value_of(term)];
        eg += sign * change[value_of(term) + 1];
    }
    return static_cast<double>(row.score) + static_cast<double>(row.mg_factor) * mg +
           static_cast<double>(row.eg_factor) * eg;
}

void add_losses(const TuningSet& set, std::size_t begin, std::size_t end, const TableChange& change, double slope,
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

// The set is summed in a fixed number of slices, so that rounding is the same with any number of threads.
constexpr std::size_t SLICES = 16;

template <class Work>
void for_each_slice(std::size_t size, int threads, Work work) {
    const std::size_t workers = static_cast<std::size_t>(std::clamp(threads, 1, static_cast<int>(SLICES)));
    const auto run = [&](std::size_t worker) {
        for (std::size_t s = worker; s < SLICES; s += workers) work(s, size * s / SLICES, size * (s + 1) / SLICES);
    };
    std::vector<std::thread> others;
    for (std::size_t worker = 1; worker < workers; ++worker) others.emplace_back(run, worker);
    run(0);
    for (std::thread& other : others) other.join();
}

// Given entries take part: what lies beside them should not leave them behind.
bool pull_each_other(int entry, int neighbour) {
    return (is_free_entry(entry) && is_used_entry(neighbour)) || (is_used_entry(entry) && is_free_entry(neighbour));
}

// A table's average over the positions, for one half of its values: the weights of those values, adding up to 1.
struct Average {
    std::size_t first_value;  // and every second one from there, 64 of them
    double strength;
    std::array<double, 64> weights;
};

// The training loss and the pulls.
class Objective {
public:
    Objective(const TuningSet& set, const FitOptions& options) : set_(set), options_(options) {
        const double even_position = options.slope * options.slope / 4.0;
        prior_ = options.prior * even_position;
        smoothness_ = options.smoothness * even_position;
        for (int entry = 0; entry < TABLE_ENTRIES; ++entry) {
            const int square = entry % 64;
            if (file_of(square) < 7 && pull_each_other(entry, entry + 1)) add_neighbours(entry, entry + 1);
            if (rank_of(square) < 7 && pull_each_other(entry, entry + 8)) add_neighbours(entry, entry + 8);
        }
    }

    // Sets the weights of the averages by how much the positions say about each value, and evaluates the start.
    LossSums at_start() {
        const LossSums start = (*this)(TableChange{});
        for (std::size_t table = 0; table < TABLE_PARAMS; ++table) {
            for (std::size_t half = 0; half < 2; ++half) add_average(128 * table + half);
        }
        return start;
    }

    LossSums operator()(const TableChange& change) {
        slices_.assign(SLICES, LossSums{});
        for_each_slice(set_.positions.size(), options_.threads, [&](std::size_t s, std::size_t begin, std::size_t end) {
            add_losses(set_, begin, end, change, options_.slope, slices_[s]);
        });
        LossSums sums;
        for (const LossSums& slice : slices_) {
            sums.loss += slice.loss;
            for (std::size_t v = 0; v < VALUES; ++v) {
                sums.gradient[v] += slice.gradient[v];
                sums.curvature[v] += slice.curvature[v];
            }
        }
        data_loss_ = sums.loss;
        data_curvature_ = sums.curvature;
        add_pulls(change, sums);
        for (std::size_t v = 0; v < VALUES; ++v) {
            if (!is_free_entry(static_cast<int>(v / 2))) sums.gradient[v] = 0;
        }
        return sums;
    }

    // Mean loss of the positions alone in the last call.
    double mean_data_loss() const { return data_loss_ / static_cast<double>(std::max<std::size_t>(1, size())); }

private:
    struct Neighbours {
        std::size_t a, b;  // values
    };

    std::size_t size() const { return set_.positions.size(); }

    void add_neighbours(int entry, int neighbour) {
        for (int half = 0; half < 2; ++half) {
            neighbours_.push_back(
                {static_cast<std::size_t>(2 * entry + half), static_cast<std::size_t>(2 * neighbour + half)});
        }
    }

    void add_average(std::size_t first_value) {
        Average average{first_value, 0, {}};
        double sum = 0;
        for (std::size_t i = 0; i < 64; ++i) {
            const std::size_t v = first_value + 2 * i;
            average.weights[i] = is_free_entry(static_cast<int>(v / 2)) ? data_curvature_[v] : 0;
            sum += average.weights[i];
        }
        if (sum <= 0) return;
        for (double& weight : average.weights) weight /= sum;
        average.strength = options_.average * sum;
        averages_.push_back(average);
    }

    void add_pulls(const TableChange& change, LossSums& sums) const {
        for (std::size_t v = 0; v < VALUES; ++v) {
            sums.loss += 0.5 * prior_ * change[v] * change[v];
            sums.gradient[v] += prior_ * change[v];
            sums.curvature[v] += prior_;
        }
        for (const Neighbours& n : neighbours_) {
            const double gap = change[n.a] - change[n.b];
            sums.loss += 0.5 * smoothness_ * gap * gap;
            sums.gradient[n.a] += smoothness_ * gap;
            sums.gradient[n.b] -= smoothness_ * gap;
            sums.curvature[n.a] += smoothness_;
            sums.curvature[n.b] += smoothness_;
        }
        for (const Average& average : averages_) {
            double shift = 0;
            for (std::size_t i = 0; i < 64; ++i) shift += average.weights[i] * change[average.first_value + 2 * i];
            sums.loss += 0.5 * average.strength * shift * shift;
            for (std::size_t i = 0; i < 64; ++i) {
                const std::size_t v = average.first_value + 2 * i;
                sums.gradient[v] += average.strength * shift * average.weights[i];
                sums.curvature[v] += average.strength * average.weights[i] * average.weights[i];
            }
        }
    }

    const TuningSet& set_;
    const FitOptions& options_;
    double prior_, smoothness_;
    double data_loss_ = 0;
    TableChange data_curvature_{};
    std::vector<Neighbours> neighbours_;
    std::vector<Average> averages_;
    std::vector<LossSums> slices_;
};

double dot(const TableChange& a, const TableChange& b) {
    double sum = 0;
    for (std::size_t v = 0; v < VALUES; ++v) sum += a[v] * b[v];
    return sum;
}

// to += factor * from
void add_scaled(TableChange& to, double factor, const TableChange& from) {
    for (std::size_t v = 0; v < VALUES; ++v) to[v] += factor * from[v];
}

// Limited-memory BFGS: the inverse Hessian from the last steps, begun with that of the diagonal.
class Directions {
public:
    TableChange downhill(const LossSums& at) const {
        TableChange direction = at.gradient;
        std::vector<double> alphas(steps_.size());
        for (std::size_t i = steps_.size(); i-- > 0;) {
            alphas[i] = dot(steps_[i].step, direction) / steps_[i].product;
            add_scaled(direction, -alphas[i], steps_[i].turn);
        }
        // A value without pull that no position shows has neither gradient nor curvature.
        for (std::size_t v = 0; v < VALUES; ++v) direction[v] /= std::max(at.curvature[v], 1e-12);
        for (std::size_t i = 0; i < steps_.size(); ++i) {
            const double beta = dot(steps_[i].turn, direction) / steps_[i].product;
            add_scaled(direction, alphas[i] - beta, steps_[i].step);
        }
        for (double& value : direction) value = -value;
        return direction;
    }

    // A step made and the change of the gradient along it.
    void learn(const TableChange& step, const TableChange& turn) {
        const double product = dot(step, turn);
        if (product <= 0) return;
        if (steps_.size() == MEMORY) steps_.pop_front();
        steps_.push_back({step, turn, product});
    }

private:
    static constexpr std::size_t MEMORY = 20;
    struct Step {
        TableChange step, turn;
        double product;
    };
    std::deque<Step> steps_;
};

}  // namespace

double mean_loss(const TuningSet& set, const TableChange& change, double slope, int threads) {
    if (set.positions.empty()) return 0;
    double losses[SLICES] = {};
    for_each_slice(set.positions.size(), threads, [&](std::size_t s, std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const TuningPosition& row = set.positions[i];
            losses[s] += cross_entropy(static_cast<double>(row.target), changed_score(set, row, change), slope);
        }
    });
    double sum = 0;
    for (const double loss : losses) sum += loss;
    return sum / static_cast<double>(set.positions.size());
}

double fitted_slope(const TuningSet& set) {
    // Newton's method in one variable; the loss is convex in the slope.
    constexpr double LEAST = 0.0005, MOST = 0.05;
    double slope = 0.006;
    for (int i = 0; i < 20; ++i) {
        double first = 0, second = 0;
        for (const TuningPosition& row : set.positions) {
            const double score = static_cast<double>(row.score);
            const double expected = expected_result(score, slope);
            first += score * (expected - static_cast<double>(row.result));
            second += score * score * expected * (1.0 - expected);
        }
        if (second <= 0) break;
        slope = std::clamp(slope - first / second, LEAST, MOST);
    }
    return slope;
}

TableChange fit_tables(const TuningSet& training, const TuningSet& hold_out, const FitOptions& options,
                       const FitProgress& progress) {
    constexpr double ENOUGH = 1e-9;  // improvement of the mean loss that ends the fit
    Objective objective(training, options);
    Directions directions;
    TableChange change{};
    LossSums here = objective.at_start();
    const double positions = static_cast<double>(std::max<std::size_t>(1, training.positions.size()));
    for (int iteration = 1; iteration <= options.iterations; ++iteration) {
        const TableChange direction = directions.downhill(here);
        const double descent = dot(here.gradient, direction);
        if (descent >= 0) break;
        double length = 1.0;
        TableChange next;
        LossSums there;
        for (int halving = 0;; ++halving, length *= 0.5) {
            next = change;
            add_scaled(next, length, direction);
            there = objective(next);
            if (there.loss <= here.loss + 1e-4 * length * descent) break;
            if (halving == 20) return change;
        }
        TableChange step = next, turn = there.gradient;
        add_scaled(step, -1.0, change);
        add_scaled(turn, -1.0, here.gradient);
        directions.learn(step, turn);
        const double gain = (here.loss - there.loss) / positions;
        change = next;
        here = there;
        const double hold_out_loss = mean_loss(hold_out, change, options.slope, options.threads);
        if (!progress(iteration, objective.mean_data_loss(), hold_out_loss) || gain < ENOUGH) break;
    }
    return change;
}

TableChange loss_curvature(const TuningSet& set, const TableChange& change, double slope) {
    LossSums sums;
    add_losses(set, 0, set.positions.size(), change, slope, sums);
    return sums.curvature;
}

std::array<std::uint64_t, TABLE_ENTRIES> entry_counts(const TuningSet& set) {
    std::array<std::uint64_t, TABLE_ENTRIES> counts{};
    for (const std::uint16_t term : set.terms) ++counts[value_of(term) / 2];
    return counts;
}
