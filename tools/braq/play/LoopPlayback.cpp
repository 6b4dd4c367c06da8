#include "tools/braq/play/LoopPlayback.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace {

// Each pass of the loop ends with a partly filled and an empty buffer, so a short file needs many small buffers to be
// as far ahead as a long one.
std::shared_ptr<BRAQAudioFileReader> makeReader(const BRAQExtendedAudioFile& file) {
    constexpr SInt64 mostFrames = 4096;
    constexpr SInt64 framesAhead = 16384;
    constexpr SInt64 mostBuffers = 4096;
    const SInt64 frames = std::clamp(file.frameCount(), SInt64{1}, mostFrames);
    const SInt64 buffers = std::min(2 * (framesAhead / frames + 1), mostBuffers);
    return BRAQAudioFileReader::initWithBufferCount(static_cast<UInt64>(buffers), static_cast<UInt32>(frames),
                                                    file.streamDescription());
}

} // namespace

LoopPlayback::LoopPlayback(const std::shared_ptr<BRAQExtendedAudioFile>& file,
                           const std::shared_ptr<BRAQAudioDevice>& device)
    : Playback(*file),
      mReader(makeReader(*file)),
      mUnit(BRAQOutputAudioUnit::initWithStreamDescription(file->streamDescription(), device)) {
    if (mReader == nullptr) {
        throw std::bad_alloc();
    }
    if (frames() == 0) {
        throw std::runtime_error("it is empty: there is nothing to loop");
    }
    mReader->setAudioFile(file);
    mReader->enableLoopingInRange({0, 0}); // to the actual end of the file
    mUnit->setAudioBufferQueue(mReader);
    mUnit->setTransitionTime(transitionMilliseconds);
    mUnit->setChannelPositions(file->channelPositions());
    // Ends the wait of the main loop, which then looks.
    mUnit->setDeviceChangeBlock([](BRAQDeviceChange, const std::shared_ptr<BRAQAudioDevice>&) {});
    mUnit->setEndOfStreamNotificationBlock([](BQueueableAudioNotification*) {});
}

LoopPlayback::~LoopPlayback() {
    mUnit->stop();
    mReader->stop();
}

void LoopPlayback::start() {
    mReader->start();
    resume();
}

// A file does not click where it begins.
void LoopPlayback::resume() {
    if (mReader->position() == 0) {
        mUnit->startWithoutTransition();
    } else {
        mUnit->start();
    }
}

// The ring is refilled in place, which is silent: it fades to that and from it.
void LoopPlayback::goTo(SInt64 frame) {
    const bool isPlaying = isRunning();
    mUnit->stop();
    mUnderrunsBefore += mReader->errorCount(); // the reader restarts and counts from 0
    mReader->setCurrentFrame(frame);
    if (isPlaying) {
        resume();
    }
}

void LoopPlayback::setVolume(double decibels) {
    constexpr double decibelsPerDecade = 20.0;
    mUnit->setPlaybackLevel(std::pow(10.0, decibels / decibelsPerDecade));
}
