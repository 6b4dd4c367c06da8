#include "platform/hardware/DeviceProcedures.h"

#include "BRAQAudio/platform/foundation/NSLog.h"
#include "BRAQAudio/platform/foundation/NSString.h"

#include <algorithm>
#include <utility>

namespace braq {
namespace {

// Initial-exec, so that the first access on a thread does not allocate.
thread_local bool isInCycle [[gnu::tls_model("initial-exec")]] = false;

IOProcedureID nextProcedureID() {
    static std::atomic<IOProcedureID> last{0};
    return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

} // namespace

bool DeviceProcedures::isOnIOThread() noexcept { return isInCycle; }

DeviceProcedures::DeviceProcedures(std::shared_ptr<DriverDevice> device, const CycleShape& shape, Events events)
    : mDevice(std::move(device)), mEvents(std::move(events)), mShape(shape) {}

DeviceProcedures::~DeviceProcedures() = default;

OSStatus DeviceProcedures::add(IODirections directions, IOProcedure procedure, void* context, IOProcedureID* id) {
    if (isInCycle || procedure == nullptr) {
        return kAudioHardwareIllegalOperationError;
    }
    const std::lock_guard lock(mControl);
    *id = nextProcedureID();
    mEntries.push_back({*id, {directions, procedure, context, std::make_shared<std::atomic<bool>>(false)}});
    return kAudioHardwareNoError;
}

OSStatus DeviceProcedures::change(IOProcedureID id, const std::function<OSStatus(std::vector<Entry>::iterator)>& how) {
    if (isInCycle) {
        return kAudioHardwareIllegalOperationError;
    }
    const std::lock_guard lock(mControl);
    const auto found = std::ranges::find(mEntries, id, &Entry::id);
    return found == mEntries.end() ? kAudioHardwareBadObjectError : how(found);
}

void DeviceProcedures::preferRate(Float64 rate) {
    const std::lock_guard lock(mControl);
    if (!mIsGone && !isRunning()) {
        mDevice->preferRate(rate);
    }
}

OSStatus DeviceProcedures::start(IOProcedureID id) {
    return change(id, [this](auto entry) { return startEntry(*entry); });
}

OSStatus DeviceProcedures::stop(IOProcedureID id) {
    return change(id, [this](auto entry) {
        stopEntry(*entry);
        return kAudioHardwareNoError;
    });
}

OSStatus DeviceProcedures::suspend(IOProcedureID id) {
    return change(id, [this](auto entry) {
        if (std::exchange(entry->isStarted, false)) {
            entry->isSuspended = true;
            replaceMix();
        }
        return kAudioHardwareNoError;
    });
}

OSStatus DeviceProcedures::remove(IOProcedureID id) {
    return change(id, [this](auto entry) {
        stopEntry(*entry);
        mEntries.erase(entry);
        return kAudioHardwareNoError;
    });
}

bool DeviceProcedures::isStarted(IOProcedureID id) {
    const std::lock_guard lock(mControl);
    return std::ranges::any_of(mEntries, [id](const Entry& entry) { return entry.id == id && entry.isStarted; });
}

OSStatus DeviceProcedures::startEntry(Entry& entry) {
    if (mIsGone) {
        return kAudioHardwareBadDeviceError;
    }
    if (entry.isStarted) {
        return kAudioHardwareNoError;
    }
    entry.isSuspended = false;
    entry.isStarted = true;
    replaceMix();
    if (isRunning()) {
        return kAudioHardwareNoError;
    }
    const OSStatus status = mDevice->startIO(*this);
    if (status != kAudioHardwareNoError) {
        entry.isStarted = false;
        replaceMix();
        return status;
    }
    setRunning(true);
    return kAudioHardwareNoError;
}

void DeviceProcedures::stopEntry(Entry& entry) {
    if (!entry.isStarted && !entry.isSuspended) {
        return;
    }
    entry.isStarted = false;
    entry.isSuspended = false;
    replaceMix();
    if (std::ranges::none_of(mEntries, [](const Entry& one) { return one.isStarted || one.isSuspended; })) {
        stopDriver();
    }
}

void DeviceProcedures::stopDriver() {
    if (!isRunning()) {
        return;
    }
    mDevice->stopIO();
    setRunning(false);
    mClock.reset();
}

void DeviceProcedures::setRunning(bool isRunning) {
    mIsRunning.store(isRunning, std::memory_order_release);
    mEvents.runningChanged();
}

OSStatus DeviceProcedures::callDriver(const std::function<OSStatus(DriverDevice&)>& what) {
    const std::lock_guard lock(mControl);
    return mIsGone ? kAudioHardwareBadDeviceError : what(*mDevice);
}

void DeviceProcedures::setShape(const CycleShape& shape) {
    const std::lock_guard lock(mControl);
    if (mShape == shape) {
        return;
    }
    mShape = shape;
    replaceMix();
}

void DeviceProcedures::stopAll() {
    const std::lock_guard lock(mControl);
    stopEntries();
}

void DeviceProcedures::deviceIsGone() {
    const std::lock_guard lock(mControl);
    mIsGone = true;
    stopEntries();
}

void DeviceProcedures::stopEntries() {
    for (Entry& entry : mEntries) {
        entry.isStarted = false;
        entry.isSuspended = false;
    }
    replaceMix();
    stopDriver();
}

void DeviceProcedures::logThrown(const std::string& deviceName) {
    const std::lock_guard lock(mControl);
    for (Entry& entry : mEntries) {
        if (!entry.isLogged && entry.procedure.hasThrown->load(std::memory_order_acquire)) {
            entry.isLogged = true;
            NSLog(NSStringWithFormat("(ERROR) DeviceProcedures : a procedure threw in a cycle of %s; what it throws "
                                     "is heard as silence",
                                     deviceName.c_str()));
        }
    }
}

void DeviceProcedures::replaceMix() {
    std::vector<MixedProcedure> running;
    for (const Entry& entry : mEntries) {
        if (entry.isStarted) {
            running.push_back(entry.procedure);
        }
    }
    auto mix = running.empty() ? nullptr : std::make_unique<CycleMix>(mShape, std::move(running));
    mMix.store(mix.get());
    mCycle.waitUntilLeft();
    mOwnedMix = std::move(mix);
}

void DeviceProcedures::runCycle(const DeviceCycle& cycle) noexcept {
    isInCycle = true;
    const BRAQRealtimePassage passage(mCycle);
    mClock.publish(cycle);
    mLostFrames.store(mLostFrames.load(std::memory_order_relaxed) + cycle.lostFrames(), std::memory_order_relaxed);
    CycleMix* mix = mMix.load();
    bool hasThrown = false;
    if (mix == nullptr) {
        for (UInt32 channel = 0; channel < cycle.outputChannels; ++channel) {
            std::fill_n(cycle.output[channel], cycle.frames, 0.0F);
        }
    } else {
        hasThrown = mix->run(cycle);
    }
    if (hasThrown || cycle.lostFrames() != 0) {
        mEvents.nudge();
    }
    isInCycle = false;
}

} // namespace braq
