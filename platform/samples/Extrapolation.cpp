#include "platform/samples/Extrapolation.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace braq {
namespace {

constexpr std::size_t mostCoefficients = 16;

/// The factors of the frames before a frame, the nearest first, whose sum is the prediction of that frame.
std::vector<double> predictionOf(std::span<const float> known) {
    const std::size_t order = std::min(mostCoefficients, known.size() / 3);
    std::vector<double> forward(known.begin(), known.end());
    std::vector<double> backward(forward);
    std::vector<double> factors;
    for (std::size_t stage = 1; stage <= order; ++stage) {
        double product = 0.0;
        double energy = 0.0;
        for (std::size_t frame = stage; frame < known.size(); ++frame) {
            product += forward[frame] * backward[frame - 1];
            energy += forward[frame] * forward[frame] + backward[frame - 1] * backward[frame - 1];
        }
        if (energy == 0.0) {
            break;
        }
        const double reflection = 2.0 * product / energy;
        for (std::size_t frame = known.size() - 1; frame >= stage; --frame) {
            const double before = forward[frame];
            forward[frame] -= reflection * backward[frame - 1];
            backward[frame] = backward[frame - 1] - reflection * before;
        }
        std::vector<double> next(factors);
        for (std::size_t place = 0; place < factors.size(); ++place) {
            next[place] -= reflection * factors[factors.size() - 1 - place];
        }
        next.push_back(reflection);
        factors = next;
    }
    return factors;
}

} // namespace

void extrapolate(std::span<const float> known, std::span<float> following) {
    const auto factors = predictionOf(known);
    std::vector<double> sound(known.end() - static_cast<std::ptrdiff_t>(factors.size()), known.end());
    for (float& frame : following) {
        double sum = 0.0;
        for (std::size_t place = 0; place < factors.size(); ++place) {
            sum += factors[place] * sound[sound.size() - 1 - place];
        }
        sound.push_back(sum);
        frame = static_cast<float>(sum);
    }
}

} // namespace braq
