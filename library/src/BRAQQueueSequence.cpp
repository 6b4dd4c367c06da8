#include "library/src/BRAQQueueSequence.h"

#include "BRAQAudio/BRAQAudioBufferList.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <numbers>

namespace {

/// Frames of the old ring that are mixed at once.
constexpr UInt32 partFrames = 256;

float gainAt(double place) noexcept {
    return static_cast<float>(0.5 - 0.5 * std::cos(std::numbers::pi * std::clamp(place, 0.0, 1.0)));
}

float* samplesOf(AudioBufferList* list, UInt32 channel) noexcept {
    return static_cast<float*>(list->mBuffers[channel].mData);
}

} // namespace

// Any address but that of a ring.
BRAQQueueSequence::Queue BRAQQueueSequence::Handover::beingTaken() const noexcept {
    return reinterpret_cast<Queue>(const_cast<Handover*>(this));
}

BRAQQueueSequence::Queue BRAQQueueSequence::Handover::put(Queue queue) noexcept {
    Queue there = mQueue.load(std::memory_order_relaxed);
    while (there == beingTaken() || !mQueue.compare_exchange_weak(there, queue, std::memory_order_acq_rel)) {
        std::this_thread::yield();
        there = mQueue.load(std::memory_order_relaxed);
    }
    return there;
}

template <class Receive>
bool BRAQQueueSequence::Handover::take(Receive receive) noexcept {
    Queue there = mQueue.load(std::memory_order_relaxed);
    if (there == nullptr || !mQueue.compare_exchange_strong(there, beingTaken(), std::memory_order_acq_rel)) {
        return false;
    }
    const bool isTaken = receive(there);
    mQueue.store(isTaken ? nullptr : there, std::memory_order_release);
    return isTaken;
}

bool BRAQQueueSequence::Handover::mayHold(Queue queue) const noexcept {
    const Queue there = mQueue.load(std::memory_order_acquire);
    return there == queue || there == beingTaken();
}

BRAQQueueSequence::Queue BRAQQueueSequence::Handover::queue() const noexcept {
    const Queue there = mQueue.load(std::memory_order_acquire);
    return there == beingTaken() ? nullptr : there;
}

BRAQQueueSequence::BRAQQueueSequence(UInt32 channels)
    : mPart(AudioBufferListByteSize(std::max<UInt32>(channels, 1))),
      mOldFrames(BRAQAudioBufferListCreate(std::max<UInt32>(channels, 1), sizeof(float), partFrames, false),
                 &BRAQAudioBufferListDestroy) {
    if (mOldFrames == nullptr) {
        throw std::bad_alloc();
    }
}

// A ring that is no longer used is released here, with what it has open.
void BRAQQueueSequence::keep(const std::shared_ptr<BRAQAudioBufferQueue>& queue) {
    std::erase_if(mKept, [&](const auto& kept) { return !isUsing(kept.get()); });
    if (queue != nullptr && !std::ranges::count(mKept, queue)) {
        mKept.push_back(queue);
    }
}

void BRAQQueueSequence::set(const std::shared_ptr<BRAQAudioBufferQueue>& queue) {
    mOffered.put(nullptr);
    mNext.put(nullptr);
    mOld = nullptr;
    mMixPlace = 1.0;
    mSkip = 0;
    mCurrent = queue.get();
    keep(queue);
}

void BRAQQueueSequence::changeTo(const std::shared_ptr<BRAQAudioBufferQueue>& queue) {
    offer(queue, atItsBeginning, 0);
}

void BRAQQueueSequence::continueIn(const std::shared_ptr<BRAQAudioBufferQueue>& queue, UInt64 pulledBefore,
                                   UInt64 alike) {
    offer(queue, pulledBefore, alike);
}

// An offer that was not taken is withdrawn first, so that it is not taken with what belongs to this one.
void BRAQQueueSequence::offer(const std::shared_ptr<BRAQAudioBufferQueue>& queue, UInt64 pulledBefore, UInt64 alike) {
    keep(queue);
    mOffered.put(nullptr);
    mOfferedAt.store(pulledBefore, std::memory_order_relaxed);
    mOfferedAlike.store(alike, std::memory_order_relaxed);
    mOffered.put(queue.get());
}

void BRAQQueueSequence::setNext(const std::shared_ptr<BRAQAudioBufferQueue>& queue) {
    keep(queue);
    mNext.put(queue.get());
}

std::shared_ptr<BRAQAudioBufferQueue> BRAQQueueSequence::current() const {
    const Queue offered = mOffered.queue();
    const Queue now = offered != nullptr ? offered : mCurrent.load();
    const auto found = std::ranges::find(mKept, now, &std::shared_ptr<BRAQAudioBufferQueue>::get);
    return found != mKept.end() ? *found : nullptr;
}

