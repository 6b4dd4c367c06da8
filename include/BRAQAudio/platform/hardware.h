#pragma once

// The audio devices of the machine as objects with properties.

#include "BRAQAudio/platform/types.h"

/// @addtogroup hardware
/// @{

constexpr AudioObjectID kAudioObjectUnknown = 0;
constexpr AudioObjectID kAudioObjectSystemObject = 1;

/// The address of a property of an object: selector, direction, and element (0 is the whole object).
struct AudioObjectPropertyAddress {
    UInt32 mSelector;
    UInt32 mScope;
    UInt32 mElement;
};
static_assert(sizeof(AudioObjectPropertyAddress) == 12);

constexpr UInt32 kAudioObjectPropertyElementMain = 0;

constexpr UInt32 kAudioObjectPropertyScopeGlobal = BRAQFourCharCode("glob");
constexpr UInt32 kAudioDevicePropertyScopeInput = BRAQFourCharCode("inpt");
constexpr UInt32 kAudioDevicePropertyScopeOutput = BRAQFourCharCode("outp");

// A listener's address may contain wildcards.
constexpr UInt32 kAudioObjectPropertySelectorWildcard = BRAQFourCharCode("****");
constexpr UInt32 kAudioObjectPropertyScopeWildcard = BRAQFourCharCode("****");
constexpr UInt32 kAudioObjectPropertyElementWildcard = 0xFFFFFFFF;

// Properties of the system object, global scope.
constexpr UInt32 kAudioHardwarePropertyDevices = BRAQFourCharCode("dev#");                   ///< AudioDeviceID[]
constexpr UInt32 kAudioHardwarePropertyDefaultInputDevice = BRAQFourCharCode("dIn ");        ///< AudioDeviceID, 0: none
constexpr UInt32 kAudioHardwarePropertyDefaultOutputDevice = BRAQFourCharCode("dOut");       ///< AudioDeviceID, 0: none
constexpr UInt32 kAudioHardwarePropertyDefaultSystemOutputDevice = BRAQFourCharCode("sOut"); ///< AudioDeviceID, 0: none
/// AudioValueTranslation from a CFStringRef to an AudioDeviceID; 0 for a UID that no device has.
constexpr UInt32 kAudioHardwarePropertyDeviceForUID = BRAQFourCharCode("duid");

// Properties of a device.
constexpr UInt32 kAudioObjectPropertyName = BRAQFourCharCode("lnam");                        ///< CFStringRef
constexpr UInt32 kAudioObjectPropertyManufacturer = BRAQFourCharCode("lmak");                ///< CFStringRef
constexpr UInt32 kAudioDevicePropertyDeviceUID = BRAQFourCharCode("uid ");                   ///< CFStringRef
constexpr UInt32 kAudioDevicePropertyTransportType = BRAQFourCharCode("tran");               ///< UInt32
constexpr UInt32 kAudioDevicePropertyNominalSampleRate = BRAQFourCharCode("nsrt");           ///< Float64, settable
constexpr UInt32 kAudioDevicePropertyAvailableNominalSampleRates = BRAQFourCharCode("nsr#"); ///< AudioValueRange[]
/// AudioBufferList, one buffer per stream of the scope's direction, without data.
constexpr UInt32 kAudioDevicePropertyStreamConfiguration = BRAQFourCharCode("slay");
/// UInt32[2]: the channel numbers, from 1, of left and right in this direction.
constexpr UInt32 kAudioDevicePropertyPreferredChannelsForStereo = BRAQFourCharCode("dch2");
constexpr UInt32 kAudioDevicePropertyStreams = BRAQFourCharCode("stm#");                  ///< AudioObjectID[]
constexpr UInt32 kAudioDevicePropertyLatency = BRAQFourCharCode("ltnc");                  ///< UInt32 frames
constexpr UInt32 kAudioDevicePropertySafetyOffset = BRAQFourCharCode("saft");             ///< UInt32 frames
constexpr UInt32 kAudioDevicePropertyBufferFrameSize = BRAQFourCharCode("fsiz");          ///< UInt32 frames, settable
constexpr UInt32 kAudioDevicePropertyBufferFrameSizeRange = BRAQFourCharCode("fsz#");     ///< AudioValueRange, frames
constexpr UInt32 kAudioDevicePropertyDeviceIsAlive = BRAQFourCharCode("livn");            ///< UInt32, 0: removed
constexpr UInt32 kAudioDevicePropertyDeviceIsRunning = BRAQFourCharCode("goin");          ///< UInt32, in this process
constexpr UInt32 kAudioDevicePropertyDeviceIsRunningSomewhere = BRAQFourCharCode("gone"); ///< UInt32, in any process
/// Float32, in the scope's direction: the linear gain that the user's mixer applies to this process's playback or
/// recording there, of the loudest channel; 0 if muted. 1 until the device has run. The system keeps it for the next
/// time.
constexpr UInt32 kBRAQAudioDevicePropertyMixerLevel = BRAQFourCharCode("mixl");

// Properties of a stream, global scope.
constexpr UInt32 kAudioStreamPropertyStartingChannel = BRAQFourCharCode("schn"); ///< UInt32, from 1
constexpr UInt32 kAudioStreamPropertyLatency = kAudioDevicePropertyLatency;      ///< UInt32 frames

