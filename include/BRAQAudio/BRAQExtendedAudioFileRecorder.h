#pragma once

#include "BRAQAudio/BRAQAtomicProperty.h"
#include "BRAQAudio/BRAQAudioDevice.h"
#include "BRAQAudio/BRAQAudioFileWriter.h"
#include "BRAQAudio/BRAQAudioUnit.h"
#include "BRAQAudio/BRAQDelegateEntry.h"
#include "BRAQAudio/BRAQExtendedAudioFile.h"
#include "BRAQAudio/BRAQInputAudioUnit.h"
#include "BRAQAudio/BRAQLostStretch.h"
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

/// @addtogroup record
/// @{

class BRAQExtendedAudioFileRecorder;

BRAQ_DELEGATE_OPERATION(audioFileRecorderDidStop)
BRAQ_DELEGATE_OPERATION(audioFileRecorderDidLoseFrames)
BRAQ_DELEGATE_OPERATION(audioFileRecorderDeviceDidChange)
BRAQ_DELEGATE_OPERATION(audioFileRecorderDeviceIsGone)
BRAQ_DELEGATE_OPERATION(audioFileRecorderDeviceIsBack)

/// A class whose objects can be the delegate of a recorder: what it has of the operations of
/// `BRAQExtendedAudioFileRecorderDelegateEntry` can be called as stated there.
template <class Delegate>
concept BRAQExtendedAudioFileRecorderDelegate =
    std::is_class_v<Delegate> &&
    (!braq::delegates::Has_audioFileRecorderDidStop<Delegate> ||
     requires(Delegate & delegate, const std::shared_ptr<BRAQExtendedAudioFileRecorder>& recorder) {
         delegate.audioFileRecorderDidStop(recorder);
     }) &&
    (!braq::delegates::Has_audioFileRecorderDidLoseFrames<Delegate> ||
     requires(Delegate & delegate, const std::shared_ptr<BRAQExtendedAudioFileRecorder>& recorder,
              const BRAQLostStretch& stretch) { delegate.audioFileRecorderDidLoseFrames(recorder, stretch); }) &&
    (!braq::delegates::Has_audioFileRecorderDeviceDidChange<Delegate> ||
     requires(Delegate & delegate, const std::shared_ptr<BRAQExtendedAudioFileRecorder>& recorder,
              const std::shared_ptr<BRAQAudioDevice>& device) {
         delegate.audioFileRecorderDeviceDidChange(recorder, device);
     }) &&
    (!braq::delegates::Has_audioFileRecorderDeviceIsGone<Delegate> ||
     requires(Delegate & delegate, const std::shared_ptr<BRAQExtendedAudioFileRecorder>& recorder) {
         delegate.audioFileRecorderDeviceIsGone(recorder);
     }) &&
    (!braq::delegates::Has_audioFileRecorderDeviceIsBack<Delegate> ||
     requires(Delegate & delegate, const std::shared_ptr<BRAQExtendedAudioFileRecorder>& recorder,
              const std::shared_ptr<BRAQAudioDevice>& device) {
         delegate.audioFileRecorderDeviceIsBack(recorder, device);
     });

