// The steps of SPSA.
#include "tools/duel/climb.h"

#include "tools/tune/tuning_set.h"

#include <cmath>

namespace {

const EvalParams& table_param(const Player& player, std::size_t entry) {
    return player.params[static_cast<std::size_t>(first_table_param) + entry];
}

bool is_free(std::size_t entry) {
    return is_free_entry(static_cast<int>(entry));
}

}  // namespace

ClimbFamilies shape_families() {
    ClimbFamilies families{{"height", {}}, {"slope", {}}};
    for (std::size_t value = 0; value < 2 * TABLE_ENTRIES; ++value) {
        if (!is_free(value / 2)) continue;
        families[0].shift[value] = 1;
        families[1].shift[value] = (2 * rank_of(static_cast<int>(value / 2 % 64)) - 7) / 7.0;
    }
    return families;
}

ClimbFamily family_towards(const std::string& name, const Player& from, const Player& to) {
    constexpr double PERCENT = 0.01;
    ClimbFamily family{name, {}};
    for (std::size_t entry = 0; entry < TABLE_ENTRIES; ++entry) {
        if (!is_free(entry)) continue;
        const EvalParams &here = table_param(from, entry), &there = table_param(to, entry);
        family.shift[2 * entry] = PERCENT * static_cast<double>(there.mg - here.mg);
        family.shift[2 * entry + 1] = PERCENT * static_cast<double>(there.eg - here.eg);
    }
    return family;
}

// The usual exponents (Spall 1998): distances shrink as the power 0.101 of the count, steps as its power 0.602.
ClimbStep climb_step(double distance, double rate, std::uint64_t pair, std::uint64_t pairs) {
    const double done = static_cast<double>(pair) / static_cast<double>(pairs);
    constexpr double SETTLING = 0.1;  // share of the run before steps shrink in earnest
    return {distance * std::pow(1.0 + done / SETTLING, -0.101), rate * std::pow(1.0 + done / SETTLING, -0.602)};
}

Signs random_signs(Random& random, std::size_t families) {
    Signs signs{};
    for (std::size_t i = 0; i < families * DIRECTIONS_OF_FAMILY; ++i) signs[i] = random_below(random, 2) ? 1 : -1;
    return signs;
}

void set_point(Player& player, const Player& base, const ClimbFamilies& families, const ClimbPoint& point,
               double distance, const Signs& signs) {
    player.params = base.params;
    for (std::size_t entry = 0; entry < TABLE_ENTRIES; ++entry) {
        if (!is_free(entry)) continue;
        double change[2] = {};
        for (std::size_t family = 0; family < families.size(); ++family) {
            for (const bool ending : {false, true}) {
                const std::size_t i = climb_index(family, entry / 64, ending);
                change[ending] += families[family].shift[2 * entry + ending] * (point[i] + distance * signs[i]);
            }
        }
        EvalParams& param = player.params[static_cast<std::size_t>(first_table_param) + entry];
        param.mg = std::round(param.mg + static_cast<float>(change[0]));
        param.eg = std::round(param.eg + static_cast<float>(change[1]));
        param.packed = static_cast<std::int32_t>(pack(static_cast<int>(param.mg), static_cast<int>(param.eg)));
    }
}

void move_point(ClimbPoint& point, const ClimbStep& step, const Signs& signs, int points) {
    for (std::size_t i = 0; i < point.size(); ++i) point[i] += step.rate * step.distance * points * signs[i];
}
