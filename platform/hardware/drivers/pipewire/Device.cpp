#include "platform/hardware/drivers/pipewire/Device.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace braq::pipewire {
namespace {

constexpr std::chrono::seconds kLongestStart{2};
// From the failure of a stream to the news that its device, or the server, is gone.
constexpr std::chrono::milliseconds kLongestFarewell{200};
// Of the cycle after the last one. Far beyond the longest quantum; a graph that takes longer has stopped.
constexpr std::chrono::milliseconds kLongestFinish{500};

} // namespace

Device::Run::Run(DeviceServer& server, DeviceCycles& cycles, UInt32 channels)
    : cycle(
          cycles, channels, [](void* context) noexcept { static_cast<DeviceServer*>(context)->lookSoon(); }, &server) {}

Device::Device(Loop& loop, DeviceServer& server, DeviceKey key, ChannelLayout layout)
    : mLoop(loop), mServer(server), mKey(std::move(key)), mLayout(std::move(layout)) {}

OSStatus Device::startIO(DeviceCycles& cycles) {
    const Loop::Lock lock(mLoop);
    if (mHasVanished) {
        return kAudioHardwareBadDeviceError;
    }
    mRun = std::make_shared<Run>(mServer, cycles, static_cast<UInt32>(mLayout.size()));
    Run& run = *mRun;
    connect(run, mServer.settings().currentRate());
    mLoop.waitFor(kLongestStart, [&] {
        return mHasVanished || run.cycle.hasStarted() || (run.stream != nullptr && run.stream->hasFailed());
    });
    run.isStarting = false;
    if (!mHasVanished && run.cycle.hasStarted()) {
        return kAudioHardwareNoError;
    }
    run.stream.reset();
    mRun.reset();
    mLoop.waitFor(kLongestFarewell, [&] { return mHasVanished; });
    return mHasVanished ? kAudioHardwareBadDeviceError : kAudioHardwareUnspecifiedError;
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
    // The stream is taken from the graph only when the graph is done with what was rendered last. Without the lock, so
    // that the loop sees if the stream goes away instead.
    run->cycle.waitUntilFinished(kLongestFinish);
    const Loop::Lock lock(mLoop);
    run->stream.reset();
    mRun.reset();
    mServer.describeSoon();
}

OSStatus Device::setNominalRate(Float64 rate) {
    const Loop::Lock lock(mLoop);
    if (mHasVanished) {
        return kAudioHardwareBadDeviceError;
    }
    const std::vector<UInt32> rates = mServer.settings().rates();
    const auto wanted =
        std::ranges::find_if(rates, [&](UInt32 offered) { return static_cast<Float64>(offered) == rate; });
    return wanted != rates.end() ? mServer.forceRate(*wanted) : kAudioDeviceUnsupportedFormatError;
}

OSStatus Device::setBufferFrames(UInt32 frames) {
    const Loop::Lock lock(mLoop);
    if (mHasVanished) {
        return kAudioHardwareBadDeviceError;
    }
    mQuantum = frames;
    if (mRun != nullptr && mRun->stream != nullptr) {
        mRun->stream->setQuantum(frames, mRun->rate);
    }
    mServer.describeSoon();
    return kAudioHardwareNoError;
}

GraphSettings Device::settings() const {
    GraphSettings settings = mServer.settings();
    if (mQuantum != 0) {
        settings.forcedQuantum = mQuantum;
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
    if (const UInt32 graphRate = run.cycle.graphRate(); graphRate != 0 && graphRate != run.rate) {
        connect(run, graphRate);
    }
    openWhenLinked(run, static_cast<UInt32>(mLayout.size()));
    mServer.describeSoon();
}

// The graph runs a stream as soon as its first channel is connected. What is played before the others are would be lost to
// them.
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
        openWhenLinked(*mRun, 1);
    } else if (!mRun->isStarting) {
        connect(*mRun, mServer.settings().currentRate());
    }
}

bool Device::hasStream(UInt32 node) const {
    return mRun != nullptr && mRun->stream != nullptr && mRun->stream->node() == node;
}

void Device::connect(Run& run, UInt32 rate) {
    run.stream.reset();
    run.rate = rate;
    run.stream = std::make_unique<Stream>(mServer.core(), mKey, mLayout, rate, mQuantum, run.cycle,
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
