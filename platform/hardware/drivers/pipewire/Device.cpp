#include "platform/hardware/drivers/pipewire/Device.h"

#include "BRAQAudio/platform/foundation/NSLog.h"
#include "BRAQAudio/platform/foundation/NSString.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace braq::pipewire {
namespace {

constexpr std::chrono::seconds longestStart{2};
// Time for a session manager that is just being started. Without one nothing is connected.
constexpr std::chrono::milliseconds longestSearch{250};
// From the end of a stream to the notification that its device is no longer in use.
constexpr std::chrono::milliseconds longestRest{200};
// From the failure of a stream to the notification that its device, or the server, is gone.
constexpr std::chrono::milliseconds longestFarewell{200};
// Wait for the cycle after the last one. Far longer than the longest quantum; a graph that takes longer has stopped.
constexpr std::chrono::milliseconds longestFinish{500};

} // namespace

Device::Run::Run(DeviceServer& server, DeviceCycles& cycles, UInt32 channels)
    : cycle(
          cycles, channels, [](void* context) noexcept { static_cast<DeviceServer*>(context)->lookSoon(); }, &server) {}

Device::Device(Loop& loop, DeviceServer& server, DeviceKey key, ChannelLayout layout)
    : mLoop(loop), mServer(server), mKey(std::move(key)), mTarget(mKey), mLayout(std::move(layout)) {}

OSStatus Device::startIO(DeviceCycles& cycles) {
    const Loop::Lock lock(mLoop);
    if (mHasVanished) {
        return kAudioHardwareBadDeviceError;
    }
    if (isRoute() && (mServer.core() == nullptr || mLayout.empty())) {
        return kAudioHardwareNotRunningError;
    }
    mRun = std::make_shared<Run>(mServer, cycles, static_cast<UInt32>(mLayout.size()));
    Run& run = *mRun;
    connect(run, settings().currentRate());
    const OSStatus status = waitUntilStarted(run);
    run.isStarting = false;
    if (!mHasVanished && run.cycle.hasStarted()) {
        return kAudioHardwareNoError;
    }
    run.stream.reset();
    mRun.reset();
    mLoop.waitFor(longestFarewell, [&] { return mHasVanished; });
    return mHasVanished ? kAudioHardwareBadDeviceError : status;
}

OSStatus Device::waitUntilStarted(Run& run) {
    const auto isOver = [&] {
        return mHasVanished || run.cycle.hasStarted() || (run.stream != nullptr && run.stream->hasFailed());
    };
    mLoop.waitFor(longestSearch, [&] { return isOver() || mServer.hasSessionManager(); });
    if (!isOver() && !mServer.hasSessionManager()) {
        NSLog("(ERROR) PipeWire : no session manager is running, such as WirePlumber; without one nothing is connected "
              "to a "
              "device.");
        return kAudioHardwareNotRunningError;
    }
    mLoop.waitFor(longestStart, isOver);
    return kAudioHardwareUnspecifiedError;
}

void Device::stopIO() {
    std::shared_ptr<Run> run;
    {
        const Loop::Lock lock(mLoop);
        run = mRun;
        if (run == nullptr) {
            return;
        }
        run->isStopping = true;
        run->cycle.finish();
        if (mKey.use != Use::playback || run->stream == nullptr || !run->stream->isStreaming()) {
            run->cycle.abandon();
        }
    }
    // The stream is removed from the graph only when the graph is done with the last rendered frames. Without the lock,
    // so that the loop notices if the stream is removed meanwhile.
    run->cycle.waitUntilFinished(longestFinish);
    const Loop::Lock lock(mLoop);
    run->stream.reset();
    mRun.reset();
    mStopped = std::chrono::steady_clock::now();
    mServer.describeSoon();
}

