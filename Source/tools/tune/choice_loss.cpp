// Multinomial regression of the teacher's choices by scores.
#include "tools/tune/choice_loss.h"

#include <algorithm>
#include <cmath>

namespace {

std::span<const TuningPosition> moves_of(const ChoiceSet& set, std::size_t choice) {
    const std::size_t first = set.first_move[choice];
    const std::size_t end =
        choice + 1 < set.first_move.size() ? set.first_move[choice + 1] : set.moves.positions.size();
    return {set.moves.positions.data() + first, end - first};
}

// Turns scores into the logarithms of their probabilities.
void normalise(std::vector<double>& scores, double slope) {
    const double best = *std::max_element(scores.begin(), scores.end());
    double sum = 0;
    for (const double score : scores) sum += std::exp(slope * (score - best));
    for (double& score : scores) score = slope * (score - best) - std::log(sum);
}

// One choice at a time: the logarithms of the teacher's probabilities and of the scores'.
struct Probabilities {
    std::vector<double> teacher, own;

    void set(std::span<const TuningPosition> moves, double slope) {
        teacher.clear();
        for (const TuningPosition& move : moves) teacher.push_back(move.search_score);
        normalise(teacher, 1 / TEACHER_TEMPERATURE);
        normalise(own, slope);
    }
};

void add_losses(const ChoiceSet& set, double slope, std::size_t begin, std::size_t end, const TableChange& change,
                LossSums& sums) {
    Probabilities log;
    TableChange average{};  // of what the choice's moves have of each value, by probability
    for (std::size_t choice = begin; choice < end; ++choice) {
        const std::span<const TuningPosition> moves = moves_of(set, choice);
        log.own.clear();
        for (const TuningPosition& move : moves) log.own.push_back(changed_score(set.moves, move, change));
        log.set(moves, slope);
        for (std::size_t i = 0; i < moves.size(); ++i) {
            const double teacher = std::exp(log.teacher[i]), own = std::exp(log.own[i]);
            const double by_score = slope * (own - teacher);
            const double mg = static_cast<double>(moves[i].mg_factor), eg = static_cast<double>(moves[i].eg_factor);
            sums.loss += teacher * (log.teacher[i] - log.own[i]);
            for (const std::uint16_t term : terms_of(set.moves, moves[i])) {
                const double sign = term & TERM_OF_BLACK ? -1.0 : 1.0;
                const std::size_t value = value_of(term);
                sums.gradient[value] += sign * by_score * mg;
                sums.gradient[value + 1] += sign * by_score * eg;
                sums.curvature[value] += slope * slope * own * mg * mg;
                sums.curvature[value + 1] += slope * slope * own * eg * eg;
                average[value] += sign * own * mg;
                average[value + 1] += sign * own * eg;
            }
        }
        // The variance: the average of the squares less the square of the average, which is cleared for the next
        // choice.
        for (const TuningPosition& move : moves) {
            for (const std::uint16_t term : terms_of(set.moves, move)) {
                for (const std::size_t v : {value_of(term), value_of(term) + 1}) {
                    sums.curvature[v] -= slope * slope * average[v] * average[v];
                    average[v] = 0;
                }
            }
        }
    }
}

}  // namespace

FitData choice_data(const ChoiceSet& set, double slope) {
    return {set.first_move.size(), [&set, slope](std::size_t begin, std::size_t end, const TableChange& change,
                                                 LossSums& sums) { add_losses(set, slope, begin, end, change, sums); }};
}

double fitted_choice_slope(const ChoiceSet& set) {
    constexpr double START = 0.02, LEAST = 0.002, MOST = 0.2;
    return newton_minimum(START, LEAST, MOST, [&set](double slope) {
        Derivatives sum{};
        Probabilities log;
        for (std::size_t choice = 0; choice < set.first_move.size(); ++choice) {
            const std::span<const TuningPosition> moves = moves_of(set, choice);
            log.own.clear();
            for (const TuningPosition& move : moves) log.own.push_back(static_cast<double>(move.score));
            log.set(moves, slope);
            double average = 0, square = 0;
            for (std::size_t m = 0; m < moves.size(); ++m) {
                const double score = static_cast<double>(moves[m].score), own = std::exp(log.own[m]);
                sum.first += score * (own - std::exp(log.teacher[m]));
                average += own * score;
                square += own * score * score;
            }
            sum.second += square - average * average;
        }
        return sum;
    });
}
