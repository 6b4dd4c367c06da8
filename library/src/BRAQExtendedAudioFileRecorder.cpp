#include "BRAQAudio/BRAQExtendedAudioFileRecorder.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"

#include <cmath>
#include <exception>

namespace {

constexpr const char* sourceFile = "src/BRAQExtendedAudioFileRecorder";
constexpr UInt64 writerBuffers = 3;
constexpr UInt32 writerFrames = 32768;

void logFailure(const std::exception_ptr& failure) {
    NSXLogError(sourceFile, NSXErrorFromException(failure)->localizedDescription());
}

// Unlike `isRunning` this does not raise: what a start cannot do is reported by the start.
bool runs(const BRAQAudioUnit& unit) noexcept {
    UInt32 isRunning = 0;
    UInt32 size = sizeof(isRunning);
    return AudioUnitGetProperty(unit.audioUnit(), kAudioOutputUnitProperty_IsRunning, kAudioUnitScope_Global, 0,
                                &isRunning, &size) == 0 &&
           isRunning != 0;
}

} // namespace

std::shared_ptr<BRAQExtendedAudioFileRecorder>
BRAQExtendedAudioFileRecorder::initWithFile(const std::shared_ptr<BRAQExtendedAudioFile>& file,
                                            const std::shared_ptr<BRAQAudioDevice>& device,
                                            const std::optional<std::vector<SInt32>>& channels) {
    std::shared_ptr<BRAQExtendedAudioFileRecorder> recorder(new BRAQExtendedAudioFileRecorder, letGo);
    recorder->setUp(file, device, channels);
    return recorder;
}

void BRAQExtendedAudioFileRecorder::setUp(const std::shared_ptr<BRAQExtendedAudioFile>& file,
                                          const std::shared_ptr<BRAQAudioDevice>& device,
                                          const std::optional<std::vector<SInt32>>& channels) {
    constexpr int assertionLine = 44;
    setRecordFile(file);
    const auto description = file != nullptr ? file->streamDescription() : nullptr;
    const UInt32 fileChannels = description != nullptr ? description->channelsPerFrame() : 0;
    NSXAssertParameter(!channels || channels->size() == fileChannels,
                       "!inChannels || ( [inChannels count] == [[file streamDescription] channelsPerFrame] )",
                       "-[BRAQExtendedAudioFileRecorder initWithFile:device:recordChannels:]", this,
                       "BRAQExtendedAudioFileRecorder", assertionLine);
    const auto unit = BRAQInputAudioUnit::initWithStreamDescription(description, device, channels);
    setInputAudioUnit(unit);
    unit->setDelegate(shared_from_this());
    mAudioFileWriter = BRAQAudioFileWriter::initWithBufferCount(writerBuffers, writerFrames, description);
    if (mAudioFileWriter == nullptr) {
        throw NSException(NSInternalInconsistencyException, "a recorder got no writer; the log says why");
    }
    mAudioFileWriter->setAudioFile(file);
    installLostStretchBlock();
    installInputProcessingBlock();
}

void BRAQExtendedAudioFileRecorder::installLostStretchBlock() {
    mAudioFileWriter->setLostStretchBlock([weak = weak_from_this()](const BRAQLostStretch& stretch) {
        BRAQMainQueue::mainQueue().submit([weak, stretch] {
            const auto self = weak.lock();
            const auto delegate =
                self != nullptr ? self->mDelegate.get() : BRAQExtendedAudioFileRecorderDelegateEntry();
            if (delegate.audioFileRecorderDidLoseFrames) {
                delegate.audioFileRecorderDidLoseFrames(self, stretch);
            }
        });
    });
}

// The block retains the recorder, and the recorder retains the unit, which retains the block.
void BRAQExtendedAudioFileRecorder::installInputProcessingBlock() {
    inputAudioUnit()->setInputProcessingBlock(
        [self = shared_from_this()](AudioUnitRenderActionFlags*, const AudioTimeStamp* time, UInt32, UInt32 frames,
                                    AudioBufferList* list) { self->processInput(*time, frames, list); });
}