// A graph changes its rate only while nobody uses it, unless it is forced to. For other devices of the node, an earlier
// preferred rate no longer matters either.
void Device::preferRate(Float64 rate) {
    const Loop::Lock lock(mLoop);
    RateWish& wish = mServer.rateWish(mTarget.serial);
    const auto isInUse = [this] { return mServer.isInUse(mTarget.serial); };
    if (mHasVanished || mRun != nullptr || wish.forced != 0) {
        return;
    }
    if (isInUse() && std::chrono::steady_clock::now() - mStopped < longestRest) {
        mLoop.waitFor(longestRest, [&] { return mHasVanished || !isInUse(); });
    }
    if (mHasVanished) {
        return;
    }
    const UInt32 before = std::exchange(wish.preferred, isInUse() ? 0 : offeredRate(rate));
    if (wish.preferred != before) {
        mServer.describeNow();
    }
}

UInt32 Device::offeredRate(Float64 rate) const {
    const std::vector<UInt32> rates = mServer.settings().rates();
    const auto found =
        std::ranges::find_if(rates, [&](UInt32 offered) { return static_cast<Float64>(offered) == rate; });
    return found != rates.end() ? *found : 0;
}

OSStatus Device::setNominalRate(Float64 rate) {
    const Loop::Lock lock(mLoop);
    if (mHasVanished) {
        return kAudioHardwareBadDeviceError;
    }
    const UInt32 wanted = offeredRate(rate);
    if (wanted == 0) {
        return kAudioDeviceUnsupportedFormatError;
    }
    // A rate forced on the whole server takes precedence over a stream's request.
    if (const UInt32 forced = mServer.settings().forcedRate; forced != 0 && forced != wanted) {
        return kAudioHardwareUnsupportedOperationError;
    }
    mServer.rateWish(mTarget.serial) = {.forced = wanted};
    mServer.lookSoon();
    mServer.describeSoon();
    return kAudioHardwareNoError;
}

OSStatus Device::setBufferFrames(UInt32 frames) {
    const Loop::Lock lock(mLoop);
    if (mHasVanished) {
        return kAudioHardwareBadDeviceError;
    }
    mQuantum = frames;
    if (mRun != nullptr && mRun->stream != nullptr) {
        mRun->stream->setWish(wish());
    }
    mServer.lookSoon(); // a route may lead here
    mServer.describeSoon();
    return kAudioHardwareNoError;
}

GraphSettings Device::settings() const {
    GraphSettings settings = mServer.settings();
    if (mQuantum != 0) {
        settings.forcedQuantum = mQuantum;
    }
    if (settings.forcedRate == 0) {
        settings.forcedRate = mServer.rateWish(mTarget.serial).rate();
    }
    if (mRun != nullptr && mRun->cycle.hasStarted()) {
        settings.forcedRate = mRun->cycle.graphRate();
        settings.forcedQuantum = mRun->cycle.graphFrames();
    }
    return settings;
}

void Device::look() {
    if (mRun == nullptr) {
        return;
    }
    Run& run = *mRun;
    if (run.isStopping) {
        if (run.stream == nullptr || !run.stream->isStreaming()) {
            run.cycle.abandon();
        }
        return;
    }
    mLoop.conditionsChanged();
    if (run.stream == nullptr) {
        return;
    }
    if (run.stream->hasFailed()) {
        if (!run.isStarting) {
            mServer.lookLater();
        }
        return;
    }
    if (isRoute()) {
        if (!followLinks(run)) {
            return;
        }
    } else if (const UInt32 graphRate = run.cycle.graphRate(); graphRate != 0 && graphRate != run.rate) {
        // This is the rate at which others use it.
        mServer.rateWish(mTarget.serial).preferred = 0;
        connect(run, graphRate);
    }
    run.stream->setWish(wish());
    takeMixerLevel(run);
    openWhenLinked(run, static_cast<UInt32>(mLayout.size()));
    mServer.describeSoon();
}

