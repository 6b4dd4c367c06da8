#include "library/src/BRAQDeviceWatch.h"

#include "BRAQAudio/platform/foundation.h"

#include <mutex>
#include <utility>

namespace braq {
namespace {

AudioDeviceID presentDevice(AudioUnit unit) {
    AudioDeviceID device = kAudioObjectUnknown;
    UInt32 size = sizeof(device);
    AudioUnitGetProperty(unit, kBRAQOutputUnitProperty_PresentDevice, kAudioUnitScope_Global, 0, &device, &size);
    return device;
}

BRAQDeviceChange changeFrom(AudioDeviceID before, AudioDeviceID now) {
    if (now == kAudioObjectUnknown) {
        return BRAQDeviceChange::gone;
    }
    return before == kAudioObjectUnknown ? BRAQDeviceChange::back : BRAQDeviceChange::moved;
}

} // namespace

struct DeviceWatch::Seen : std::enable_shared_from_this<Seen> {
    Seen(BRAQDeviceChangeBlock block, AudioDeviceID now) : told(std::move(block)), device(now) {}

    void take(AudioDeviceID now) {
        const std::lock_guard lock(mutex);
        const AudioDeviceID before = std::exchange(device, now);
        if (now == before) {
            return;
        }
        BRAQMainQueue::mainQueue().submit([weak = weak_from_this(), change = changeFrom(before, now), now] {
            if (const auto self = weak.lock()) {
                self->told(change, now != kAudioObjectUnknown ? BRAQAudioDevice::initWithDeviceID(now) : nullptr);
            }
        });
    }

    const BRAQDeviceChangeBlock told; // main thread
    std::mutex mutex;
    AudioDeviceID device; // under mutex
};

DeviceWatch::DeviceWatch(AudioUnit unit, BRAQDeviceChangeBlock told)
    : mSeen(std::make_shared<Seen>(std::move(told), presentDevice(unit))),
      mWatch(unit, kBRAQOutputUnitProperty_PresentDevice, [unit, seen = mSeen] { seen->take(presentDevice(unit)); }) {
    mSeen->take(presentDevice(unit)); // it may have changed before the listener was added
}

} // namespace braq
