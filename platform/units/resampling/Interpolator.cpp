#include "platform/units/resampling/Interpolator.h"

#include <soxr.h>

#include <algorithm>
#include <mutex>
#include <new>

namespace braq {

namespace {

/// Silence, in pieces of any size.
class SilentFeed final : public FrameFeed {
  public:
    explicit SilentFeed(std::size_t channels) : mSilence(largestPiece, 0.0F), mPlanes(channels, mSilence.data()) {}
    const float* const* next(UInt32& frames) noexcept override {
        frames = std::min(frames, largestPiece);
        return mPlanes.data();
    }

  private:
    static constexpr UInt32 largestPiece = 256;
    const std::vector<float> mSilence;
    const std::vector<const float*> mPlanes;
};

soxr* create(UInt32 channels) {
    // The first one of a process fills tables that all of them use, and does not look whether another is at it.
    static std::mutex mutex;
    const std::scoped_lock lock(mutex);
    const soxr_io_spec_t planar = soxr_io_spec(SOXR_FLOAT32_S, SOXR_FLOAT32_S);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, SOXR_VR);
    const soxr_runtime_spec_t oneThread = soxr_runtime_spec(1);
    soxr_error_t error = nullptr;
    // A largest ratio above 1 would add a recursive filter, which delays high frequencies more than low ones.
    soxr* const interpolator = soxr_create(1, 1, channels, &error, &planar, &quality, &oneThread);
    if (interpolator == nullptr) {
        throw std::bad_alloc();
    }
    return interpolator;
}

double ratioOf(FixedFrames step) { return framesOf(step); }

} // namespace

void Interpolator::Deleter::operator()(soxr* interpolator) const { soxr_delete(interpolator); }

Interpolator::Interpolator(UInt32 channels)
    : mInterpolator(create(channels)), mUnheard(channels, std::vector<float>(largestBlock)), mDestination(channels) {
    for (auto& plane : mUnheard) {
        mUnheardPlanes.push_back(plane.data());
    }
    reserve();
}

/// libsoxr's queues grow until they have been walked through once, by more when more lies in them. So they are walked through
/// here, with more in them than there ever will be.
void Interpolator::reserve() {
    constexpr SInt64 moreThanEver = 4096;
    constexpr UInt32 blocks = 20000 / largestBlock;
    SilentFeed feed(mDestination.size());
    // The steps are first set here, at 1: from another one libsoxr would begin between two frames.
    soxr_set_io_ratio(mInterpolator.get(), 1, 0);
    give(moreThanEver, feed);
    for (UInt32 i = 0; i < blocks; ++i) {
        give(largestBlock, feed);
        take(largestBlock, 0, mUnheardPlanes.data());
        mAhead -= largestBlock * oneFrame;
    }
    while (mAhead >= (lookahead + largestBlock) * oneFrame) {
        take(largestBlock, 0, mUnheardPlanes.data());
        mAhead -= largestBlock * oneFrame;
    }
}

void Interpolator::read(UInt32 count, FixedFrames first, FixedFrames last, float* const* out,
                        FrameFeed& feed) noexcept {
    setSteps(count, first, last);
    const FixedFrames way = count * ((first + last) / 2);
    const FixedFrames ahead = mAhead - way;
    give(lookahead - (ahead >> 32), feed);
    UInt32 done = take(count, 0, out);
    while (done < count) {
        give(1, feed);
        done += take(count - done, done, out);
    }
    mAhead -= way;
}

void Interpolator::setSteps(UInt32 count, FixedFrames first, FixedFrames last) noexcept {
    soxr* const interpolator = mInterpolator.get();
    const FixedFrames growth = (last - first) / count;
    const FixedFrames start = first + growth / 2; // so that the steps are those of the middles of their ways
    // When it has arrived at the end of a slope it holds on to that step, until it is told to slope to where it is.
    soxr_set_io_ratio(interpolator, ratioOf(mStep), count);
    soxr_set_io_ratio(interpolator, ratioOf(start), 0);
    mStep = start + growth * count;
    if (growth != 0) {
        soxr_set_io_ratio(interpolator, ratioOf(mStep), count);
    }
}

void Interpolator::give(SInt64 frames, FrameFeed& feed) noexcept {
    while (frames > 0) {
        UInt32 piece = static_cast<UInt32>(frames);
        const float* const* const planes = feed.next(piece);
        size_t none = 0;
        soxr_process(mInterpolator.get(), static_cast<soxr_in_t>(planes), piece, nullptr, mUnheardPlanes.data(), 0,
                     &none);
        mAhead += piece * oneFrame;
        frames -= piece;
    }
}

UInt32 Interpolator::take(UInt32 count, UInt32 offset, float* const* out) noexcept {
    for (std::size_t channel = 0; channel < mDestination.size(); ++channel) {
        mDestination[channel] = out[channel] + offset;
    }
    return static_cast<UInt32>(soxr_output(mInterpolator.get(), mDestination.data(), count));
}

void Interpolator::moveInto(FixedFrames place, FrameFeed& feed) noexcept {
    const FixedFrames way = mAhead + place;
    FixedFrames whole = way >> 32;
    while (whole > 0) {
        const UInt32 count = static_cast<UInt32>(std::min<FixedFrames>(whole, largestBlock));
        read(count, oneFrame, oneFrame, mUnheardPlanes.data(), feed);
        whole -= count;
    }
    const FixedFrames rest = way & (oneFrame - 1);
    if (rest != 0) {
        read(1, rest, rest, mUnheardPlanes.data(), feed);
    }
}

} // namespace braq
