// The steps of SPSA.
#include "tools/duel/climb.h"

#include "tools/tune/tuning_set.h"

#include <cmath>

namespace {

// How much a direction moves an entry: the height by 1, the slope by -1 on rank 1 to 1 on rank 8.
double share(int slope, int square) {
    return slope ? (2 * rank_of(square) - 7) / 7.0 : 1.0;
}

int direction(int table, int ending, int slope) {
    return (table * 2 + ending) * 2 + slope;
}

}  // namespace

// The usual exponents (Spall 1998): distances shrink as the power 0.101 of the count, steps as its power 0.602.
ClimbStep climb_step(double distance, double rate, std::uint64_t pair, std::uint64_t pairs) {
    const double done = static_cast<double>(pair) / static_cast<double>(pairs);
    constexpr double SETTLING = 0.1;  // share of the run before steps shrink in earnest
    return {distance * std::pow(1.0 + done / SETTLING, -0.101), rate * std::pow(1.0 + done / SETTLING, -0.602)};
}

Signs random_signs(Random& random) {
    Signs signs;
    for (std::int8_t& sign : signs) sign = random_below(random, 2) ? 1 : -1;
    return signs;
}

void set_point(Player& player, const Player& base, const ClimbPoint& point, double distance, const Signs& signs) {
    player.params = base.params;
    for (int table = 0; table < TABLE_PARAMS; ++table) {
        for (int square = 0; square < 64; ++square) {
            if (!is_free_entry(table_entry(table, square))) continue;
            EvalParams& param = player.params[static_cast<std::size_t>(first_table_param + table_entry(table, square))];
            double change[2] = {};
            for (int ending = 0; ending < 2; ++ending) {
                for (int slope = 0; slope < 2; ++slope) {
                    const auto i = static_cast<std::size_t>(direction(table, ending, slope));
                    change[ending] += share(slope, square) * (point[i] + distance * signs[i]);
                }
            }
            param.mg = std::round(param.mg + static_cast<float>(change[0]));
            param.eg = std::round(param.eg + static_cast<float>(change[1]));
            param.packed = static_cast<std::int32_t>(pack(static_cast<int>(param.mg), static_cast<int>(param.eg)));
        }
    }
}

void move_point(ClimbPoint& point, const ClimbStep& step, const Signs& signs, int points) {
    for (std::size_t i = 0; i < point.size(); ++i) point[i] += step.rate * step.distance * points * signs[i];
}