/// The delegate of a recorder: any object, not retained by the recorder. Those of these operations that it has are called
/// on the main thread:
///
///     void audioFileRecorderDidStop(const std::shared_ptr<BRAQExtendedAudioFileRecorder>& recorder);
///     void audioFileRecorderDidLoseFrames(const std::shared_ptr<BRAQExtendedAudioFileRecorder>& recorder,
///                                         const BRAQLostStretch& stretch);
///     void audioFileRecorderDeviceDidChange(const std::shared_ptr<BRAQExtendedAudioFileRecorder>& recorder,
///                                           const std::shared_ptr<BRAQAudioDevice>& device);
///     void audioFileRecorderDeviceIsGone(const std::shared_ptr<BRAQExtendedAudioFileRecorder>& recorder);
///     void audioFileRecorderDeviceIsBack(const std::shared_ptr<BRAQExtendedAudioFileRecorder>& recorder,
///                                        const std::shared_ptr<BRAQAudioDevice>& device);
///
/// `audioFileRecorderDidLoseFrames` tells of each gap, see `fillsLostFrames`: its place is that in what was written since
/// the recorder was made, silence included. The last three tell what has happened to the device, see `BRAQDeviceChange`.
class BRAQExtendedAudioFileRecorderDelegateEntry {
  public:
    /// No delegate.
    BRAQExtendedAudioFileRecorderDelegateEntry(std::nullptr_t = nullptr) {}
    /// @param delegate may be null
    template <BRAQExtendedAudioFileRecorderDelegate Delegate>
    BRAQExtendedAudioFileRecorderDelegateEntry(const std::shared_ptr<Delegate>& delegate) : object(delegate) {
        using Recorder = std::shared_ptr<BRAQExtendedAudioFileRecorder>;
        if constexpr (requires(const Recorder& recorder) { delegate->audioFileRecorderDidStop(recorder); }) {
            audioFileRecorderDidStop = [weak = std::weak_ptr<Delegate>(delegate)](const Recorder& recorder) {
                if (const auto alive = weak.lock()) {
                    alive->audioFileRecorderDidStop(recorder);
                }
            };
        }
        if constexpr (requires(const Recorder& recorder, const BRAQLostStretch& stretch) {
                          delegate->audioFileRecorderDidLoseFrames(recorder, stretch);
                      }) {
            audioFileRecorderDidLoseFrames =
                [weak = std::weak_ptr<Delegate>(delegate)](const Recorder& recorder, const BRAQLostStretch& stretch) {
                    if (const auto alive = weak.lock()) {
                        alive->audioFileRecorderDidLoseFrames(recorder, stretch);
                    }
                };
        }
        using Device = std::shared_ptr<BRAQAudioDevice>;
        if constexpr (requires(const Recorder& recorder, const Device& device) {
                          delegate->audioFileRecorderDeviceDidChange(recorder, device);
                      }) {
            audioFileRecorderDeviceDidChange = [weak = std::weak_ptr<Delegate>(delegate)](const Recorder& recorder,
                                                                                          const Device& device) {
                if (const auto alive = weak.lock()) {
                    alive->audioFileRecorderDeviceDidChange(recorder, device);
                }
            };
        }
        if constexpr (requires(const Recorder& recorder) { delegate->audioFileRecorderDeviceIsGone(recorder); }) {
            audioFileRecorderDeviceIsGone = [weak = std::weak_ptr<Delegate>(delegate)](const Recorder& recorder) {
                if (const auto alive = weak.lock()) {
                    alive->audioFileRecorderDeviceIsGone(recorder);
                }
            };
        }
        if constexpr (requires(const Recorder& recorder, const Device& device) {
                          delegate->audioFileRecorderDeviceIsBack(recorder, device);
                      }) {
            audioFileRecorderDeviceIsBack = [weak = std::weak_ptr<Delegate>(delegate)](const Recorder& recorder,
                                                                                       const Device& device) {
                if (const auto alive = weak.lock()) {
                    alive->audioFileRecorderDeviceIsBack(recorder, device);
                }
            };
        }
    }

    std::weak_ptr<const void> object; ///< the delegate
    /// Calls the object unless it was destroyed. Empty if the object has no such operation.
    std::function<void(const std::shared_ptr<BRAQExtendedAudioFileRecorder>& recorder)> audioFileRecorderDidStop;
    std::function<void(const std::shared_ptr<BRAQExtendedAudioFileRecorder>& recorder, const BRAQLostStretch& stretch)>
        audioFileRecorderDidLoseFrames;
    std::function<void(const std::shared_ptr<BRAQExtendedAudioFileRecorder>& recorder,
                       const std::shared_ptr<BRAQAudioDevice>& device)>
        audioFileRecorderDeviceDidChange;
    std::function<void(const std::shared_ptr<BRAQExtendedAudioFileRecorder>& recorder)> audioFileRecorderDeviceIsGone;
    std::function<void(const std::shared_ptr<BRAQExtendedAudioFileRecorder>& recorder,
                       const std::shared_ptr<BRAQAudioDevice>& device)>
        audioFileRecorderDeviceIsBack;
};

