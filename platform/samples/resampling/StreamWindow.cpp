#include "platform/samples/resampling/StreamWindow.h"

#include <algorithm>
#include <cassert>

namespace braq {

StreamWindow::StreamWindow(UInt32 channels, SInt64 capacity)
    : mCapacity(capacity),
      mPlanes(channels, std::vector<float>(static_cast<std::size_t>(capacity))),
      mDestination(channels) {}

void StreamWindow::begin() noexcept {
    mFirst = 0;
    mEnd = 0;
}

void StreamWindow::extendTo(SInt64 end, SInt64 kept, FrameFeed& feed) noexcept {
    if (end <= mEnd) {
        return;
    }
    const SInt64 frames = (end - mEnd + readAtOnce - 1) / readAtOnce * readAtOnce;
    if (mEnd + frames - mFirst > mCapacity) {
        dropBefore(kept);
    }
    assert(mEnd + frames - mFirst <= mCapacity);
    for (std::size_t channel = 0; channel < mPlanes.size(); ++channel) {
        mDestination[channel] = &mPlanes[channel][indexOf(mEnd)];
    }
    feed.read(static_cast<UInt32>(frames), mDestination.data());
    mEnd += frames;
}

void StreamWindow::dropBefore(SInt64 frame) noexcept {
    assert(mFirst <= frame && frame <= mEnd);
    for (auto& plane : mPlanes) {
        std::copy_n(plane.data() + indexOf(frame), mEnd - frame, plane.data());
    }
    mFirst = frame;
}

} // namespace braq