// In the order in which the real-time side hands a ring on, so that none is missed on its way.
bool BRAQQueueSequence::isUsing(const BRAQAudioBufferQueue* queue) const noexcept {
    const auto asked = const_cast<Queue>(queue);
    return mOffered.mayHold(asked) || mNext.mayHold(asked) || mCurrent.load() == asked || mOld.load() == asked;
}

void BRAQQueueSequence::begin(bool rises) noexcept {
    mGainPlace = rises ? 0.0 : 1.0;
    mSilence = 0.0;
    mIsSilent.store(false, std::memory_order_relaxed);
    mIsOn.store(true, std::memory_order_relaxed);
}

double BRAQQueueSequence::step() const noexcept {
    const double frames = mTransition.load(std::memory_order_relaxed);
    return 1.0 / std::max(frames, 1.0);
}

double BRAQQueueSequence::changeStep() const noexcept { return std::max(step(), 1.0 / mLongestChange); }

/// The list's frames from `first` on.
AudioBufferList* BRAQQueueSequence::partOf(AudioBufferList* list, UInt32 first) noexcept {
    if (first == 0) {
        return list;
    }
    auto* const part = reinterpret_cast<AudioBufferList*>(mPart.data());
    const auto fits = static_cast<UInt32>((mPart.size() - AudioBufferListByteSize(0)) / sizeof(AudioBuffer));
    part->mNumberBuffers = std::min(list->mNumberBuffers, fits);
    for (UInt32 channel = 0; channel < part->mNumberBuffers; ++channel) {
        part->mBuffers[channel] = list->mBuffers[channel];
        part->mBuffers[channel].mData = samplesOf(list, channel) + first;
    }
    return part;
}

// Each change is heard to its end: cut short, it would click. A ring that has ended is no reason to wait.
bool BRAQQueueSequence::take(Queue offered) noexcept {
    const UInt64 from = mOfferedAt.load(std::memory_order_relaxed);
    const bool isContinued = from != atItsBeginning;
    const UInt64 skipped = isContinued ? mPulled.load(std::memory_order_relaxed) - from : 0;
    const bool isAlike = isContinued && skipped <= mOfferedAlike.load(std::memory_order_relaxed);
    const Queue current = mCurrent.load(std::memory_order_relaxed);
    if (!isAlike) {
        const bool isHeard = hasTransition() && mGainPlace > 0.0;
        const bool isChanging = mOld.load(std::memory_order_relaxed) != nullptr;
        if (isHeard && isChanging && !BRAQAudioBufferQueueReachedEndOfStream(current)) {
            return false;
        }
        mOld.store(isHeard ? current : nullptr, std::memory_order_relaxed);
        mMixPlace = isHeard ? 0.0 : 1.0;
    }
    mSkip.store(skipped);
    mCurrent.store(offered, std::memory_order_relaxed);
    return true;
}

/// @return whether nothing is left to be left out
bool BRAQQueueSequence::skip(Queue queue) noexcept {
    UInt64 left = mSkip.load(std::memory_order_relaxed);
    while (left > 0) {
        auto part = static_cast<UInt32>(std::min<UInt64>(left, partFrames));
        BRAQAudioBufferQueueCopyInto(queue, mOldFrames.get(), &part);
        if (part == 0) {
            left = BRAQAudioBufferQueueReachedEndOfStream(queue) ? 0 : left;
            break;
        }
        left -= part;
    }
    mSkip.store(left);
    return left == 0;
}

void BRAQQueueSequence::keepHeard(PlaceOf placeOf) {
    mHeard = std::make_unique<BRAQHeardFrames>();
    mPlaceOf = placeOf;
}

std::optional<BRAQHeardRun> BRAQQueueSequence::heardAt(Float64 hostTime) const noexcept {
    return mHeard != nullptr ? mHeard->at(hostTime) : std::nullopt;
}

void BRAQQueueSequence::forgetHeard() noexcept {
    if (mHeard != nullptr) {
        mHeard->clear();
    }
}

UInt32 BRAQQueueSequence::pullFrom(Queue queue, AudioBufferList* list, UInt32 first, UInt32 frames,
                                   UInt64 hostTime) noexcept {
    const double rate = mFrameRate.load(std::memory_order_relaxed) / heardNanosecondsPerSecond;
    const bool isKept = mHeard != nullptr && hostTime != 0 && rate > 0.0;
    const auto from = isKept ? mPlaceOf(queue) : std::nullopt;
    BRAQAudioBufferQueueCopyInto(queue, partOf(list, first), &frames);
    if (from && frames > 0) {
        mHeard->add({.hostTime = static_cast<Float64>(hostTime) + first / rate,
                     .framesPerNanosecond = rate,
                     .frames = frames,
                     .file = mFollows.load(std::memory_order_relaxed),
                     .from = *from});
    }
    return frames;
}

