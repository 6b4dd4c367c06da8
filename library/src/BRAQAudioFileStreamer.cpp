#include "BRAQAudio/BRAQAudioFileStreamer.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "BRAQAudio/platform/foundation/NSAssertionHandler.h"

namespace {

constexpr const char* file = "BRAQAudioFileStreamer";

} // namespace

std::shared_ptr<BRAQAudioFileStreamer> BRAQAudioFileStreamer::initWithBufferCount(
    UInt64 bufferCount, UInt32 numFrames,
    const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription) try {
    return std::shared_ptr<BRAQAudioFileStreamer>(new BRAQAudioFileStreamer(bufferCount, numFrames, streamDescription));
} catch (const std::exception& failure) {
    NSXLogError(file, failure.what());
    return nullptr;
}

BRAQAudioFileStreamer::~BRAQAudioFileStreamer() { teardownWorkerThread(); }

std::shared_ptr<BRAQExtendedAudioFile> BRAQAudioFileStreamer::audioFile() const {
    const std::lock_guard lock(mAudioFileMutex);
    return mAudioFile;
}

void BRAQAudioFileStreamer::setAudioFile(const std::shared_ptr<BRAQExtendedAudioFile>& audioFile) {
    auto before = audioFile; // closed after the lock is released, if this was the last user
    const std::lock_guard lock(mAudioFileMutex);
    mAudioFile.swap(before);
}

void BRAQAudioFileStreamer::start() {
    NSAssertionFailedInMethod("-[BRAQAudioFileStreamer start]", this, file, 18, "Abstract base class");
}

void BRAQAudioFileStreamer::stop() {
    NSAssertionFailedInMethod("-[BRAQAudioFileStreamer stop]", this, file, 22, "Abstract base class");
}
