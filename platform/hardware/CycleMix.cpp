#include "platform/hardware/CycleMix.h"

#include "platform/foundation/HostTime.h"

#include <algorithm>
#include <cstring>

namespace braq {
namespace {

bool records(IODirections directions) { return directions != IODirections::playback; }
bool plays(IODirections directions) { return directions != IODirections::record; }

void silence(Float32* samples, UInt32 frames) noexcept { std::memset(samples, 0, frames * sizeof(Float32)); }

void add(const Float32* source, Float32* sum, UInt32 frames) noexcept {
    for (UInt32 frame = 0; frame < frames; ++frame) {
        sum[frame] += source[frame];
    }
}

/// The same frames of several channels.
struct Stretch {
    Float32* const* samples;
    UInt32 channels;
    UInt32 offset;
    UInt32 frames;

    void silence() const noexcept {
        for (UInt32 channel = 0; channel < channels; ++channel) {
            braq::silence(samples[channel] + offset, frames);
        }
    }
    void addTo(const Stretch& sum) const noexcept {
        for (UInt32 channel = 0; channel < channels; ++channel) {
            add(samples[channel] + offset, sum.samples[channel] + sum.offset, frames);
        }
    }
};

AudioTimeStamp timeOf(const DeviceCycle& cycle, UInt32 offset) {
    const Float64 nanoseconds = offset * nanosecondsPerSecond / cycle.nominalRate * cycle.rateScalar;
    AudioTimeStamp time{};
    time.mSampleTime = cycle.sampleTime + offset;
    time.mHostTime = cycle.hostTime + static_cast<UInt64>(nanoseconds);
    time.mRateScalar = cycle.rateScalar;
    time.mFlags = kAudioTimeStampSampleTimeValid | kAudioTimeStampHostTimeValid | kAudioTimeStampRateScalarValid;
    return time;
}

} // namespace

CycleShape CycleShape::of(const DeviceDescription& description) {
    return {std::max(description.maximumBufferFrames, description.bufferFrames), description.record.channels(),
            description.playback.channels()};
}

CycleMix::ChannelList::ChannelList(UInt32 channels)
    : mBytes(std::make_unique<std::byte[]>(AudioBufferListByteSize(channels))), mChannels(channels) {}

// The list is set up again for each procedure, which may have changed it.
AudioBufferList* CycleMix::ChannelList::pointAt(const Float32* const* samples, UInt32 channels, UInt32 offset,
                                                UInt32 frames) noexcept {
    auto* list = reinterpret_cast<AudioBufferList*>(mBytes.get());
    list->mNumberBuffers = mChannels;
    for (UInt32 channel = 0; channel < mChannels; ++channel) {
        const bool isThere = channel < channels;
        list->mBuffers[channel] = {1, isThere ? static_cast<UInt32>(frames * sizeof(Float32)) : 0,
                                   isThere ? const_cast<Float32*>(samples[channel] + offset) : nullptr};
    }
    return list;
}

CycleMix::CycleMix(const CycleShape& shape, std::vector<MixedProcedure> procedures)
    : mProcedures(std::move(procedures)),
      mSliceFrames(std::max<UInt32>(shape.sliceFrames, 1)),
      mOutputChannels(shape.outputChannels),
      mInput(shape.inputChannels),
      mOutput(shape.outputChannels) {
    // Only a second player needs its own buffer; the first plays straight into the cycle.
    if (std::ranges::count_if(mProcedures, [](const auto& one) { return plays(one.directions); }) > 1) {
        mScratch.emplace(mOutputChannels, mSliceFrames);
    }
}

bool CycleMix::run(const DeviceCycle& cycle) noexcept {
    for (UInt32 channel = 0; channel < cycle.outputChannels; ++channel) {
        silence(cycle.output[channel], cycle.frames);
    }
    mThrewFirst = false;
    for (UInt32 offset = 0, frames = 0; offset < cycle.frames; offset += frames) {
        frames = std::min(mSliceFrames, cycle.frames - offset);
        runSlice(cycle, offset, frames);
    }
    return mThrewFirst;
}

void CycleMix::runSlice(const DeviceCycle& cycle, UInt32 offset, UInt32 frames) noexcept {
    const Stretch sum{cycle.output, std::min(mOutputChannels, cycle.outputChannels), offset, frames};
    Stretch target = sum;
    for (const MixedProcedure& procedure : mProcedures) {
        IOSlice slice{frames, timeOf(cycle, offset), cycle.nominalRate, nullptr, nullptr};
        if (offset == 0) {
            slice.passedOverFrames = cycle.passedOverFrames;
            slice.lateFrames = cycle.lateFrames;
        }
        if (records(procedure.directions)) {
            slice.input = mInput.pointAt(cycle.input, cycle.inputChannels, offset, frames);
        }
        if (!plays(procedure.directions)) {
            call(procedure, slice);
            continue;
        }
        slice.output = mOutput.pointAt(target.samples, target.channels, target.offset, frames);
        if (!call(procedure, slice)) {
            target.silence();
        } else if (target.samples != sum.samples) {
            target.addTo(sum);
        }
        if (mScratch) { // there is a next player
            target = {mScratch->get(), sum.channels, 0, frames};
            target.silence();
        }
    }
}

bool CycleMix::call(const MixedProcedure& procedure, const IOSlice& slice) noexcept {
    try {
        procedure.procedure(procedure.context, slice);
        return true;
    } catch (...) {
        mThrewFirst |= !procedure.hasThrown->exchange(true);
        return false;
    }
}

} // namespace braq
