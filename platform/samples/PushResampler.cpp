#include "platform/samples/PushResampler.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace braq {
namespace {

constexpr std::size_t resampledAtOnce = 4096;

template <class T>
std::vector<T*> pointers(UInt32 channels, const auto& pointer) {
    std::vector<T*> found(channels);
    for (UInt32 channel = 0; channel < channels; ++channel) {
        found[channel] = pointer(channel);
    }
    return found;
}

} // namespace

std::unique_ptr<PushResampler> PushResampler::create(Float64 sourceRate, Float64 destinationRate, UInt32 channels) {
    auto converter =
        FixedRateConverter::create(sourceRate, destinationRate, channels, FixedRateConverter::Quality::veryHigh);
    if (converter == nullptr) {
        return nullptr;
    }
    return std::unique_ptr<PushResampler>(new PushResampler(std::move(converter), destinationRate / sourceRate));
}

SInt64 PushResampler::framesInAll(SInt64 more) const {
    return std::llround(static_cast<Float64>(mFramesIn + more) * mRatio);
}

bool PushResampler::convert(const FramePlanes& source, FramePlanes& destination) {
    mFramesIn += static_cast<SInt64>(source.frames());
    return run(&source, destination);
}

bool PushResampler::finish(FramePlanes& destination) {
    if (!run(nullptr, destination)) {
        return false;
    }
    // The converter may round its end differently.
    const SInt64 missing = framesInAll(0) - mFramesOut;
    const SInt64 frames = static_cast<SInt64>(destination.frames()) + missing;
    destination.resize(static_cast<std::size_t>(std::max<SInt64>(frames, 0)));
    mFramesOut += missing;
    return true;
}

bool PushResampler::run(const FramePlanes* source, FramePlanes& destination) {
    const UInt32 channels = destination.channels();
    const std::size_t wanted = source == nullptr ? 0 : source->frames();
    std::size_t taken = 0;
    std::size_t delivered = 0;
    do {
        const std::size_t before = destination.frames();
        destination.resize(before + resampledAtOnce);
        const auto in = pointers<const Float32>(source == nullptr ? 0 : channels,
                                                [&](UInt32 channel) { return source->channel(channel) + taken; });
        const auto out =
            pointers<Float32>(channels, [&](UInt32 channel) { return destination.channel(channel) + before; });
        const auto [takenNow, made, isGood] =
            mConverter->process(source == nullptr ? nullptr : in.data(), wanted - taken, out.data(), resampledAtOnce);
        destination.resize(before + made);
        if (!isGood) {
            return false;
        }
        taken += takenNow;
        delivered = made;
        mFramesOut += static_cast<SInt64>(delivered);
    } while (delivered == resampledAtOnce || taken < wanted);
    return true;
}

} // namespace braq
