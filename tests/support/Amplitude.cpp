#include "tests/support/Amplitude.h"

#include <complex>
#include <cstddef>
#include <numbers>

namespace braq::tests {

double amplitudeAt(double hertz, std::span<const Float32> samples, double rate) {
    std::complex<double> sum;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        sum += static_cast<double>(samples[i]) *
               std::polar(1.0, -2.0 * std::numbers::pi * hertz * static_cast<double>(i) / rate);
    }
    return 2.0 * std::abs(sum) / static_cast<double>(samples.size());
}

} // namespace braq::tests