void BRAQExtendedAudioFileRecorder::processInput(const AudioTimeStamp& time, UInt32 frames,
                                                 const AudioBufferList* list) noexcept {
    const UInt64 missing = framesMissingBefore(time, frames);
    lose(missing);
    const UInt64 droppedBefore = mAudioFileWriter->droppedFrames();
    BRAQAudioBufferQueueCopyFrom(mAudioFileWriter.get(), list, frames);
    const UInt64 dropped = mAudioFileWriter->droppedFrames() - droppedBefore;
    mDelivered += frames - dropped;
    lose(dropped);
    const UInt64 passed = frames + (fillsLostFrames() ? missing : 0);
    mCurrentFrame.store(mCurrentFrame.load(std::memory_order_relaxed) + passed, std::memory_order_relaxed);
}

// Each start begins at 0. The times of a converted stream pass over parts of frames.
UInt64 BRAQExtendedAudioFileRecorder::framesMissingBefore(const AudioTimeStamp& time, UInt32 frames) noexcept {
    constexpr Float64 roundingError = 1e-3;
    const Float64 jump = time.mSampleTime - mNextSampleTime;
    mNextSampleTime = time.mSampleTime + frames;
    if (jump < roundingError) {
        return 0;
    }
    mMissing += jump;
    const Float64 whole = std::floor(mMissing + roundingError);
    mMissing -= whole;
    return static_cast<UInt64>(whole);
}

void BRAQExtendedAudioFileRecorder::lose(UInt64 frames) noexcept {
    if (frames != 0) {
        mAudioFileWriter->loseFrames({mDelivered, frames});
        mLostFrames.store(mLostFrames.load(std::memory_order_relaxed) + frames, std::memory_order_relaxed);
    }
}

BRAQExtendedAudioFileRecorder::~BRAQExtendedAudioFileRecorder() {
    if (const auto unit = inputAudioUnit()) {
        unit->setInputProcessingBlock(nullptr);
    }
    setInputAudioUnit(nullptr);
    setRecordFile(nullptr);
    mAudioFileWriter = nullptr;
}

// A recorder that is let go before the main thread has told all of its stops lives on there, without its file: a main
// queue that nobody drains must not keep the file open.
void BRAQExtendedAudioFileRecorder::letGo(BRAQExtendedAudioFileRecorder* recorder) noexcept {
    const UInt64 stops = recorder->mRunsToStop + recorder->mStopsToTell;
    const auto delegate = recorder->mDelegate.get();
    if (stops == 0 || !recorder->mIsInvalid || delegate.object.expired() || !delegate.audioFileRecorderDidStop) {
        delete recorder;
        return;
    }
    recorder->setRecordFile(nullptr);
    recorder->mAudioFileWriter->setAudioFile(nullptr);
    try {
        BRAQMainQueue::mainQueue().submit([stops, self = std::shared_ptr<BRAQExtendedAudioFileRecorder>(recorder)] {
            for (UInt64 stop = 0; stop < stops; ++stop) {
                self->notifyDelegateOfStop();
            }
        });
    } catch (...) { // out of memory, and the recorder is destroyed
        logFailure(std::current_exception());
    }
}

void BRAQExtendedAudioFileRecorder::startRecording() {
    const std::lock_guard lock(mTransportMutex);
    if (!mIsInvalid) {
        mAudioFileWriter->start();
        startUnit();
    }
}

// Counted before it runs, since its stop may be reported at once.
void BRAQExtendedAudioFileRecorder::startUnit() {
    const auto unit = inputAudioUnit();
    const bool isOneMoreRun = !runs(*unit);
    mRunsToStop += isOneMoreRun ? 1 : 0;
    try {
        unit->start();
    } catch (...) {
        mRunsToStop -= isOneMoreRun ? 1 : 0;
        throw;
    }
}

void BRAQExtendedAudioFileRecorder::stopRecording() {
    const std::lock_guard lock(mTransportMutex);
    stopUnitAndWriter();
}

