#include "platform/samples/resampling/LowPassTable.h"

#include "platform/samples/resampling/KaiserWindow.h"

#include <cmath>

namespace braq {

namespace {

constexpr double attenuation = 118;

/// The positions in a row at which a parabola fits a smooth curve best: the nodes of a Chebyshev polynomial.
const std::array<double, 3> nodes = {0.5 - std::sqrt(0.1875), 0.5, 0.5 + std::sqrt(0.1875)};

struct Parabola {
    double constant;
    double linear;
    double square;
};

/// Through three values, by Newton's divided differences.
Parabola through(const std::array<double, 3>& values) {
    const double first = (values[1] - values[0]) / (nodes[1] - nodes[0]);
    const double second = (values[2] - values[1]) / (nodes[2] - nodes[1]);
    const double square = (second - first) / (nodes[2] - nodes[0]);
    return {values[0] - first * nodes[0] + square * nodes[0] * nodes[1], first - square * (nodes[0] + nodes[1]),
            square};
}

} // namespace

LowPassTable::LowPassTable() {
    const KaiserWindow window(attenuation);
    for (std::size_t phase = 0; phase < phases; ++phase) {
        Row& row = mRows[phase];
        for (std::size_t tap = 0; tap < taps; ++tap) {
            std::array<double, 3> values{};
            for (std::size_t i = 0; i < nodes.size(); ++i) {
                const double fraction = (static_cast<double>(phase) + nodes[i]) / phases;
                const double distance = fraction - (static_cast<double>(tap) + 1 - reach);
                values[i] = sinc(distance) * window.at(distance / reach);
            }
            const Parabola parabola = through(values);
            row.constant[margin + tap] = static_cast<float>(parabola.constant);
            row.linear[margin + tap] = static_cast<float>(parabola.linear);
            row.square[margin + tap] = static_cast<float>(parabola.square);
        }
    }
}

const LowPassTable& LowPassTable::shared() {
    static const LowPassTable table;
    return table;
}

} // namespace braq
