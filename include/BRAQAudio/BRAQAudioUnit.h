#pragma once

#include "BRAQAudio/BRAQAtomicProperty.h"
#include "BRAQAudio/BRAQAudioStreamBasicDescription.h"
#include "BRAQAudio/BRAQReleasable.h"
#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/units.h"

#include <memory>

class BRAQAudioUnit;

extern "C" {
/// Posted by the default notification centre, with the unit as object, after it was found running. On the thread that
/// notifies changes of hardware.
BRAQ_EXPORT extern const char kAudioUnitDidStartNotification[] BRAQ_LINKER_NAME(kAudioUnitDidStartNotification);
/// The same when it was found not running.
BRAQ_EXPORT extern const char kAudioUnitDidStopNotification[] BRAQ_LINKER_NAME(kAudioUnitDidStopNotification);
}

/// What a unit tells, before it is posted, on the thread that notifies changes of hardware: no I/O thread, nor the main one.
class BRAQ_EXPORT BRAQAudioUnitDelegate {
  public:
    virtual ~BRAQAudioUnitDelegate();
    virtual void audioUnitDidStart(const std::shared_ptr<BRAQAudioUnit>& unit);
    virtual void audioUnitDidStop(const std::shared_ptr<BRAQAudioUnit>& unit);
};

/// A unit that a device drives, as far as all of them are alike: starts, stops, and tells about it. A derived class makes the
/// platform's unit in its `audioUnitInitialize` and then calls the one here.
///
/// What the platform reports as failed is raised as NSException `NSXErrorExceptionName`, and nothing is undone. Any thread but
/// an I/O thread.
class BRAQ_EXPORT BRAQAudioUnit : public BRAQReleasable, public std::enable_shared_from_this<BRAQAudioUnit> {
  public:
    /// Without a unit of the platform: every operation that needs one raises.
    static std::shared_ptr<BRAQAudioUnit>
    initWithStreamDescription(const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription);
    /// The unit of the platform is neither stopped, uninitialised nor let go.
    ~BRAQAudioUnit() override;

    /// Harmless on a unit that runs: then nothing is told.
    void start();
    /// Returns when what was pulled is heard and nothing of the unit runs on the I/O thread.
    void stop();
    /// Whether it runs; inside what is told about a change, as that change has left it.
    bool isRunning() const;

    /// Has changes of `isRunning` told to the delegate and posted. This is never taken back.
    void installPropertyListener();
    /// Passes everything on to the platform's unit as it is.
    /// @param size bytes at `data`
    void setProperty(AudioUnitPropertyID propertyID, AudioUnitScope scope, AudioUnitElement element, const void* data,
                     UInt32 size);

    /// Gets the platform's unit ready for rendering.
    virtual void audioUnitInitialize();
    /// Stops it and undoes that.
    virtual void audioUnitUninitialize();

    /// A new unit of the platform that plays on the default device, whatever is asked for; the caller's to dispose of.
    /// @return null, without an error, when the platform has none. Raises if it cannot be made.
    static AudioUnit openDefaultComponentType(UInt32 type, UInt32 subType);

    /// Null without a delegate, and when it is gone.
    std::shared_ptr<BRAQAudioUnitDelegate> delegate() const { return mDelegate.get().lock(); }
    /// Does not keep the delegate alive.
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

    /// How an init operation, here or in a derived class, takes hold of the object that it made. One that was not taken hold
    /// of this way is never told of changes.
    template <class Unit>
    static std::shared_ptr<Unit> handOut(Unit* made) {
        std::shared_ptr<Unit> unit = own(made);
        makeFindable(unit);
        return unit;
    }

  private:
    static void makeFindable(const std::shared_ptr<BRAQAudioUnit>& unit);

    BRAQAtomicProperty<std::weak_ptr<BRAQAudioUnitDelegate>> mDelegate;

  protected:
    AudioUnit mAudioUnit = nullptr;

  private:
    BRAQAtomicProperty<std::shared_ptr<BRAQAudioStreamBasicDescription>> mStreamDescription;
};
