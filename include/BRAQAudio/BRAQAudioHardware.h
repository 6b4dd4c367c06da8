#pragma once

#include "BRAQAudio/BRAQAudioDevice.h"
#include "BRAQAudio/BRAQDelegateEntry.h"
#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/hardware.h"

#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

/// A delegate of the audio hardware: any object. What it has of these operations is called, on the main thread:
///
///     void audioHardwareDeviceListDidChange();
///     void audioHardwareDefaultInputDeviceDidChange();
///     void audioHardwareDefaultOutputDeviceDidChange();
///     void audioHardwareDefaultSystemOutputDeviceDidChange();
class BRAQAudioHardwareDelegateEntry : public BRAQDelegateEntry {
  public:
    template <class Delegate>
    requires std::is_class_v<Delegate> BRAQAudioHardwareDelegateEntry(const std::shared_ptr<Delegate>& delegate)
        : BRAQDelegateEntry(delegate) {
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

    // Each calls the object, which has to live; empty if it has no such operation.
    std::function<void()> audioHardwareDeviceListDidChange;
    std::function<void()> audioHardwareDefaultInputDeviceDidChange;
    std::function<void()> audioHardwareDefaultOutputDeviceDidChange;
    std::function<void()> audioHardwareDefaultSystemOutputDeviceDidChange;
};

/// All audio devices of the machine, and word of their coming and going.
///
/// The lookups raise failures of the platform as NSException `NSXErrorExceptionName`. Any thread but an I/O thread, unless
/// something else is said.
class BRAQ_EXPORT BRAQAudioHardware {
  public:
    /// The one that everybody shares. Raises if it cannot listen; the next call tries again.
    static std::shared_ptr<BRAQAudioHardware> sharedInstance();

    /// @return 0 when no device has that UID
    static AudioDeviceID deviceIDForDeviceUID(const std::string& uid);
    /// @return 0 when there is no such device
    static AudioDeviceID defaultInputDeviceID();
    static AudioDeviceID defaultOutputDeviceID();
    /// The device with that id, also when it is 0.
    static std::shared_ptr<BRAQAudioDevice> defaultInputDevice();
    static std::shared_ptr<BRAQAudioDevice> defaultOutputDevice();
    // In the platform's order.
    static std::vector<AudioDeviceID> allDeviceIDs();
    static std::vector<std::shared_ptr<BRAQAudioDevice>> allDevices();
    /// Those with a channel to play on.
    static std::vector<std::shared_ptr<BRAQAudioDevice>> playbackDevices();
    /// Those with a channel to record from.
    static std::vector<std::shared_ptr<BRAQAudioDevice>> recordingDevices();
    /// Those with two channels to record from, or more.
    static std::vector<std::shared_ptr<BRAQAudioDevice>> stereoRecordingDevices();

    /// Another one, which listens from now on. Raises if it cannot.
    static std::shared_ptr<BRAQAudioHardware> init();

    virtual ~BRAQAudioHardware();
    BRAQAudioHardware(const BRAQAudioHardware&) = delete;
    BRAQAudioHardware& operator=(const BRAQAudioHardware&) = delete;

    // Delegates. Main thread; each pass over them calls those that were there when it began. One that throws ends the pass.
    // Only the list of devices is listened to, deliberately: a new default alone is delivered only if the platform reports
    // it along with that.

    /// Appends a delegate, however often it is there already. A null one raises `NSInvalidArgumentException`.
    void addDelegate(const BRAQAudioHardwareDelegateEntry& delegate);
    /// Removes every occurrence of the object.
    void removeDelegate(const BRAQDelegateEntry& delegate);
    const std::vector<BRAQAudioHardwareDelegateEntry>& delegates() const noexcept { return mDelegates; }
    void setDelegates(std::vector<BRAQAudioHardwareDelegateEntry> delegates) { mDelegates = std::move(delegates); }

  protected:
    BRAQAudioHardware();

    /// How an init operation, here or in a derived class, hands out the object that it made. Delegates of one that was not
    /// handed out this way are never called.
    template <class Hardware>
    static std::shared_ptr<Hardware> handOut(Hardware* made) {
        std::shared_ptr<Hardware> hardware(made);
        makeFindable(hardware);
        return hardware;
    }

  private:
    static void makeFindable(const std::shared_ptr<BRAQAudioHardware>& hardware);

    std::vector<BRAQAudioHardwareDelegateEntry> mDelegates;
};
