#pragma once

#include "platform/samples/resampling/VariableRateConverter.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <vector>

namespace braq::tests {

using Planes = std::vector<std::vector<float>>;

inline constexpr double frameRate = 48000;
inline constexpr double twoPi = 2 * std::numbers::pi;

/// A source whose sample is any function of channel and frame, and which notes what it is asked for.
class FunctionSource {
  public:
    using Function = std::function<double(UInt32 channel, SInt64 frame)>;
    explicit FunctionSource(Function function) : mFunction(std::move(function)) {}

    static void pull(void* context, UInt32 frames, float* const* planes) noexcept {
        FunctionSource& source = *static_cast<FunctionSource*>(context);
        for (UInt32 channel = 0; channel < source.channels; ++channel) {
            for (UInt32 i = 0; i < frames; ++i) {
                planes[channel][i] = static_cast<float>(source.mFunction(channel, source.pulled + i));
            }
        }
        source.pulled += frames;
        source.largestPull = std::max(source.largestPull, frames);
        ++source.pulls;
    }

    UInt32 channels = 2;
    SInt64 pulled = 0;
    UInt32 largestPull = 0;
    UInt32 pulls = 0;

  private:
    Function mFunction;
};

/// A sine in the first channel and a cosine in the second one: their samples tell the place in the source that is heard.
inline FunctionSource turningTone(double cyclesPerFrame) {
    return FunctionSource([cyclesPerFrame](UInt32 channel, SInt64 frame) {
        const double phase = twoPi * std::fmod(cyclesPerFrame * static_cast<double>(frame), 1.0);
        return channel == 0 ? std::sin(phase) : std::cos(phase);
    });
}

/// Every sample of the first 8 million has a value of its own.
inline FunctionSource numberedFrames() {
    return FunctionSource(
        [](UInt32 channel, SInt64 frame) { return static_cast<double>(2 * frame + channel) * 0x1p-24; });
}

/// Renders `frames`, in calls of `atOnce`, and appends them.
template <class Converter>
void render(Converter& converter, FunctionSource& source, Planes& out, UInt32 frames, double ratio,
            UInt32 atOnce = 512) {
    out.resize(source.channels);
    while (frames > 0) {
        const UInt32 count = std::min(frames, atOnce);
        std::vector<float*> planes;
        for (auto& plane : out) {
            plane.resize(plane.size() + count);
            planes.push_back(plane.data() + plane.size() - count);
        }
        converter.render(count, planes.data(), ratio, &FunctionSource::pull, &source);
        frames -= count;
    }
}

/// A sine and what is left beside it.
struct FittedSine {
    double amplitude = 0;
    double phase = 0; ///< where the first sample lies after the sine's start, in cycles
    double snr = 0;   ///< decibels
};

/// Fits a sine of a known frequency to samples from `first` on.
inline FittedSine fitSine(const std::vector<float>& samples, double cyclesPerSample, std::size_t first) {
    double ss = 0;
    double cc = 0;
    double sc = 0;
    double ys = 0;
    double yc = 0;
    const auto phaseAt = [&](std::size_t i) {
        return twoPi * std::fmod(cyclesPerSample * static_cast<double>(i), 1.0);
    };
    for (std::size_t i = first; i < samples.size(); ++i) {
        const double s = std::sin(phaseAt(i));
        const double c = std::cos(phaseAt(i));
        ss += s * s;
        cc += c * c;
        sc += s * c;
        ys += static_cast<double>(samples[i]) * s;
        yc += static_cast<double>(samples[i]) * c;
    }
    const double determinant = ss * cc - sc * sc;
    const double a = (ys * cc - yc * sc) / determinant;
    const double b = (yc * ss - ys * sc) / determinant;
    double signal = 0;
    double noise = 0;
    for (std::size_t i = first; i < samples.size(); ++i) {
        const double fit = a * std::sin(phaseAt(i)) + b * std::cos(phaseAt(i));
        signal += fit * fit;
        noise += (static_cast<double>(samples[i]) - fit) * (static_cast<double>(samples[i]) - fit);
    }
    return {std::hypot(a, b), std::atan2(b, a) / twoPi, 10 * std::log10(signal / noise)};
}

/// What a turning tone tells of the sound.
struct Path {
    std::vector<double>
        positions;                ///< in the source, from the first frame on, which lies within half a cycle of frame 0
    double largestLevelError = 0; ///< of the tone's level of 1
    double largestRatioStep = 0;  ///< from one frame to the next
};

/// @param settled frames to leave out of the errors at the beginning, where the sound starts from silence
inline Path pathOf(const Planes& planes, double cyclesPerFrame, std::size_t settled = 0) {
    Path path;
    double turns = 0;
    double lastTurn = 0;
    for (std::size_t i = 0; i < planes[0].size(); ++i) {
        const auto sine = static_cast<double>(planes[0][i]);
        const auto cosine = static_cast<double>(planes[1][i]);
        const double turn = std::atan2(sine, cosine) / twoPi;
        turns += i == 0 ? turn : std::remainder(turn - lastTurn, 1.0);
        lastTurn = turn;
        path.positions.push_back(turns / cyclesPerFrame);
        if (i >= settled) {
            path.largestLevelError = std::max(path.largestLevelError, std::fabs(std::hypot(sine, cosine) - 1));
        }
        if (i >= settled + 2) {
            const double* const last = &path.positions[i];
            path.largestRatioStep = std::max(path.largestRatioStep, std::fabs(last[0] - 2 * last[-1] + last[-2]));
        }
    }
    return path;
}

inline double largestStep(const std::vector<float>& samples, std::size_t first = 1) {
    double largest = 0;
    for (std::size_t i = first; i < samples.size(); ++i) {
        largest = std::max(largest, std::fabs(static_cast<double>(samples[i]) - static_cast<double>(samples[i - 1])));
    }
    return largest;
}

} // namespace braq::tests
