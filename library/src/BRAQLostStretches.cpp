#include "library/src/BRAQLostStretches.h"

void BRAQLostStretches::add(const BRAQLostStretch& stretch) noexcept {
    if (mWaiting.frames == 0) {
        mWaiting.frame = stretch.frame;
    }
    mWaiting.frames += stretch.frames;
    const std::size_t added = mAdded.load(std::memory_order_relaxed);
    if (added - mTaken.load(std::memory_order_acquire) == capacity) {
        return;
    }
    mStretches[added % capacity] = mWaiting;
    mAdded.store(added + 1, std::memory_order_release);
    mWaiting.frames = 0;
}

std::optional<BRAQLostStretch> BRAQLostStretches::first() const noexcept {
    const std::size_t taken = mTaken.load(std::memory_order_relaxed);
    return taken == mAdded.load(std::memory_order_acquire) ? std::nullopt : std::optional(mStretches[taken % capacity]);
}