/// @return whether the stream is connected and has the layout and rate of the device at the other end
bool Device::followLinks(Run& run) {
    const auto device = mServer.deviceLinkedTo(run.stream->node());
    mServer.describeSoon();
    if (!device || !run.stream->isStreaming()) {
        return false;
    }
    mTarget = device->key;
    const UInt32 graphRate = run.cycle.graphRate();
    const UInt32 rate = graphRate != 0 ? graphRate : run.rate;
    if (device->layout != mLayout || rate != run.rate) {
        if (rate != run.rate) {
            mServer.rateWish(mTarget.serial).preferred = 0;
        }
        mLayout = device->layout;
        run.rate = rate;
        run.stream->adopt(mLayout, rate);
    }
    return !run.stream->isAdopting();
}

void Device::leadTo(const FoundDevice& device) {
    const bool hasStream = mRun != nullptr && mRun->stream != nullptr;
    if (hasStream) {
        return;
    }
    mTarget = device.key;
    mLayout = device.layout;
    if (mRun != nullptr && !mRun->isStarting && !mRun->isStopping && mServer.hasSessionManager()) {
        connect(*mRun, settings().currentRate());
    }
}

std::optional<UInt32> Device::streamNode() const {
    return mRun != nullptr && mRun->stream != nullptr ? std::optional(mRun->stream->node()) : std::nullopt;
}

void Device::describeProgram() {
    if (mRun != nullptr && mRun->stream != nullptr) {
        mRun->stream->describeProgram();
    }
}

void Device::loseServer() {
    if (mRun != nullptr) {
        mRun->stream.reset();
        mRun->cycle.close();
        if (mRun->isStopping) {
            mRun->cycle.abandon();
        }
    }
    mLoop.conditionsChanged();
}

// If it is not played at its own level, this is logged once per run, but not for each step of a mixer's slider.
void Device::takeMixerLevel(Run& run) {
    mMixerLevel = run.stream->mixerLevel();
    if (mMixerLevel != 1.0F && !std::exchange(run.hasToldLevel, true)) {
        NSLog(NSStringWithFormat("PipeWire : the mixer has this program at %.1f %% of its level.",
                                 100.0 * static_cast<Float64>(mMixerLevel)));
    }
}

// The graph runs a stream as soon as its first channel is connected. Frames played before the others are connected
// would be lost to them.
void Device::openWhenLinked(Run& run, UInt32 links) {
    if (run.cycle.isOpen()) {
        return;
    }
    if (mServer.activeLinksOf(run.stream->node()) >= links) {
        run.cycle.open();
    } else {
        mServer.lookLater();
    }
}

void Device::lookAgain() {
    if (mRun == nullptr || mHasVanished || mRun->isStopping || mRun->stream == nullptr) {
        return;
    }
    if (!mRun->stream->hasFailed()) {
        if (!isRoute() || followLinks(*mRun)) {
            openWhenLinked(*mRun, 1);
        }
    } else if (isRoute()) {
        mRun->stream.reset(); // until there is a device to lead to
        mServer.describeSoon();
    } else if (!mRun->isStarting) {
        connect(*mRun, settings().currentRate());
    }
}

bool Device::isCutOff() const {
    return mRun != nullptr && !mRun->isStarting && !mRun->isStopping && mRun->stream != nullptr &&
           !mRun->stream->isStreaming() && mServer.activeLinksOf(mRun->stream->node()) == 0;
}

bool Device::hasStream(UInt32 node) const {
    return mRun != nullptr && mRun->stream != nullptr && mRun->stream->node() == node;
}

void Device::connect(Run& run, UInt32 rate) {
    run.stream.reset();
    run.cycle.reshape(rate, static_cast<UInt32>(mLayout.size()));
    run.rate = rate;
    run.stream = std::make_unique<Stream>(mServer.core(), mKey, mLayout, rate, wish(), run.cycle,
                                          [this] { mServer.lookSoon(); });
}

void Device::vanish() {
    mHasVanished = true;
    if (mRun != nullptr) {
        mRun->stream.reset();
        mRun->cycle.abandon();
    }
    mLoop.conditionsChanged();
}

} // namespace braq::pipewire
