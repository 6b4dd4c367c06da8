#pragma once

#include "BRAQAudio/BRAQAudioDevice.h"
#include "BRAQAudio/BRAQAudioUnit.h"

#include <functional>
#include <memory>

/// @addtogroup play
/// @{

/// Makes the frames of a slice. Runs on the device's I/O thread and must not block, allocate or wait. If it throws, the
/// slice is silence; this is logged once.
/// @param time of the first frame: the sample time counts frames of the stream from 0 at each start, and the host time
///        is when the device takes the frame, which is heard `BRAQAudioUnit::latency` later
/// @param frames at most `BRAQRenderAudioUnit::maximumFrames`
/// @param list room for so many frames in the unit's format, one buffer per channel unless that is interleaved. It is
///        silent: what is not written is heard as silence. Valid until the closure returns.
using BRAQRenderBlock = std::function<void(const AudioTimeStamp* time, UInt32 frames, AudioBufferList* list)>;

/// Plays what a closure makes, on one device.
///
/// A unit that is given no device plays on the default device and goes where that goes, and where the user moves it. While
/// there is no device at all, the closure is not called and the sample time stands still; `isRunning` stays true. A unit
/// that is given a device is never moved: it stops when that device is gone. `BRAQAudioUnitDelegate` tells of both.
///
/// When `stop` or `audioUnitUninitialize` has returned, the closure is not running and is not called until the next
/// start: what it uses may be destroyed. Dropping the last reference to a unit that runs does not wait if the closure is
/// running at that moment, so stop the unit first.
///
/// The channels are routed to the loudspeakers of their positions as by `BRAQOutputAudioUnit`. To change that, set
/// `kBRAQOutputUnitProperty_ChannelPositions` and `kBRAQOutputUnitProperty_UnscaledDownmix` with `setProperty`.
///
/// Platform failures are raised as NSException `NSXErrorExceptionName`. Any thread but an I/O thread.
class BRAQ_EXPORT BRAQRenderAudioUnit : public BRAQAudioUnit {
  public:
    /// @param streamDescription format of the frames that the closure makes: 32-bit float, at any rate
    /// @param device null: the default device, wherever it goes
    /// @param block null: silence
    /// Raises if a step fails; then no unit is left.
    static std::shared_ptr<BRAQRenderAudioUnit>
    initWithStreamDescription(const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                              const std::shared_ptr<BRAQAudioDevice>& device, BRAQRenderBlock block);
    /// The same in the device's own format; without a device, in that which the default device has now. Frames are
    /// converted if the device's rate changes later.
    static std::shared_ptr<BRAQRenderAudioUnit> initWithDevice(const std::shared_ptr<BRAQAudioDevice>& device,
                                                               BRAQRenderBlock block);
    ~BRAQRenderAudioUnit() override;

    /// A copy.
    BRAQRenderBlock renderBlock() const { return mRenderBlock.get(); }
    /// Raises while the unit runs.
    void setRenderBlock(BRAQRenderBlock block);

    /// The most frames that the closure is asked for at once.
    UInt32 maximumFrames() const;

    /// Linear gain, initially 1.
    double playbackLevel() const;
    /// Fades within 10 ms, also while playing. Raises and changes nothing if negative or not finite.
    void setPlaybackLevel(double level);

    /// The device that was given; null: the default.
    std::shared_ptr<BRAQAudioDevice> device() const { return mDevice; }
    /// The device that it plays on now; null while that is gone.
    std::shared_ptr<BRAQAudioDevice> presentDevice() const;

  protected:
    BRAQRenderAudioUnit(const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                        std::shared_ptr<BRAQAudioDevice> device, BRAQRenderBlock block);

    /// The second half of an init operation.
    template <class Unit>
    static std::shared_ptr<Unit> initialized(Unit* made) {
        auto unit = handOut(made);
        static_cast<BRAQRenderAudioUnit&>(*unit).setUp();
        return unit;
    }

  private:
    friend OSStatus RAURenderProc(void*, AudioUnitRenderActionFlags*, const AudioTimeStamp*, UInt32, UInt32,
                                  AudioBufferList*);

    void setUp();

    const std::shared_ptr<BRAQAudioDevice> mDevice;
    BRAQAtomicProperty<BRAQRenderBlock> mRenderBlock; // not set while the unit runs
};

/// @}
