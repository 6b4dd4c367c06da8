#include "platform/samples/TempoConverter.h"

#include <algorithm>
#include <cmath>

namespace braq {
namespace {

constexpr double joinSeconds = 0.010;
// As far as the stretcher moves sounds to either side.
constexpr double reachSeconds = 0.0075;
// What is pulled ahead at the highest tempo, and what is ready and not played yet.
constexpr double keptSeconds = 0.4;
// Enough to search at, and in: higher rates and more channels do not make the search longer.
constexpr double searchedRate = 48000.0;
constexpr UInt32 searchedChannels = 2;

UInt32 framesIn(double seconds, double frameRate) {
    return static_cast<UInt32>(std::max(std::ceil(seconds * frameRate), 1.0));
}

} // namespace

TempoConverter::TempoConverter(UInt32 channels, double frameRate, UInt32 largestPull)
    : mJoinFrames(framesIn(joinSeconds, frameRate)),
      mReach(framesIn(reachSeconds, frameRate)),
      mSearchStep(static_cast<UInt32>(std::max(frameRate / searchedRate, 1.0))),
      mStretcher(channels, frameRate),
      mHistory(channels, framesIn(keptSeconds, frameRate) + 2 * mReach + mJoinFrames + TimeStretcher::largestPut,
               largestPull),
      mFed(channels, TimeStretcher::largestPut),
      mJoined(channels, mJoinFrames),
      mSource(channels, mJoinFrames + 2 * mReach),
      mDestination(channels),
      mJoinHeard(mJoinFrames) {}

void TempoConverter::render(UInt32 frames, float* const* planes, double tempo, PullFrames pull,
                            void* context) noexcept {
    mHistory.setSource(pull, context);
    run(frames, planes, tempo, false);
}

UInt32 TempoConverter::drain(UInt32 frames, float* const* planes, double tempo) noexcept {
    mHistory.setSource(nullptr, nullptr);
    const UInt32 done = run(frames, planes, tempo, true);
    if (done < frames) {
        mIsStretching = false;
        mJoinHeard = mJoinFrames;
        mPosition = static_cast<double>(mHistory.end());
    }
    return done;
}

UInt32 TempoConverter::run(UInt32 frames, float* const* planes, double wish, bool isDraining) noexcept {
    const double tempo = std::clamp(wish, TimeStretcher::slowest, TimeStretcher::fastest);
    for (UInt32 done = 0; done < frames;) {
        if (mIsStretching && tempo == 1.0) {
            join(isDraining);
        }
        UInt32 part = 0;
        if (mJoinHeard < mJoinFrames) {
            part = deliverJoined(frames - done, planes, done);
        } else if (tempo == 1.0) {
            part = pass(frames - done, planes, done, isDraining);
        } else {
            part = stretch(frames - done, planes, done, tempo, isDraining);
        }
        if (part == 0) {
            return done;
        }
        done += part;
    }
    return frames;
}

UInt32 TempoConverter::pass(UInt32 frames, float* const* planes, UInt32 done, bool isDraining) noexcept {
    const auto position = static_cast<SInt64>(mPosition);
    const SInt64 there = (isDraining ? mHistory.soundEnd() : mHistory.end()) - position;
    UInt32 passed = static_cast<UInt32>(std::clamp<SInt64>(there, 0, frames));
    if (passed > 0) {
        mHistory.copy(position, passed, planes, done);
    } else if (!isDraining) {
        passed = frames;
        setDestination(planes, done);
        mHistory.pullInto(passed, mDestination.data());
    }
    mPosition += passed;
    return passed;
}

void TempoConverter::setDestination(float* const* planes, UInt32 offset) noexcept {
    for (std::size_t channel = 0; channel < mDestination.size(); ++channel) {
        mDestination[channel] = planes[channel] + offset;
    }
}

// The position is a whole frame as long as nothing is stretched.
void TempoConverter::begin() noexcept {
    mMadeUpTo = mPosition;
    mFedUpTo = static_cast<SInt64>(mPosition);
    mStretcher.clear();
    mIsStretching = true;
}

UInt32 TempoConverter::stretch(UInt32 frames, float* const* planes, UInt32 done, double tempo,
                               bool isDraining) noexcept {
    if (!mIsStretching) {
        begin();
    }
    if (tempo != mTempo) {
        mTempo = tempo;
        mStretcher.setTempo(tempo);
    }
    UInt32 part = std::min(frames, TimeStretcher::largestPut);
    if (isDraining) {
        part = static_cast<UInt32>(std::min<double>(part, std::round(heldFrames() / tempo)));
    } else { // each render pulls as much as it plays, rather than now and then a batch
        feedTo(static_cast<SInt64>(std::ceil(mPosition + part * tempo)) + mStretcher.lead(), isDraining);
    }
    makeReady(part, isDraining);
    takeFrom(part, planes, done);
    return part;
}

void TempoConverter::makeReady(UInt32 frames, bool isDraining) noexcept {
    while (mStretcher.ready() < frames) {
        feedTo(mFedUpTo + TimeStretcher::largestPut, isDraining);
    }
}

void TempoConverter::feedTo(SInt64 frame, bool isDraining) noexcept {
    while (mFedUpTo < frame) {
        const auto part = static_cast<UInt32>(std::min<SInt64>(frame - mFedUpTo, TimeStretcher::largestPut));
        if (!isDraining) {
            mHistory.extendTo(mFedUpTo + part);
        }
        readFed(part);
        const UInt32 before = mStretcher.ready();
        mStretcher.put(part, mFed.get());
        mMadeUpTo += (mStretcher.ready() - before) * mTempo;
        mFedUpTo += part;
    }
}

/// Behind the last frame the source runs backwards: a slow batch, which reaches beyond it, would have a hole with silence.
void TempoConverter::readFed(UInt32 frames) noexcept {
    const SInt64 end = mHistory.soundEnd();
    const auto there = static_cast<UInt32>(std::clamp<SInt64>(end - mFedUpTo, 0, frames));
    mHistory.copy(mFedUpTo, there, mFed.get(), 0);
    for (UInt32 frame = there; frame < frames; ++frame) {
        mHistory.copy(std::max<SInt64>(2 * end - 1 - (mFedUpTo + frame), 0), 1, mFed.get(), frame);
    }
}

void TempoConverter::takeFrom(UInt32 frames, float* const* planes, UInt32 done) noexcept {
    if (frames == 0) {
        return;
    }
    mPosition += (mMadeUpTo - mPosition) * frames / mStretcher.ready();
    mStretcher.take(frames, planes, done);
}

/// Goes over from stretched frames to the source's.
void TempoConverter::join(bool isDraining) noexcept {
    makeReady(mJoinFrames, isDraining);
    mStretcher.take(mJoinFrames, mJoined.get(), 0);
    const SInt64 begin = mostAlike();
    for (UInt32 channel = 0; channel < mJoined.channels(); ++channel) {
        float* const joined = mJoined.get()[channel];
        const float* const source = mSource.get()[channel] + mReach + (begin - static_cast<SInt64>(mPosition));
        for (UInt32 frame = 0; frame < mJoinFrames; ++frame) {
            const float share = (static_cast<float>(frame) + 0.5F) / static_cast<float>(mJoinFrames);
            joined[frame] += share * (source[frame] - joined[frame]);
        }
    }
    mPosition = static_cast<double>(begin);
    mJoinHeard = 0;
    mIsStretching = false;
}

/// Silence where there is nothing: before the first frame.
void TempoConverter::readSource(SInt64 first) noexcept {
    const auto before = static_cast<UInt32>(std::clamp<SInt64>(-first, 0, mSource.frames()));
    for (UInt32 channel = 0; channel < mSource.channels(); ++channel) {
        std::fill_n(mSource.get()[channel], before, 0.0F);
    }
    mHistory.extendTo(first + mSource.frames());
    mHistory.copy(first + before, mSource.frames() - before, mSource.get(), before);
}

float TempoConverter::differenceAt(UInt32 offset) const noexcept {
    float sum = 0.0F;
    for (UInt32 channel = 0; channel < std::min(mSource.channels(), searchedChannels); ++channel) {
        const float* const source = mSource.get()[channel] + offset;
        const float* const stretched = mJoined.get()[channel];
        for (UInt32 frame = 0; frame < mJoinFrames; frame += mSearchStep) {
            const float difference = source[frame] - stretched[frame];
            sum += difference * difference;
        }
    }
    return sum;
}

/// The source frame from which on the source is most like the stretched frames that were taken last.
SInt64 TempoConverter::mostAlike() noexcept {
    const SInt64 first = static_cast<SInt64>(mPosition) - mReach;
    readSource(first);
    UInt32 best = mReach;
    float least = differenceAt(best);
    for (UInt32 offset = 0; offset <= 2 * mReach; offset += mSearchStep) {
        if (const float difference = differenceAt(offset); difference < least) {
            least = difference;
            best = offset;
        }
    }
    return std::max<SInt64>(first + best, 0);
}

UInt32 TempoConverter::deliverJoined(UInt32 frames, float* const* planes, UInt32 done) noexcept {
    const UInt32 part = std::min(frames, mJoinFrames - mJoinHeard);
    for (UInt32 channel = 0; channel < mJoined.channels(); ++channel) {
        std::copy_n(mJoined.get()[channel] + mJoinHeard, part, planes[channel] + done);
    }
    mJoinHeard += part;
    mPosition += part;
    return part;
}

void TempoConverter::reset() noexcept {
    mHistory.clear();
    mStretcher.clear();
    mIsStretching = false;
    mPosition = 0;
    mMadeUpTo = 0;
    mFedUpTo = 0;
    mJoinHeard = mJoinFrames;
}

double TempoConverter::framesAhead() const noexcept {
    return mIsStretching ? heldFrames() + mStretcher.batch() * (mTempo - 1.0) / 2.0 : heldFrames();
}

double TempoConverter::heldFrames() const noexcept {
    return std::max(0.0, static_cast<double>(mHistory.soundEnd()) - mPosition);
}

} // namespace braq
