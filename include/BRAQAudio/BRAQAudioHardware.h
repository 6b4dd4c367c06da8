#pragma once

#include "BRAQAudio/BRAQAudioDevice.h"
#include "BRAQAudio/BRAQDelegateEntry.h"
#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/hardware.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

/// @addtogroup devices
/// @{

BRAQ_DELEGATE_OPERATION(audioHardwareDeviceListDidChange)
BRAQ_DELEGATE_OPERATION(audioHardwareDefaultInputDeviceDidChange)
BRAQ_DELEGATE_OPERATION(audioHardwareDefaultOutputDeviceDidChange)
BRAQ_DELEGATE_OPERATION(audioHardwareDefaultSystemOutputDeviceDidChange)

/// A class whose objects can be delegates of the audio hardware: what it has of the operations of
/// `BRAQAudioHardwareDelegateEntry` can be called as stated there.
template <class Delegate>
concept BRAQAudioHardwareDelegate =
    std::is_class_v<Delegate> &&(!braq::delegates::Has_audioHardwareDeviceListDidChange<Delegate> ||
                                 requires(Delegate & delegate) { delegate.audioHardwareDeviceListDidChange(); }) &&
    (!braq::delegates::Has_audioHardwareDefaultInputDeviceDidChange<Delegate> ||
     requires(Delegate & delegate) { delegate.audioHardwareDefaultInputDeviceDidChange(); }) &&
    (!braq::delegates::Has_audioHardwareDefaultOutputDeviceDidChange<Delegate> ||
     requires(Delegate & delegate) { delegate.audioHardwareDefaultOutputDeviceDidChange(); }) &&
    (!braq::delegates::Has_audioHardwareDefaultSystemOutputDeviceDidChange<Delegate> ||
     requires(Delegate & delegate) { delegate.audioHardwareDefaultSystemOutputDeviceDidChange(); });

/// A delegate of the audio hardware: any object. Those of these operations that it has are called on the main thread:
///
///     void audioHardwareDeviceListDidChange();
///     void audioHardwareDefaultInputDeviceDidChange();
///     void audioHardwareDefaultOutputDeviceDidChange();
///     void audioHardwareDefaultSystemOutputDeviceDidChange();
class BRAQAudioHardwareDelegateEntry : public BRAQDelegateEntry {
  public:
    template <BRAQAudioHardwareDelegate Delegate>
    BRAQAudioHardwareDelegateEntry(const std::shared_ptr<Delegate>& delegate) : BRAQDelegateEntry(delegate) {
        Delegate* const object = delegate.get();
        if constexpr (requires { object->audioHardwareDeviceListDidChange(); }) {
            audioHardwareDeviceListDidChange = [object] { object->audioHardwareDeviceListDidChange(); };
        }
        if constexpr (requires { object->audioHardwareDefaultInputDeviceDidChange(); }) {
            audioHardwareDefaultInputDeviceDidChange = [object] { object->audioHardwareDefaultInputDeviceDidChange(); };
        }
        if constexpr (requires { object->audioHardwareDefaultOutputDeviceDidChange(); }) {
            audioHardwareDefaultOutputDeviceDidChange = [object] {
                object->audioHardwareDefaultOutputDeviceDidChange();
            };
        }
        if constexpr (requires { object->audioHardwareDefaultSystemOutputDeviceDidChange(); }) {
            audioHardwareDefaultSystemOutputDeviceDidChange = [object] {
                object->audioHardwareDefaultSystemOutputDeviceDidChange();
            };
        }
    }

    // Each calls the object, which must be alive. Empty if the object has no such operation.
    std::function<void()> audioHardwareDeviceListDidChange;
    std::function<void()> audioHardwareDefaultInputDeviceDidChange;
    std::function<void()> audioHardwareDefaultOutputDeviceDidChange;
    std::function<void()> audioHardwareDefaultSystemOutputDeviceDidChange;
};

/// All audio devices of the machine, and notifications when they appear and disappear.
///
/// Lookups raise platform failures as NSException `NSXErrorExceptionName`. Any thread but an I/O thread, unless stated
/// otherwise.
class BRAQ_EXPORT BRAQAudioHardware {
  public:
    /// The shared instance. Raises if it cannot listen to the hardware; the next call tries again.
    static std::shared_ptr<BRAQAudioHardware> sharedInstance();

    /// @return 0 if no device has that UID
    static AudioDeviceID deviceIDForDeviceUID(const std::string& uid);
    /// @return 0 if there is no such device
    static AudioDeviceID defaultInputDeviceID();
    static AudioDeviceID defaultOutputDeviceID();
    /// A device object for the default id, even if that is 0.
    static std::shared_ptr<BRAQAudioDevice> defaultInputDevice();
    static std::shared_ptr<BRAQAudioDevice> defaultOutputDevice();
    // In the platform's order.
    static std::vector<AudioDeviceID> allDeviceIDs();
    static std::vector<std::shared_ptr<BRAQAudioDevice>> allDevices();
    /// Devices with at least one playback channel.
    static std::vector<std::shared_ptr<BRAQAudioDevice>> playbackDevices();
    /// Devices with at least one recording channel.
    static std::vector<std::shared_ptr<BRAQAudioDevice>> recordingDevices();
    /// Devices with at least two recording channels.
    static std::vector<std::shared_ptr<BRAQAudioDevice>> stereoRecordingDevices();

    /// A separate instance that listens from now on. Raises if it cannot.
    static std::shared_ptr<BRAQAudioHardware> init();

    virtual ~BRAQAudioHardware();
    BRAQAudioHardware(const BRAQAudioHardware&) = delete;
    BRAQAudioHardware& operator=(const BRAQAudioHardware&) = delete;

    /// Makes the delegate operations for changed default devices arrive from now on. Idempotent. Raises if it cannot
    /// listen; what it does listen to is kept.
    void watchDefaultDevices();

    // Delegates. Main thread. A notification goes to the delegates present when it began; one that throws ends it. Only
    // the device list is listened to, deliberately: until `watchDefaultDevices` is called, a change of a default device
    // alone is delivered only if the platform reports it together with the list.

    /// Appends a delegate, even if it is already there. Raises `NSInvalidArgumentException` for null.
    void addDelegate(const BRAQAudioHardwareDelegateEntry& delegate);
    /// Removes every occurrence of the object.
    void removeDelegate(const BRAQDelegateEntry& delegate);
    const std::vector<BRAQAudioHardwareDelegateEntry>& delegates() const noexcept { return mDelegates; }
    void setDelegates(std::vector<BRAQAudioHardwareDelegateEntry> delegates) { mDelegates = std::move(delegates); }

  protected:
    BRAQAudioHardware();

    /// Every init operation, here or in a derived class, returns its new object through this. Delegates of an object
    /// that was not returned through it are never called.
    template <class Hardware>
    static std::shared_ptr<Hardware> handOut(Hardware* made) {
        std::shared_ptr<Hardware> hardware(made);
        makeFindable(hardware);
        return hardware;
    }

  private:
    static void makeFindable(const std::shared_ptr<BRAQAudioHardware>& hardware);

    std::vector<BRAQAudioHardwareDelegateEntry> mDelegates;
    std::mutex mWatchMutex;
    std::size_t mWatchedDefaults = 0; // under mWatchMutex
};

/// @}
