#pragma once

// The machine's audio devices as objects with properties.

#include "BRAQAudio/platform/types.h"

constexpr AudioObjectID kAudioObjectUnknown = 0;
constexpr AudioObjectID kAudioObjectSystemObject = 1;

/// Which property of an object: what, in which direction, of which element (0 is the whole object).
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

// A listener's address may leave open what it listens to.
constexpr UInt32 kAudioObjectPropertySelectorWildcard = BRAQFourCharCode("****");
constexpr UInt32 kAudioObjectPropertyScopeWildcard = BRAQFourCharCode("****");
constexpr UInt32 kAudioObjectPropertyElementWildcard = 0xFFFFFFFF;

// Properties of the system object, global scope.
constexpr UInt32 kAudioHardwarePropertyDevices = BRAQFourCharCode("dev#");                   ///< AudioDeviceID[]
constexpr UInt32 kAudioHardwarePropertyDefaultInputDevice = BRAQFourCharCode("dIn ");        ///< AudioDeviceID, 0: none
constexpr UInt32 kAudioHardwarePropertyDefaultOutputDevice = BRAQFourCharCode("dOut");       ///< AudioDeviceID, 0: none
constexpr UInt32 kAudioHardwarePropertyDefaultSystemOutputDevice = BRAQFourCharCode("sOut"); ///< AudioDeviceID, 0: none
/// AudioValueTranslation from a CFStringRef to an AudioDeviceID, 0 for a UID that no device has.
constexpr UInt32 kAudioHardwarePropertyDeviceForUID = BRAQFourCharCode("duid");

// Properties of a device.
constexpr UInt32 kAudioObjectPropertyName = BRAQFourCharCode("lnam");                        ///< CFStringRef
constexpr UInt32 kAudioObjectPropertyManufacturer = BRAQFourCharCode("lmak");                ///< CFStringRef
constexpr UInt32 kAudioDevicePropertyDeviceUID = BRAQFourCharCode("uid ");                   ///< CFStringRef
constexpr UInt32 kAudioDevicePropertyTransportType = BRAQFourCharCode("tran");               ///< UInt32
constexpr UInt32 kAudioDevicePropertyNominalSampleRate = BRAQFourCharCode("nsrt");           ///< Float64, settable
constexpr UInt32 kAudioDevicePropertyAvailableNominalSampleRates = BRAQFourCharCode("nsr#"); ///< AudioValueRange[]
/// AudioBufferList, one buffer a stream of the scope's direction, without data.
constexpr UInt32 kAudioDevicePropertyStreamConfiguration = BRAQFourCharCode("slay");
/// UInt32[2]: the numbers, from 1, of the direction's left and right channel.
constexpr UInt32 kAudioDevicePropertyPreferredChannelsForStereo = BRAQFourCharCode("dch2");
constexpr UInt32 kAudioDevicePropertyStreams = BRAQFourCharCode("stm#");                  ///< AudioObjectID[]
constexpr UInt32 kAudioDevicePropertyLatency = BRAQFourCharCode("ltnc");                  ///< UInt32 frames
constexpr UInt32 kAudioDevicePropertySafetyOffset = BRAQFourCharCode("saft");             ///< UInt32 frames
constexpr UInt32 kAudioDevicePropertyBufferFrameSize = BRAQFourCharCode("fsiz");          ///< UInt32 frames, settable
constexpr UInt32 kAudioDevicePropertyBufferFrameSizeRange = BRAQFourCharCode("fsz#");     ///< AudioValueRange, frames
constexpr UInt32 kAudioDevicePropertyDeviceIsAlive = BRAQFourCharCode("livn");            ///< UInt32, 0: gone
constexpr UInt32 kAudioDevicePropertyDeviceIsRunning = BRAQFourCharCode("goin");          ///< UInt32, in this process
constexpr UInt32 kAudioDevicePropertyDeviceIsRunningSomewhere = BRAQFourCharCode("gone"); ///< UInt32, in any process
/// Float32 of the scope's direction: the linear gain that the user's mixer gives what this process plays or records there, that
/// of the loudest channel; 0 when it is muted. 1 until the device has run. It is kept by the system, for the next time.
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

