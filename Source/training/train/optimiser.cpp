// Adam with its usual constants; the decay is applied by the caller's choice of rows.
#include "training/train/optimiser.h"

#include <cmath>

namespace {

constexpr double FIRST = 0.9;
constexpr double SECOND = 0.999;
constexpr float EPSILON = 1e-8f;

}  // namespace

AdamStep adam_step(double learning_rate, double decay, std::int64_t step) {
    const auto t = static_cast<double>(step);
    return {static_cast<float>(learning_rate / (1 - std::pow(FIRST, t))),
            static_cast<float>(1 / std::sqrt(1 - std::pow(SECOND, t))), static_cast<float>(learning_rate * decay)};
}

void adam_update(const AdamStep& step, float* parameter, float* first_moment, float* second_moment,
                 const float* gradient, std::size_t count) {
    constexpr auto KEEP_FIRST = static_cast<float>(FIRST);
    constexpr auto KEEP_SECOND = static_cast<float>(SECOND);
    for (std::size_t i = 0; i < count; ++i) {
        const float g = gradient[i];
        const float m = KEEP_FIRST * first_moment[i] + (1 - KEEP_FIRST) * g;
        const float v = KEEP_SECOND * second_moment[i] + (1 - KEEP_SECOND) * g * g;
        first_moment[i] = m;
        second_moment[i] = v;
        parameter[i] -= step.decay * parameter[i] + step.rate * m / (std::sqrt(v) * step.second_root + EPSILON);
    }
}
