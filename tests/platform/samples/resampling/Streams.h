#pragma once

#include "platform/samples/resampling/StreamBlock.h"
#include "platform/samples/resampling/StreamWindow.h"

#include <cmath>
#include <functional>
#include <utility>

namespace braq::tests {

/// A stream whose sample is any function of channel and frame, from frame 0 on.
class FunctionFeed final : public FrameFeed {
  public:
    using Function = std::function<double(std::size_t channel, double frame)>;
    FunctionFeed(std::size_t channels, Function function) : mChannels(channels), mFunction(std::move(function)) {}

    void read(UInt32 frames, float* const* planes) noexcept override {
        for (std::size_t channel = 0; channel < mChannels; ++channel) {
            for (UInt32 i = 0; i < frames; ++i) {
                planes[channel][i] = static_cast<float>(mFunction(channel, mGiven + i));
            }
        }
        mGiven += frames;
    }

  private:
    const std::size_t mChannels;
    const Function mFunction;
    double mGiven = 0;
};

/// The block that begins where the last one ended.
inline StreamBlock blockAfter(FramePosition start, double first, double last) {
    StreamBlock block;
    block.firstRatio = fixedFrames(first);
    block.lastRatio = fixedFrames(last);
    block.start = start;
    block.end = start.movedBy(blockFrames / 2 * (block.firstRatio + block.lastRatio));
    return block;
}

/// A place between frames, as a number.
inline double numberOf(FramePosition place) { return static_cast<double>(place.frame) + framesOf(place.fraction); }

} // namespace braq::tests