UInt32 BRAQQueueSequence::pull(AudioBufferList* list, UInt32 frames, UInt64 hostTime) noexcept {
    UInt32 delivered = 0;
    bool isFollowed = true;
    mPulls.store(mPulls.load(std::memory_order_relaxed) + 1);
    while (isFollowed) {
        const Queue queue = mCurrent.load(std::memory_order_relaxed);
        if (queue == nullptr || !skip(queue)) {
            break;
        }
        delivered += pullFrom(queue, list, delivered, frames - delivered, hostTime);
        const bool isAtEnd = BRAQAudioBufferQueueReachedEndOfStream(queue) && !willChange();
        isFollowed = isAtEnd && mNext.take([this](Queue next) {
            mCurrent.store(next, std::memory_order_relaxed);
            mFollows.fetch_add(1, std::memory_order_release);
            return true;
        }) && delivered < frames;
    }
    mPulled.store(mPulled.load(std::memory_order_relaxed) + delivered);
    mPulls.store(mPulls.load(std::memory_order_relaxed) + 1);
    return delivered;
}

void BRAQQueueSequence::mixPart(AudioBufferList* list, UInt32 first, UInt32 frames) noexcept {
    const double pace = changeStep();
    const UInt32 channels = std::min(list->mNumberBuffers, mOldFrames->mNumberBuffers);
    for (UInt32 channel = 0; channel < channels; ++channel) {
        float* const now = samplesOf(list, channel) + first;
        const float* const old = samplesOf(mOldFrames.get(), channel);
        for (UInt32 frame = 0; frame < frames; ++frame) {
            const float gain = gainAt(mMixPlace + (frame + 0.5) * pace);
            now[frame] = gain * now[frame] + (1.0F - gain) * old[frame];
        }
    }
    mMixPlace += frames * pace;
}

UInt32 BRAQQueueSequence::mixOld(AudioBufferList* list, UInt32 delivered, UInt32 frames) noexcept {
    const Queue old = mOld.load(std::memory_order_relaxed);
    for (UInt32 done = 0; old != nullptr && done < frames && mMixPlace < 1.0;) {
        const double left = std::ceil((1.0 - mMixPlace) / changeStep());
        const auto wanted = static_cast<UInt32>(std::min<double>(std::min(partFrames, frames - done), left));
        UInt32 part = wanted;
        BRAQAudioBufferQueueCopyInto(old, mOldFrames.get(), &part);
        for (UInt32 channel = 0; channel < mOldFrames->mNumberBuffers; ++channel) {
            std::fill_n(samplesOf(mOldFrames.get(), channel) + part, wanted - part, 0.0F);
        }
        if (done + wanted > delivered) {
            for (UInt32 channel = 0; channel < list->mNumberBuffers; ++channel) {
                std::fill_n(samplesOf(list, channel) + delivered, done + wanted - delivered, 0.0F);
            }
            delivered = done + wanted;
        }
        mixPart(list, done, wanted);
        done += wanted;
    }
    if (old != nullptr && mMixPlace >= 1.0) {
        mOld.store(nullptr, std::memory_order_release);
    }
    return delivered;
}

/// @param step positive: rises; negative: falls
void BRAQQueueSequence::shape(AudioBufferList* list, UInt32 frames, double step) noexcept {
    if (step > 0.0 && mGainPlace >= 1.0) {
        return;
    }
    for (UInt32 channel = 0; channel < list->mNumberBuffers; ++channel) {
        float* const samples = samplesOf(list, channel);
        for (UInt32 frame = 0; frame < frames; ++frame) {
            samples[frame] *= gainAt(mGainPlace + (frame + 0.5) * step);
        }
    }
    mGainPlace = std::clamp(mGainPlace + frames * step, 0.0, 1.0);
}

UInt32 BRAQQueueSequence::render(AudioBufferList* list, UInt32 frames, UInt64 hostTime) noexcept {
    mRenders.fetch_add(1, std::memory_order_relaxed);
    mOffered.take([this](Queue offered) { return take(offered); });
    const double pace = step();
    if (mIsOn.load(std::memory_order_relaxed)) {
        const UInt32 delivered = mixOld(list, pull(list, frames, hostTime), frames);
        shape(list, delivered, pace);
        return delivered;
    }
    const auto audible = static_cast<UInt32>(std::min<double>(frames, std::ceil(mGainPlace / pace)));
    const UInt32 delivered = audible > 0 ? mixOld(list, pull(list, audible, hostTime), audible) : 0;
    const double place = mGainPlace;
    shape(list, delivered, -pace);
    mGainPlace = std::max(0.0, place - audible * pace); // as far as if nothing had been missing
    mSilence += (frames - audible) * pace;
    if (mGainPlace == 0.0 && mSilence >= 1.0) {
        mIsSilent.store(true, std::memory_order_release);
    }
    return delivered;
}

bool BRAQQueueSequence::isAtEnd() const noexcept {
    const Queue queue = mCurrent.load(std::memory_order_relaxed);
    return queue != nullptr && BRAQAudioBufferQueueReachedEndOfStream(queue) && !willChange();
}
