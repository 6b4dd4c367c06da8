#include "BRAQAudio/BRAQAudioFrameRing.h"

#include "BRAQAudio/platform/foundation.h"

#include <algorithm>
#include <cstring>

namespace {

/// Where a channel of a list is: its first sample, and how far its samples lie apart.
template <class Sample>
struct Channel {
    Sample* first;
    UInt32 stride;
};

bool isOfShape(const AudioBufferList* list, UInt32 channels, UInt32 frames) noexcept {
    if (list == nullptr) {
        return false;
    }
    const UInt32 buffers = list->mNumberBuffers;
    if (buffers != channels && buffers != 1) {
        return false;
    }
    const UInt32 channelsOfEach = buffers == channels ? 1 : channels;
    const std::size_t bytes = static_cast<std::size_t>(frames) * channelsOfEach * sizeof(Float32);
    return std::all_of(list->mBuffers, list->mBuffers + buffers, [&](const AudioBuffer& buffer) {
        return buffer.mNumberChannels == channelsOfEach && buffer.mData != nullptr && buffer.mDataByteSize >= bytes;
    });
}

template <class Sample>
Channel<Sample> channelOf(const AudioBufferList* list, UInt32 channel) noexcept {
    const AudioBuffer& buffer = list->mBuffers[list->mNumberBuffers == 1 ? 0 : channel];
    const UInt32 offset = list->mNumberBuffers == 1 ? channel : 0;
    return {static_cast<Sample*>(buffer.mData) + offset, buffer.mNumberChannels};
}

void copy(Channel<const Float32> from, Float32* to, UInt32 frames) noexcept {
    if (from.stride == 1) {
        std::memcpy(to, from.first, frames * sizeof(Float32));
        return;
    }
    for (UInt32 frame = 0; frame < frames; ++frame) {
        to[frame] = from.first[static_cast<std::size_t>(frame) * from.stride];
    }
}

void copy(const Float32* from, Channel<Float32> to, UInt32 frames) noexcept {
    if (to.stride == 1) {
        std::memcpy(to.first, from, frames * sizeof(Float32));
        return;
    }
    for (UInt32 frame = 0; frame < frames; ++frame) {
        to.first[static_cast<std::size_t>(frame) * to.stride] = from[frame];
    }
}

template <class Sample>
Channel<Sample> after(Channel<Sample> channel, UInt32 frames) noexcept {
    return {channel.first + static_cast<std::size_t>(frames) * channel.stride, channel.stride};
}

void checkSize(UInt32 frames, UInt32 channels) {
    if (frames == 0 || channels == 0) {
        throw NSException(NSInvalidArgumentException, "a ring has room for at least one frame of one channel");
    }
}

bool hasHostTime(const AudioTimeStamp* time) noexcept {
    return time != nullptr && (time->mFlags & kAudioTimeStampHostTimeValid) != 0;
}

// Host times count nanoseconds.
Float64 secondsOf(const AudioTimeStamp& time) noexcept { return static_cast<Float64>(time.mHostTime) * 1e-9; }

// Only one thread stores it.
void count(std::atomic<UInt64>& events) noexcept {
    events.store(events.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

} // namespace

std::shared_ptr<BRAQAudioFrameRing> BRAQAudioFrameRing::initWithCapacity(UInt32 frames, UInt32 channels) {
    checkSize(frames, channels);
    return std::shared_ptr<BRAQAudioFrameRing>(new BRAQAudioFrameRing(frames, channels));
}

std::shared_ptr<BRAQAudioFrameRing> BRAQAudioFrameRing::initWithCapacity(UInt32 frames, UInt32 channels,
                                                                         Float64 sampleRate) {
    checkSize(frames, channels);
    if (!(sampleRate > 0.0)) {
        throw NSException(NSInvalidArgumentException, "a sample rate is positive");
    }
    return std::shared_ptr<BRAQAudioFrameRing>(new BRAQAudioFrameRing(frames, channels, sampleRate));
}

BRAQAudioFrameRing::BRAQAudioFrameRing(UInt32 frames, UInt32 channels, Float64 sampleRate)
    : mCapacity(frames),
      mChannels(channels),
      mSampleRate(sampleRate),
      mSamples(std::make_unique<Float32[]>(static_cast<std::size_t>(frames) * channels)) {}

BRAQAudioFrameRing::~BRAQAudioFrameRing() = default;

UInt32 BRAQAudioFrameRing::write(const AudioBufferList* source, UInt32 frames) noexcept {
    if (!isOfShape(source, mChannels, frames)) {
        return 0;
    }
    const UInt32 written = framesToWrite(frames);
    const UInt32 upToTheEnd = std::min(written, mCapacity - mWriteIndex);
    for (UInt32 channel = 0; channel < mChannels; ++channel) {
        const auto from = channelOf<const Float32>(source, channel);
        copy(from, plane(channel) + mWriteIndex, upToTheEnd);
        copy(after(from, upToTheEnd), plane(channel), written - upToTheEnd);
    }
    finishWrite(written);
    return written;
}

// Stored before the frames are: who reads them knows of it.
UInt32 BRAQAudioFrameRing::write(const AudioBufferList* source, UInt32 frames, const AudioTimeStamp* time) noexcept {
    const auto before = static_cast<Float64>(mWritten.load(std::memory_order_relaxed));
    const bool isKnown = hasHostTime(time) && mSampleRate > 0.0;
    mOrigin.store(isKnown ? secondsOf(*time) - before / mSampleRate : 0.0, std::memory_order_relaxed);
    mLastWrite.store(frames, std::memory_order_relaxed);
    return write(source, frames);
}

UInt32 BRAQAudioFrameRing::writeSilence(UInt32 frames) noexcept {
    const UInt32 written = framesToWrite(frames);
    const UInt32 upToTheEnd = std::min(written, mCapacity - mWriteIndex);
    for (UInt32 channel = 0; channel < mChannels; ++channel) {
        std::fill_n(plane(channel) + mWriteIndex, upToTheEnd, 0.0F);
        std::fill_n(plane(channel), written - upToTheEnd, 0.0F);
    }
    finishWrite(written);
    return written;
}

UInt32 BRAQAudioFrameRing::read(AudioBufferList* destination, UInt32 frames) noexcept {
    if (!isOfShape(destination, mChannels, frames)) {
        return 0;
    }
    const UInt32 read = framesToRead(frames);
    const UInt32 upToTheEnd = std::min(read, mCapacity - mReadIndex);
    for (UInt32 channel = 0; channel < mChannels; ++channel) {
        const auto to = channelOf<Float32>(destination, channel);
        copy(plane(channel) + mReadIndex, to, upToTheEnd);
        copy(plane(channel), after(to, upToTheEnd), read - upToTheEnd);
    }
    finishRead(read);
    if (read < frames) {
        count(mUnderruns);
    }
    return read;
}

UInt32 BRAQAudioFrameRing::readLatest(AudioBufferList* destination, UInt32 frames,
                                      const AudioTimeStamp* time) noexcept {
    const UInt32 held = framesHeld();
    const UInt64 enough = UInt64{frames} + mLastWrite.load(std::memory_order_relaxed);
    skip(held > enough ? static_cast<UInt32>(held - enough) : 0);
    const Float64 origin = mOrigin.load(std::memory_order_relaxed);
    if (held != 0 && origin != 0.0 && hasHostTime(time)) {
        const auto before = static_cast<Float64>(mRead.load(std::memory_order_relaxed));
        const Float64 delay = secondsOf(*time) - origin - before / mSampleRate;
        mDelay.store(std::max(delay, 0.0), std::memory_order_relaxed); // a cycle may play what it captures
    }
    return read(destination, frames);
}

UInt32 BRAQAudioFrameRing::skip(UInt32 frames) noexcept {
    const UInt32 skipped = framesToRead(frames);
    finishRead(skipped);
    return skipped;
}

// Frames may be read between the two loads, which must not make the difference negative.
UInt32 BRAQAudioFrameRing::framesHeld() const noexcept {
    const UInt64 read = mRead.load(std::memory_order_acquire);
    const UInt64 written = mWritten.load(std::memory_order_acquire);
    return static_cast<UInt32>(std::min<UInt64>(written - read, mCapacity));
}

// The frames read before are copied out before their places are written again, and the other way round below.
UInt32 BRAQAudioFrameRing::framesToWrite(UInt32 wanted) noexcept {
    const UInt64 held = mWritten.load(std::memory_order_relaxed) - mRead.load(std::memory_order_acquire);
    const UInt32 room = mCapacity - static_cast<UInt32>(held);
    if (room < wanted) {
        count(mOverruns);
    }
    return std::min(wanted, room);
}

UInt32 BRAQAudioFrameRing::framesToRead(UInt32 wanted) const noexcept {
    const UInt64 held = mWritten.load(std::memory_order_acquire) - mRead.load(std::memory_order_relaxed);
    return static_cast<UInt32>(std::min<UInt64>(wanted, held));
}

void BRAQAudioFrameRing::finishWrite(UInt32 frames) noexcept {
    mWriteIndex = frames < mCapacity - mWriteIndex ? mWriteIndex + frames : frames - (mCapacity - mWriteIndex);
    mWritten.store(mWritten.load(std::memory_order_relaxed) + frames, std::memory_order_release);
}

void BRAQAudioFrameRing::finishRead(UInt32 frames) noexcept {
    mReadIndex = frames < mCapacity - mReadIndex ? mReadIndex + frames : frames - (mCapacity - mReadIndex);
    mRead.store(mRead.load(std::memory_order_relaxed) + frames, std::memory_order_release);
}
