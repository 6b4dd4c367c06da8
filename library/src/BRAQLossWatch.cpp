#include "library/src/BRAQLossWatch.h"

#include "BRAQAudio/platform/foundation.h"

#include <atomic>
#include <utility>

namespace braq {

UInt64 lostFramesOf(AudioUnit unit) noexcept {
    UInt64 frames = 0;
    UInt32 size = sizeof(frames);
    AudioUnitGetProperty(unit, kBRAQOutputUnitProperty_LostFrames, kAudioUnitScope_Global, 0, &frames, &size);
    return frames;
}

struct LossWatch::Seen : std::enable_shared_from_this<Seen> {
    Seen(std::function<void(UInt64 frames)> block, UInt64 now) : told(std::move(block)), frames(now) {}

    // Only the thread that delivers notifications calls this. The count begins anew when the unit is initialised.
    void take(UInt64 now) {
        const UInt64 before = frames.exchange(now);
        const UInt64 lost = now < before ? now : now - before;
        if (lost == 0) {
            return;
        }
        BRAQMainQueue::mainQueue().submit([weak = weak_from_this(), lost] {
            if (const auto self = weak.lock()) {
                self->told(lost);
            }
        });
    }

    const std::function<void(UInt64 frames)> told; // main thread
    std::atomic<UInt64> frames;
};

LossWatch::LossWatch(AudioUnit unit, std::function<void(UInt64 frames)> told)
    : mSeen(std::make_shared<Seen>(std::move(told), lostFramesOf(unit))),
      mWatch(unit, kBRAQOutputUnitProperty_LostFrames, [unit, seen = mSeen] { seen->take(lostFramesOf(unit)); }) {}

} // namespace braq
