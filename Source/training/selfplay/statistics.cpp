// Adding up and printing the counts of a run.
#include "training/selfplay/statistics.h"

#include <cstdio>
#include <cstdlib>
#include <iterator>

const char* const ENDING_NAMES[ENDINGS] = {"checkmate",       "stalemate",        "repetition",
                                           "fifty moves",     "dead material",    "tablebase",
                                           "adjudicated win", "adjudicated draw", "too long"};

namespace {

static_assert(std::size(SCORE_CLASS_BOUNDS) + 1 == SCORE_CLASSES);

double ratio(std::uint64_t part, std::uint64_t whole) {
    return whole ? static_cast<double>(part) / static_cast<double>(whole) : 0.0;
}

double percent(std::uint64_t part, std::uint64_t whole) {
    return 100.0 * ratio(part, whole);
}

double rate(std::uint64_t count, double seconds) {
    return seconds > 0 ? static_cast<double>(count) / seconds : 0.0;
}

unsigned long long number(const Counter& counter) {
    return counter.load();
}

}  // namespace

void add_statistics(Statistics& sum, const Statistics& part) {
    constexpr std::size_t COUNTERS = sizeof(Statistics) / sizeof(Counter);
    auto* const to = reinterpret_cast<Counter*>(&sum);
    const auto* const from = reinterpret_cast<const Counter*>(&part);
    for (std::size_t i = 0; i < COUNTERS; ++i) to[i] += from[i];
}

int score_class(int score) {
    int index = 0;
    while (index < SCORE_CLASSES - 1 && std::abs(score) >= SCORE_CLASS_BOUNDS[index]) ++index;
    return index;
}

void print_progress(const Statistics& sum, double seconds) {
    std::fprintf(stderr, "\r%llu games, %.1f/s, %llu positions, %.0f/s, +%llu =%llu -%llu  ", number(sum.games),
                 rate(sum.games, seconds), number(sum.positions), rate(sum.positions, seconds), number(sum.results[2]),
                 number(sum.results[1]), number(sum.results[0]));
}

void print_summary(const Statistics& sum, double seconds) {
    std::printf("%llu games and %llu positions in %.1f s: %.2f games/s, %.0f positions/s, %.0f nodes/s\n",
                number(sum.games), number(sum.positions), seconds, rate(sum.games, seconds),
                rate(sum.positions, seconds), rate(sum.nodes, seconds));
    std::printf("results: White wins %.1f%%, draws %.1f%%, Black wins %.1f%%\n", percent(sum.results[2], sum.games),
                percent(sum.results[1], sum.games), percent(sum.results[0], sum.games));
    std::printf("ends:");
    for (int i = 0; i < ENDINGS; ++i) {
        if (sum.endings[i] == 0) continue;
        std::printf(" %s %.1f%%", ENDING_NAMES[i], percent(sum.endings[i], sum.games));
    }
    std::printf("\nper game: %.1f plies, %.1f positions; per search: %.0f nodes, depth %.1f\n",
                ratio(sum.plies, sum.games), ratio(sum.positions, sum.games), ratio(sum.nodes, sum.searches),
                ratio(sum.depths, sum.searches));
    std::printf("scores of the positions:");
    for (int i = 0; i < SCORE_CLASSES; ++i) {
        const char* const separator = i == 0 ? "" : ",";
        if (i + 1 < SCORE_CLASSES) {
            std::printf("%s below %d %.1f%%", separator, SCORE_CLASS_BOUNDS[i],
                        percent(sum.score_classes[i], sum.positions));
        } else {
            std::printf("%s above %.1f%%\n", separator, percent(sum.score_classes[i], sum.positions));
        }
    }
    std::printf("left out: %llu positions seen before, %llu uneven starts\n", number(sum.duplicates),
                number(sum.rejected_starts));
}
