#pragma once

#include <cmath>
#include <cstddef>
#include <numbers>
#include <span>

namespace braq::tests {

/// The sine of a known frequency that comes closest to some samples.
struct SineFit {
    double amplitude;
    double delayFrames;   ///< against a sine that begins with the first of all frames
    double signalToNoise; ///< decibels
};

/// @param frequency periods a frame
/// @param first number of the first sample
inline SineFit fitSine(std::span<const float> samples, double frequency, std::size_t first) {
    const auto phaseAt = [&](std::size_t n) {
        return 2.0 * std::numbers::pi * frequency * static_cast<double>(first + n);
    };
    // Least squares of a sin + b cos + c.
    double matrix[3][4]{};
    for (std::size_t n = 0; n < samples.size(); ++n) {
        const double basis[3]{std::sin(phaseAt(n)), std::cos(phaseAt(n)), 1.0};
        for (int row = 0; row < 3; ++row) {
            for (int column = 0; column < 3; ++column) {
                matrix[row][column] += basis[row] * basis[column];
            }
            matrix[row][3] += basis[row] * static_cast<double>(samples[n]);
        }
    }
    for (int pivot = 0; pivot < 3; ++pivot) {
        for (int row = 0; row < 3; ++row) {
            const double factor = row == pivot ? 0.0 : matrix[row][pivot] / matrix[pivot][pivot];
            for (int column = pivot; column < 4; ++column) {
                matrix[row][column] -= factor * matrix[pivot][column];
            }
        }
    }
    const double a = matrix[0][3] / matrix[0][0];
    const double b = matrix[1][3] / matrix[1][1];
    double noise = 0.0;
    for (std::size_t n = 0; n < samples.size(); ++n) {
        const double difference = static_cast<double>(samples[n]) - a * std::sin(phaseAt(n)) - b * std::cos(phaseAt(n));
        noise += difference * difference;
    }
    const double signal = (a * a + b * b) / 2.0 * static_cast<double>(samples.size());
    return {std::hypot(a, b), -std::atan2(b, a) / (2.0 * std::numbers::pi * frequency),
            10.0 * std::log10(signal / noise)};
}

} // namespace braq::tests
