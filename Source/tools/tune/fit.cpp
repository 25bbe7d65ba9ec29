// The objective of the fit, and its minimisation by limited-memory BFGS. The objective is convex, so that the result
// does not depend on the way to it.
#include "tools/tune/fit.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <thread>

namespace {

constexpr int VALUES = 2 * TABLE_ENTRIES;

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

// All losses, without the pulls.
LossSums add_up(const FitData& data, const TableChange& change, int threads) {
    std::vector<LossSums> slices(SLICES);
    for_each_slice(data.items, threads, [&](std::size_t s, std::size_t begin, std::size_t end) {
        if (begin < end) data.add_losses(begin, end, change, slices[s]);
    });
    LossSums sums;
    for (const LossSums& slice : slices) {
        sums.loss += slice.loss;
        for (std::size_t v = 0; v < VALUES; ++v) {
            sums.gradient[v] += slice.gradient[v];
            sums.curvature[v] += slice.curvature[v];
        }
    }
    return sums;
}

double mean(double sum, std::size_t items) {
    return sum / static_cast<double>(std::max<std::size_t>(1, items));
}

// The training loss and the pulls.
class Objective {
public:
    Objective(const FitData& data, const FitOptions& options) : data_(data), options_(options) {
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
        LossSums sums = add_up(data_, change, options_.threads);
        data_loss_ = sums.loss;
        data_curvature_ = sums.curvature;
        add_pulls(change, sums);
        for (std::size_t v = 0; v < VALUES; ++v) {
            if (!is_free_entry(static_cast<int>(v / 2))) sums.gradient[v] = 0;
        }
        return sums;
    }

    // Mean loss without the pulls in the last call.
    double mean_data_loss() const { return mean(data_loss_, data_.items); }

private:
    struct Neighbours {
        std::size_t a, b;  // values
    };

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

    const FitData& data_;
    const FitOptions& options_;
    double prior_, smoothness_;
    double data_loss_ = 0;
    TableChange data_curvature_{};
    std::vector<Neighbours> neighbours_;
    std::vector<Average> averages_;
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

double mean_loss(const FitData& data, const TableChange& change, int threads) {
    return mean(add_up(data, change, threads).loss, data.items);
}

TableChange fit_tables(const FitData& training, const FitData& hold_out, const FitOptions& options,
                       const FitProgress& progress) {
    constexpr double ENOUGH = 1e-9;  // improvement of the mean loss that ends the fit
    Objective objective(training, options);
    Directions directions;
    TableChange change{};
    LossSums here = objective.at_start();
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
        const double gain = mean(here.loss - there.loss, training.items);
        change = next;
        here = there;
        const double hold_out_loss = mean_loss(hold_out, change, options.threads);
        if (!progress(iteration, objective.mean_data_loss(), hold_out_loss) || gain < ENOUGH) break;
    }
    return change;
}

TableChange loss_curvature(const FitData& data, const TableChange& change, int threads) {
    return add_up(data, change, threads).curvature;
}

double newton_minimum(double start, double low, double high, const std::function<Derivatives(double)>& derivatives) {
    constexpr int STEPS = 20;
    double x = start;
    for (int i = 0; i < STEPS; ++i) {
        const Derivatives at = derivatives(x);
        if (at.second <= 0) break;
        x = std::clamp(x - at.first / at.second, low, high);
    }
    return x;
}
