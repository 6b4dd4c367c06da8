#pragma once

#include "BRAQAudio/BRAQAtomicProperty.h"
#include "BRAQAudio/BRAQAudioDevice.h"
#include "BRAQAudio/BRAQAudioFileWriter.h"
#include "BRAQAudio/BRAQAudioUnit.h"
#include "BRAQAudio/BRAQExtendedAudioFile.h"
#include "BRAQAudio/BRAQInputAudioUnit.h"
#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/foundation.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

class BRAQExtendedAudioFileRecorder;

/// The delegate of a recorder: any object, which the recorder does not keep alive. What it has of this operation is called, on
/// the main thread:
///
///     void audioFileRecorderDidStop(const std::shared_ptr<BRAQExtendedAudioFileRecorder>& recorder);
class BRAQExtendedAudioFileRecorderDelegateEntry {
  public:
    /// No delegate.
    BRAQExtendedAudioFileRecorderDelegateEntry(std::nullptr_t = nullptr) {}
    /// @param delegate may be null
    template <class Delegate>
    requires std::is_class_v<Delegate>
    BRAQExtendedAudioFileRecorderDelegateEntry(const std::shared_ptr<Delegate>& delegate) : object(delegate) {
        using Recorder = std::shared_ptr<BRAQExtendedAudioFileRecorder>;
        if constexpr (requires(const Recorder& recorder) { delegate->audioFileRecorderDidStop(recorder); }) {
            audioFileRecorderDidStop = [weak = std::weak_ptr<Delegate>(delegate)](const Recorder& recorder) {
                if (const auto alive = weak.lock()) {
                    alive->audioFileRecorderDidStop(recorder);
                }
            };
        }
    }

    std::weak_ptr<const void> object; ///< the delegate
    /// Calls the object unless it is gone; empty if it has no such operation.
    std::function<void(const std::shared_ptr<BRAQExtendedAudioFileRecorder>& recorder)> audioFileRecorderDidStop;
};

/// Records one device into one file: an input unit captures, and a writer writes what was captured behind it.
///
/// A recorder keeps itself alive from the moment that it is made until `invalidate`, and the file is complete when its last
/// holder, of which the recorder is one, lets go of it. Its properties can be observed under the names "currentFrame" and
/// "currentTime"; setting the frame changes both, and recording on tells nobody.
///
/// What the platform or the file reports as failed is raised as NSException `NSXErrorExceptionName`. Any thread but an I/O
/// thread, also while it records.
class BRAQ_EXPORT BRAQExtendedAudioFileRecorder : public NSKeyValueObserving,
                                                  public BRAQAudioUnitDelegate,
                                                  public std::enable_shared_from_this<BRAQExtendedAudioFileRecorder> {
  public:
    /// @param file opened for recording; not to be written to by anyone else meanwhile
    /// @param device null: the default one
    /// @param channels of the device, from 0, for each channel of the file; nothing: the first ones. Another count than the
    ///        file's channels fails an assertion.
    static std::shared_ptr<BRAQExtendedAudioFileRecorder>
    initWithFile(const std::shared_ptr<BRAQExtendedAudioFile>& file, const std::shared_ptr<BRAQAudioDevice>& device,
                 const std::optional<std::vector<SInt32>>& channels);
    ~BRAQExtendedAudioFileRecorder() override;

    /// Records on, behind what is in the file.
    void startRecording();
    /// Returns when all that was captured is in the file. Raises if it cannot be written: then what is left is kept, and is
    /// tried again with the next stop.
    void stopRecording();
    bool isFileRecording() const;

    /// Stops for good and lets go of what keeps the recorder alive: it goes with its last user. What cannot be written is logged
    /// and lost. Afterwards it does not start. A second call does nothing.
    void invalidate();

    /// Frames that were captured since the recorder was made, whether there was room for them in the writer (`errorCount`) or
    /// not; as late as one slice.
    SInt64 currentFrame() const noexcept {
        return static_cast<SInt64>(mCurrentFrame.load(std::memory_order_relaxed) +
                                   mFrameOffset.load(std::memory_order_relaxed));
    }
    /// Sets what is counted on from; the file stays as it is.
    void setCurrentFrame(SInt64 frame);
    /// `currentFrame` in milliseconds at the rate of the file's client format.
    double currentTime() const;
    /// Overruns since recording was started: how many times the writer had no room for what was captured, which is lost.
    UInt64 errorCount() const noexcept { return mAudioFileWriter->errorCount(); }
    /// What went wrong in writing behind; null if nothing did.
    std::shared_ptr<NSError> lastError() const { return mAudioFileWriter->lastError(); }

    std::shared_ptr<BRAQInputAudioUnit> inputAudioUnit() const { return mInputAudioUnit.get(); }
    /// Neither the callback nor the delegate is moved over to it. Not while it records, and not null.
    void setInputAudioUnit(const std::shared_ptr<BRAQInputAudioUnit>& unit) { mInputAudioUnit.set(unit); }
    std::shared_ptr<BRAQExtendedAudioFile> recordFile() const { return mRecordFile.get(); }
    /// What `currentTime` asks for its rate, and not null; the writer goes on with the file that it was given.
    void setRecordFile(const std::shared_ptr<BRAQExtendedAudioFile>& file) { mRecordFile.set(file); }

    /// Null without a delegate, and when it is gone.
    std::shared_ptr<const void> delegate() const { return mDelegate.get().object.lock(); }
    /// @param delegate shared pointer to any object, or null; does not keep it alive
    void setDelegate(BRAQExtendedAudioFileRecorderDelegateEntry delegate) { mDelegate.set(std::move(delegate)); }

    /// Tells the delegate at once. Main thread.
    void notifyDelegateOfStop();
    /// Has `notifyDelegateOfStop` called on the main thread, later.
    void audioUnitDidStop(const std::shared_ptr<BRAQAudioUnit>& unit) override;

    /// The time depends on the frame.
    std::vector<std::string> keyPathsForValuesAffectingValueForKey(const std::string& key) const override;

  private:
    BRAQExtendedAudioFileRecorder() = default;

    void setUp(const std::shared_ptr<BRAQExtendedAudioFile>& file, const std::shared_ptr<BRAQAudioDevice>& device,
               const std::optional<std::vector<SInt32>>& channels);
    void installInputProcessingBlock();
    void processInput(UInt32 frames, const AudioBufferList* list) noexcept;
    void stopUnitAndWriter();

    BRAQAtomicProperty<std::shared_ptr<BRAQInputAudioUnit>> mInputAudioUnit;
    BRAQAtomicProperty<std::shared_ptr<BRAQExtendedAudioFile>> mRecordFile;
    std::atomic<UInt64> mCurrentFrame{0}; // written by the I/O thread: captured since it was made
    BRAQAtomicProperty<BRAQExtendedAudioFileRecorderDelegateEntry> mDelegate;
    std::shared_ptr<BRAQAudioFileWriter> mAudioFileWriter; // set once, when it is made

    std::atomic<UInt64> mFrameOffset{0}; // written by control threads: what is added to it, modulo 2^64
    std::mutex mTransportMutex;          // held while the writer or the unit is started or stopped
    bool mIsInvalid = false;             // under mTransportMutex
};
