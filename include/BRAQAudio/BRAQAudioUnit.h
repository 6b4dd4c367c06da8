#pragma once

#include "BRAQAudio/BRAQAtomicProperty.h"
#include "BRAQAudio/BRAQAudioStreamBasicDescription.h"
#include "BRAQAudio/BRAQDeviceChange.h"
#include "BRAQAudio/BRAQReleasable.h"
#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/units.h"

#include <memory>

/// @addtogroup units
/// @{

class BRAQAudioUnit;

namespace braq {
class DeviceWatch;
class LossWatch;
} // namespace braq

extern "C" {
/// Posted to the default notification centre, with the unit as object, when the unit has started. On the thread that
/// delivers hardware notifications.
BRAQ_EXPORT extern const char kAudioUnitDidStartNotification[] BRAQ_LINKER_NAME(kAudioUnitDidStartNotification);
/// Posted in the same way when the unit has stopped.
BRAQ_EXPORT extern const char kAudioUnitDidStopNotification[] BRAQ_LINKER_NAME(kAudioUnitDidStopNotification);
}

/// `audioUnitDidStart` and `audioUnitDidStop` are called before the notification is posted, on the thread that delivers
/// hardware notifications: neither an I/O thread nor the main thread.
class BRAQ_EXPORT BRAQAudioUnitDelegate {
  public:
    virtual ~BRAQAudioUnitDelegate();
    virtual void audioUnitDidStart(const std::shared_ptr<BRAQAudioUnit>& unit);
    virtual void audioUnitDidStop(const std::shared_ptr<BRAQAudioUnit>& unit);

    // What has happened to the device of an initialised unit, see `BRAQDeviceChange`. Main thread.
    virtual void audioUnitDeviceDidChange(const std::shared_ptr<BRAQAudioUnit>& unit,
                                          const std::shared_ptr<BRAQAudioDevice>& device);
    virtual void audioUnitDeviceIsGone(const std::shared_ptr<BRAQAudioUnit>& unit);
    virtual void audioUnitDeviceIsBack(const std::shared_ptr<BRAQAudioUnit>& unit,
                                       const std::shared_ptr<BRAQAudioDevice>& device);

    /// An initialised unit has lost frames, see `BRAQAudioUnit::lostFrames`. Main thread.
    /// @param frames since the last call
    virtual void audioUnitDidLoseFrames(const std::shared_ptr<BRAQAudioUnit>& unit, UInt64 frames);
};

/// Base of the units that a device drives: starts them, stops them and reports both. A derived class creates the
/// platform's unit in its `audioUnitInitialize` and then calls the one here.
///
/// Platform failures are raised as NSException `NSXErrorExceptionName`, and nothing is undone. Any thread but an I/O
/// thread.
class BRAQ_EXPORT BRAQAudioUnit : public BRAQReleasable, public std::enable_shared_from_this<BRAQAudioUnit> {
  public:
    /// Creates an object without a platform unit. Every operation that needs one raises.
    static std::shared_ptr<BRAQAudioUnit>
    initWithStreamDescription(const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription);
    /// Does not stop, uninitialise or dispose of the platform's unit.
    ~BRAQAudioUnit() override;

    /// Does nothing, and notifies nobody, if the unit already runs.
    void start();
    /// Returns when everything pulled so far has been heard and the unit no longer runs on the I/O thread.
    void stop();
    /// Whether the unit runs. Inside a notification: the state after that change.
    bool isRunning() const;
    /// Seconds between the host time in a frame's time stamp and the air: of a unit that plays, how much later the frame is
    /// heard; of one that records, how much earlier it was in the air. The device's own figure now: latency, safety offset
    /// and the largest latency of its streams; 0 without a device. Raises.
    Float64 latency() const;

    /// Frames at the unit's rate that went missing since it was initialised, because the process or the device was held up:
    /// they were neither captured nor played, and time stamps pass over them. 0 without a platform unit.
    UInt64 lostFrames() const noexcept;

    /// Reports changes of `isRunning` to the delegate and as notifications. The listener is never removed.
    void installPropertyListener();
    /// Passes all arguments to the platform's unit.
    /// @param size bytes at `data`
    void setProperty(AudioUnitPropertyID propertyID, AudioUnitScope scope, AudioUnitElement element, const void* data,
                     UInt32 size);

    /// Prepares the platform's unit for rendering.
    virtual void audioUnitInitialize();
    /// Stops the unit and undoes `audioUnitInitialize`.
    virtual void audioUnitUninitialize();

    /// Creates a platform unit that plays on the default device, whatever type is asked for. The caller disposes of it.
    /// @return null, without an error, if the platform has none. Raises if it cannot be created.
    static AudioUnit openDefaultComponentType(UInt32 type, UInt32 subType);

    /// Null if there is no delegate or it was destroyed.
    std::shared_ptr<BRAQAudioUnitDelegate> delegate() const { return mDelegate.get().lock(); }
    /// Does not retain the delegate.
    void setDelegate(const std::shared_ptr<BRAQAudioUnitDelegate>& delegate) { mDelegate.set(delegate); }
    /// The platform's unit; null if there is none.
    AudioUnit audioUnit() const noexcept { return mAudioUnit; }
    /// Not owned.
    void setAudioUnit(AudioUnit unit) noexcept { mAudioUnit = unit; }
    /// Held, not copied.
    std::shared_ptr<BRAQAudioStreamBasicDescription> streamDescription() const { return mStreamDescription.get(); }
    void setStreamDescription(const std::shared_ptr<BRAQAudioStreamBasicDescription>& description) {
        mStreamDescription.set(description);
    }

  protected:
    explicit BRAQAudioUnit(const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription);

    /// Every init operation, here or in a derived class, takes ownership of its new object through this. An object
    /// without this is never notified of changes.
    template <class Unit>
    static std::shared_ptr<Unit> handOut(Unit* made) {
        std::shared_ptr<Unit> unit = own(made);
        makeFindable(unit);
        return unit;
    }

  private:
    static void makeFindable(const std::shared_ptr<BRAQAudioUnit>& unit);
    void tellOfDevice(BRAQDeviceChange change, const std::shared_ptr<BRAQAudioDevice>& device);

    BRAQAtomicProperty<std::weak_ptr<BRAQAudioUnitDelegate>> mDelegate;

  protected:
    AudioUnit mAudioUnit = nullptr;

  private:
    BRAQAtomicProperty<std::shared_ptr<BRAQAudioStreamBasicDescription>> mStreamDescription;
    std::shared_ptr<braq::DeviceWatch> mDeviceWatch; // while initialised
    std::shared_ptr<braq::LossWatch> mLossWatch;     // while initialised
};

/// @}