/// Called when properties of an object have changed, on the one notification thread of the process, with no lock held.
/// It may read properties, add and remove listeners.
/// @param addresses those of the changed properties that the listener was added for
/// @return ignored
using AudioObjectPropertyListenerProc = OSStatus (*)(AudioObjectID object, UInt32 addressCount,
                                                     const AudioObjectPropertyAddress* addresses, void* clientData);

extern "C" {

/// Whether the calling thread is in the middle of a device cycle, where nothing may wait or be let go.
/// @realtime Any thread.
bool BRAQThreadIsInDeviceCycle() noexcept;

// All of these may be called on any thread but an I/O thread. Ids are not used again within a process; that of an object
// which is gone answers `kAudioHardwareBadObjectError`.

/// Whether the object has the property.
bool AudioObjectHasProperty(AudioObjectID object, const AudioObjectPropertyAddress* address);

/// How many bytes `AudioObjectGetPropertyData` would write now.
/// @param qualifierSize bytes at `qualifier`, which may be null; no property uses one
/// @return 0, `kAudioHardwareBadObjectError`, `kAudioHardwareUnknownPropertyError`, or what the driver reports; `*size`
///         is written on success only
OSStatus AudioObjectGetPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                        UInt32 qualifierSize, const void* qualifier, UInt32* size);

/// Reads a property.
/// @param size in: bytes at `data`; out: bytes written. A scalar wants exactly its size; of an array as many whole entries
///        are written as fit. A string is a `CFStringRef` that the caller releases.
/// @return 0, `kAudioHardwareBadObjectError`, `kAudioHardwareUnknownPropertyError`,
///         `kAudioHardwareBadPropertySizeError`, or what the driver reports; nothing is written on failure. Without a
///         default device its id is 0, which is no error.
OSStatus AudioObjectGetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                    UInt32 qualifierSize, const void* qualifier, UInt32* size, void* data);

/// Changes a settable property. The change is carried out later and notified when it is done.
/// @return 0 when the change is accepted; `kAudioDeviceUnsupportedFormatError` for a rate that the device does not offer,
///         `kAudioHardwareIllegalOperationError` for a buffer size outside its range,
///         `kAudioHardwareUnsupportedOperationError` for a property that cannot be set; else as
///         `AudioObjectGetPropertyData`
OSStatus AudioObjectSetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                    UInt32 qualifierSize, const void* qualifier, UInt32 size, const void* data);

/// Calls `listener` after each change of a property that `address` matches; wildcards match anything. The same listener
/// with the same address and client data is there only once, however often it is added.
/// @return 0, `kAudioHardwareBadObjectError`, or `kAudioHardwareIllegalOperationError` for a null listener
OSStatus AudioObjectAddPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                        AudioObjectPropertyListenerProc listener, void* clientData);

/// Takes a listener back. When this returns it is not running and will not be called again; called from inside the
/// listener itself: it will not be called again.
/// @return 0, also when there is no such listener or the object is gone; `kAudioHardwareBadObjectError` for an id that
///         never was one
OSStatus AudioObjectRemovePropertyListener(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                           AudioObjectPropertyListenerProc listener, void* clientData);

/// Converts between host time and the sample time of a running device.
/// @param in with a valid host time, sample time, or both
/// @param out in: `mFlags` says what is wanted; out: these fields and no other
/// @return 0; `kAudioHardwareNotRunningError` unless the device runs in this process; `kAudioHardwareIllegalOperationError`
///         when `in` has neither time; `kAudioHardwareBadObjectError` for what is no device
OSStatus AudioDeviceTranslateTime(AudioDeviceID device, const AudioTimeStamp* in, AudioTimeStamp* out);
}