constexpr UInt32 kAudioDeviceTransportTypeUnknown = 0;
constexpr UInt32 kAudioDeviceTransportTypeBuiltIn = BRAQFourCharCode("bltn");
constexpr UInt32 kAudioDeviceTransportTypeVirtual = BRAQFourCharCode("virt");
constexpr UInt32 kAudioDeviceTransportTypePCI = BRAQFourCharCode("pci ");
constexpr UInt32 kAudioDeviceTransportTypeUSB = BRAQFourCharCode("usb ");
constexpr UInt32 kAudioDeviceTransportTypeBluetooth = BRAQFourCharCode("blue");
constexpr UInt32 kAudioDeviceTransportTypeHDMI = BRAQFourCharCode("hdmi");
constexpr UInt32 kAudioDeviceTransportTypeDisplayPort = BRAQFourCharCode("dprt");
constexpr UInt32 kAudioDeviceTransportTypeAggregate = BRAQFourCharCode("grup");

constexpr OSStatus kAudioHardwareNoError = 0;
constexpr OSStatus kAudioHardwareNotRunningError = static_cast<OSStatus>(BRAQFourCharCode("stop"));
constexpr OSStatus kAudioHardwareUnspecifiedError = static_cast<OSStatus>(BRAQFourCharCode("what"));
constexpr OSStatus kAudioHardwareUnknownPropertyError = static_cast<OSStatus>(BRAQFourCharCode("who?"));
constexpr OSStatus kAudioHardwareBadPropertySizeError = static_cast<OSStatus>(BRAQFourCharCode("!siz"));
constexpr OSStatus kAudioHardwareIllegalOperationError = static_cast<OSStatus>(BRAQFourCharCode("nope"));
constexpr OSStatus kAudioHardwareBadObjectError = static_cast<OSStatus>(BRAQFourCharCode("!obj"));
constexpr OSStatus kAudioHardwareBadDeviceError = static_cast<OSStatus>(BRAQFourCharCode("!dev"));
constexpr OSStatus kAudioHardwareBadStreamError = static_cast<OSStatus>(BRAQFourCharCode("!str"));
constexpr OSStatus kAudioHardwareUnsupportedOperationError = static_cast<OSStatus>(BRAQFourCharCode("unop"));
constexpr OSStatus kAudioDeviceUnsupportedFormatError = static_cast<OSStatus>(BRAQFourCharCode("!dat"));

/// Called when properties of an object have changed, on the notification thread of the process, with no lock held. It
/// may read properties and add and remove listeners.
/// @param addresses the changed properties that the listener was added for
/// @return ignored
using AudioObjectPropertyListenerProc = OSStatus (*)(AudioObjectID object, UInt32 addressCount,
                                                     const AudioObjectPropertyAddress* addresses, void* clientData);

extern "C" {

/// Whether the calling thread is inside a device cycle, where it must not wait or free anything.
/// @realtime Any thread.
bool BRAQThreadIsInDeviceCycle() noexcept;

// Any thread but an I/O thread. Ids are never reused within a process; the id of a removed object returns
// `kAudioHardwareBadObjectError`.

/// Whether the object has the property.
bool AudioObjectHasProperty(AudioObjectID object, const AudioObjectPropertyAddress* address);

/// The size in bytes of what `AudioObjectGetPropertyData` would write now.
/// @param qualifierSize bytes at `qualifier`, which may be null; no property uses one
/// @return 0, `kAudioHardwareBadObjectError`, `kAudioHardwareUnknownPropertyError`, or the driver's error; `*size` is
///        written on success only
OSStatus AudioObjectGetPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                        UInt32 qualifierSize, const void* qualifier, UInt32* size);

/// Reads a property.
/// @param size in: bytes at `data`; out: bytes written. A scalar needs exactly its size; of an array, as many whole
///        entries are written as fit. A string is a `CFStringRef` that the caller releases.
/// @return 0, `kAudioHardwareBadObjectError`, `kAudioHardwareUnknownPropertyError`,
///        `kAudioHardwareBadPropertySizeError`, or the driver's error; nothing is written on failure. If there is no
///        default device, its id is 0, which is not an error.
OSStatus AudioObjectGetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                    UInt32 qualifierSize, const void* qualifier, UInt32* size, void* data);

/// Changes a settable property asynchronously. Listeners are notified when the change is done.
/// @return 0 if the change is accepted; `kAudioDeviceUnsupportedFormatError` for a rate that the device does not offer,
///        `kAudioHardwareIllegalOperationError` for a buffer size outside its range,
///        `kAudioHardwareUnsupportedOperationError` for a property that cannot be set; else as
///        `AudioObjectGetPropertyData`
OSStatus AudioObjectSetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                    UInt32 qualifierSize, const void* qualifier, UInt32 size, const void* data);

/// Calls `listener` after each change of a property that matches `address`; wildcards match anything. Idempotent: the
/// same listener with the same address and client data is registered only once.
/// @return 0, `kAudioHardwareBadObjectError`, or `kAudioHardwareIllegalOperationError` for a null listener
OSStatus AudioObjectAddPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                        AudioObjectPropertyListenerProc listener, void* clientData);

/// Removes a listener. When this returns, the listener is not running and is not called again. Inside the listener
/// itself, it returns at once and the listener is not called again.
/// @return 0, also if there is no such listener or the object was removed; `kAudioHardwareBadObjectError` for an id
///        that never existed
OSStatus AudioObjectRemovePropertyListener(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                           AudioObjectPropertyListenerProc listener, void* clientData);

/// Converts between the host time and the sample time of a running device.
/// @param in with a valid host time, sample time, or both
/// @param out in: `mFlags` says which fields are wanted; out: exactly these fields
/// @return 0; `kAudioHardwareNotRunningError` unless the device runs in this process;
///        `kAudioHardwareIllegalOperationError` if `in` has neither time; `kAudioHardwareBadObjectError` if the id is
///        not a device
OSStatus AudioDeviceTranslateTime(AudioDeviceID device, const AudioTimeStamp* in, AudioTimeStamp* out);
}

/// @}