/// Records one device into one file: an input unit captures, and a writer writes the captured frames behind it.
///
/// A recorder keeps itself alive from creation until `invalidate`. The file is complete when its last owner, and the
/// recorder is one, releases it. The properties "currentFrame" and "currentTime" can be observed. Setting the frame
/// changes both; normal progress of recording does not notify.
///
/// Failures of the platform or the file are raised as NSException `NSXErrorExceptionName`. Any thread but an I/O
/// thread, also while recording.
class BRAQ_EXPORT BRAQExtendedAudioFileRecorder : public NSKeyValueObserving,
                                                  public BRAQAudioUnitDelegate,
                                                  public std::enable_shared_from_this<BRAQExtendedAudioFileRecorder> {
  public:
    /// @param file opened for recording; nobody else may write to it meanwhile
    /// @param device null: the default device, wherever it goes
    /// @param channels device channel, from 0, for each channel of the file; nothing: the first ones. A count other
    ///        than the file's channel count fails an assertion.
    static std::shared_ptr<BRAQExtendedAudioFileRecorder>
    initWithFile(const std::shared_ptr<BRAQExtendedAudioFile>& file, const std::shared_ptr<BRAQAudioDevice>& device,
                 const std::optional<std::vector<SInt32>>& channels);
    ~BRAQExtendedAudioFileRecorder() override;

    /// Starts recording, after what is already in the file.
    void startRecording();
    /// Returns when all captured frames are in the file. Raises if they cannot be written: the rest is kept, and the
    /// next stop tries again.
    void stopRecording();
    bool isFileRecording() const;

    /// Stops for good and drops the recorder's reference to itself, so that the last user's reference keeps it alive.
    /// Frames that cannot be written are lost; the log says so. Afterwards it does not start. Idempotent.
    ///
    /// The delegate is notified of a stop even if the last reference is dropped before the main thread gets to it. The
    /// recorder that it is given then has released its file, which may be complete already: `recordFile` is null.
    void invalidate();

    /// Frames captured since the recorder was made, whether the writer had room for them (`errorCount`) or not; with
    /// `fillsLostFrames`, those that were not captured, too. Late by up to one slice.
    SInt64 currentFrame() const noexcept {
        return static_cast<SInt64>(mCurrentFrame.load(std::memory_order_relaxed) +
                                   mFrameOffset.load(std::memory_order_relaxed));
    }
    /// Sets the frame to count on from. The file does not change.
    void setCurrentFrame(SInt64 frame);
    /// `currentFrame` in milliseconds at the rate of the file's client format.
    double currentTime() const;
    /// Overruns since recording was started: how often the writer had no room for captured frames, which are lost.
    UInt64 errorCount() const noexcept { return mAudioFileWriter->errorCount(); }
    /// Frames missing from the recording since the recorder was made: what the process or the device was held up for, and
    /// what the writer had no room for.
    UInt64 lostFrames() const noexcept { return mLostFrames.load(std::memory_order_relaxed); }
    bool fillsLostFrames() const noexcept { return mAudioFileWriter->writesLostFrames(); }
    /// Whether silence is recorded for frames that went missing, so that the recording keeps its length and what comes
    /// after them its place. Initially not. At any time.
    void setFillsLostFrames(bool fills) noexcept { mAudioFileWriter->setWritesLostFrames(fills); }
    /// The last failure in writing; null if there was none.
    std::shared_ptr<NSError> lastError() const { return mAudioFileWriter->lastError(); }

    std::shared_ptr<BRAQInputAudioUnit> inputAudioUnit() const { return mInputAudioUnit.get(); }
    /// Neither the callback nor the delegate moves to the new unit. Not null, and not while recording.
    void setInputAudioUnit(const std::shared_ptr<BRAQInputAudioUnit>& unit) { mInputAudioUnit.set(unit); }
    /// Null only if a delegate is notified of a stop after the last reference was dropped.
    std::shared_ptr<BRAQExtendedAudioFile> recordFile() const { return mRecordFile.get(); }
    /// The file whose rate `currentTime` uses. The writer keeps the file that it was given.
    void setRecordFile(const std::shared_ptr<BRAQExtendedAudioFile>& file) { mRecordFile.set(file); }

    /// Null if there is no delegate or it was destroyed.
    std::shared_ptr<const void> delegate() const { return mDelegate.get().object.lock(); }
    /// @param delegate shared pointer to any object, or null; not retained
    void setDelegate(BRAQExtendedAudioFileRecorderDelegateEntry delegate) { mDelegate.set(std::move(delegate)); }

    /// Calls the delegate at once. Main thread.
    void notifyDelegateOfStop();
    /// Schedules `notifyDelegateOfStop` on the main thread.
    void audioUnitDidStop(const std::shared_ptr<BRAQAudioUnit>& unit) override;
    /// Each of these calls the delegate at once. Main thread.
    void audioUnitDeviceDidChange(const std::shared_ptr<BRAQAudioUnit>& unit,
                                  const std::shared_ptr<BRAQAudioDevice>& device) override;
    void audioUnitDeviceIsGone(const std::shared_ptr<BRAQAudioUnit>& unit) override;
    void audioUnitDeviceIsBack(const std::shared_ptr<BRAQAudioUnit>& unit,
                               const std::shared_ptr<BRAQAudioDevice>& device) override;

    /// "currentTime" depends on "currentFrame".
    std::vector<std::string> keyPathsForValuesAffectingValueForKey(const std::string& key) const override;

  private:
    BRAQExtendedAudioFileRecorder() = default;

    void setUp(const std::shared_ptr<BRAQExtendedAudioFile>& file, const std::shared_ptr<BRAQAudioDevice>& device,
               const std::optional<std::vector<SInt32>>& channels);
    void installInputProcessingBlock();
    void processInput(const AudioTimeStamp& time, UInt32 frames, const AudioBufferList* list) noexcept;
    UInt64 framesMissingBefore(const AudioTimeStamp& time, UInt32 frames) noexcept;
    void lose(UInt64 frames) noexcept;
    void installLostStretchBlock();
    void startUnit();
    void stopUnitAndWriter();
    static void letGo(BRAQExtendedAudioFileRecorder* recorder) noexcept;

    BRAQAtomicProperty<std::shared_ptr<BRAQInputAudioUnit>> mInputAudioUnit;
    BRAQAtomicProperty<std::shared_ptr<BRAQExtendedAudioFile>> mRecordFile;
    std::atomic<UInt64> mCurrentFrame{0}; // written by the I/O thread: captured since creation
    BRAQAtomicProperty<BRAQExtendedAudioFileRecorderDelegateEntry> mDelegate;
    std::shared_ptr<BRAQAudioFileWriter> mAudioFileWriter; // set once, at creation

    std::atomic<UInt64> mLostFrames{0}; // written by the I/O thread
    UInt64 mDelivered = 0;              // I/O thread: frames that the writer took
    Float64 mNextSampleTime = 0.0;      // I/O thread
    Float64 mMissing = 0.0;             // I/O thread: part of a frame

    std::atomic<UInt64> mFrameOffset{0}; // written by control threads: offset of currentFrame, modulo 2^64
    std::mutex mTransportMutex;          // held while the writer or the unit is started or stopped
    bool mIsInvalid = false;             // under mTransportMutex
    std::atomic<UInt64> mRunsToStop{0};  // any thread: runs of the unit whose stop it has not reported yet
    std::atomic<UInt64> mStopsToTell{0}; // any thread: reported, and on their way to the main thread
};

/// @}
