#pragma once

#include "BRAQAudio/platform/types.h"

#include <span>

namespace braq::tests {

/// The amplitude of the sine of that frequency that is in the samples of one channel: their discrete Fourier transform at
/// one frequency, twice its magnitude, divided by their number.
double amplitudeAt(double hertz, std::span<const Float32> samples, double rate);

} // namespace braq::tests