// Captured frames are written even if the unit cannot be stopped, for example because its device was removed.
void BRAQExtendedAudioFileRecorder::stopUnitAndWriter() {
    std::exception_ptr whyUnitGoesOn;
    try {
        inputAudioUnit()->stop();
    } catch (...) {
        whyUnitGoesOn = std::current_exception();
    }
    try {
        mAudioFileWriter->stop();
    } catch (...) {
        if (whyUnitGoesOn != nullptr) {
            logFailure(whyUnitGoesOn); // only one of them can be raised
        }
        throw;
    }
    if (whyUnitGoesOn != nullptr) {
        std::rethrow_exception(whyUnitGoesOn);
    }
}

bool BRAQExtendedAudioFileRecorder::isFileRecording() const { return inputAudioUnit()->isRunning(); }

void BRAQExtendedAudioFileRecorder::invalidate() {
    const auto self = shared_from_this(); // the block may hold the last other reference
    const std::lock_guard lock(mTransportMutex);
    if (mIsInvalid) {
        return;
    }
    mIsInvalid = true;
    try {
        stopUnitAndWriter();
    } catch (...) {
        logFailure(std::current_exception());
    }
    inputAudioUnit()->setInputProcessingBlock(nullptr);
}

// Only the I/O thread writes the count: a cycle in progress would overwrite another thread's value.
void BRAQExtendedAudioFileRecorder::setCurrentFrame(SInt64 frame) {
    mFrameOffset.store(static_cast<UInt64>(frame) - mCurrentFrame.load(std::memory_order_relaxed),
                       std::memory_order_relaxed);
    didChangeValueForKey("currentFrame");
}

double BRAQExtendedAudioFileRecorder::currentTime() const {
    constexpr double millisecondsPerSecond = 1000.0;
    const auto file = recordFile();
    const auto description = file != nullptr ? file->streamDescription() : mAudioFileWriter->streamDescription();
    return static_cast<double>(currentFrame()) / description->sampleRate() * millisecondsPerSecond;
}

void BRAQExtendedAudioFileRecorder::notifyDelegateOfStop() {
    if (const auto delegate = mDelegate.get(); delegate.audioFileRecorderDidStop) {
        delegate.audioFileRecorderDidStop(shared_from_this());
    }
}

// The unit reports one stop a run. Other callers, which may name none, report stops of nothing that was counted.
void BRAQExtendedAudioFileRecorder::audioUnitDidStop(const std::shared_ptr<BRAQAudioUnit>& unit) {
    ++mStopsToTell;
    UInt64 runs = unit != nullptr ? mRunsToStop.load() : 0;
    while (runs != 0 && !mRunsToStop.compare_exchange_weak(runs, runs - 1)) {
    }
    BRAQMainQueue::mainQueue().submit([weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            --self->mStopsToTell;
            self->notifyDelegateOfStop();
        }
    });
}

void BRAQExtendedAudioFileRecorder::audioUnitDeviceDidChange(const std::shared_ptr<BRAQAudioUnit>& /*unit*/,
                                                             const std::shared_ptr<BRAQAudioDevice>& device) {
    if (const auto delegate = mDelegate.get(); delegate.audioFileRecorderDeviceDidChange) {
        delegate.audioFileRecorderDeviceDidChange(shared_from_this(), device);
    }
}

void BRAQExtendedAudioFileRecorder::audioUnitDeviceIsGone(const std::shared_ptr<BRAQAudioUnit>& /*unit*/) {
    if (const auto delegate = mDelegate.get(); delegate.audioFileRecorderDeviceIsGone) {
        delegate.audioFileRecorderDeviceIsGone(shared_from_this());
    }
}

void BRAQExtendedAudioFileRecorder::audioUnitDeviceIsBack(const std::shared_ptr<BRAQAudioUnit>& /*unit*/,
                                                          const std::shared_ptr<BRAQAudioDevice>& device) {
    if (const auto delegate = mDelegate.get(); delegate.audioFileRecorderDeviceIsBack) {
        delegate.audioFileRecorderDeviceIsBack(shared_from_this(), device);
    }
}

std::vector<std::string>
BRAQExtendedAudioFileRecorder::keyPathsForValuesAffectingValueForKey(const std::string& key) const {
    return key == "currentTime" ? std::vector<std::string>{"currentFrame"} : std::vector<std::string>{};
}
