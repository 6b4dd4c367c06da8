#pragma once

// The audio devices of the machine as objects with properties. For C11 and C++.

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/foundation/CFString.h"
#include "BRAQAudio/platform/types.h"

/// @addtogroup hardware
/// @{

BRAQ_CONSTANT(AudioObjectID, kAudioObjectUnknown, 0);
BRAQ_CONSTANT(AudioObjectID, kAudioObjectSystemObject, 1);

/// The address of a property of an object: selector, direction, and element (0 is the whole object).
typedef struct AudioObjectPropertyAddress {
    UInt32 mSelector;
    UInt32 mScope;
    UInt32 mElement;
} AudioObjectPropertyAddress;
static_assert(sizeof(AudioObjectPropertyAddress) == 12, "part of the interface");

BRAQ_CONSTANT(UInt32, kAudioObjectPropertyElementMain, 0);

BRAQ_CONSTANT(UInt32, kAudioObjectPropertyScopeGlobal, BRAQ_FOURCC('g', 'l', 'o', 'b'));
BRAQ_CONSTANT(UInt32, kAudioDevicePropertyScopeInput, BRAQ_FOURCC('i', 'n', 'p', 't'));
BRAQ_CONSTANT(UInt32, kAudioDevicePropertyScopeOutput, BRAQ_FOURCC('o', 'u', 't', 'p'));

// A listener's address may contain wildcards.
BRAQ_CONSTANT(UInt32, kAudioObjectPropertySelectorWildcard, BRAQ_FOURCC('*', '*', '*', '*'));
BRAQ_CONSTANT(UInt32, kAudioObjectPropertyScopeWildcard, BRAQ_FOURCC('*', '*', '*', '*'));
#ifdef __cplusplus
constexpr UInt32 kAudioObjectPropertyElementWildcard = 0xFFFFFFFF;
#else
#define kAudioObjectPropertyElementWildcard ((UInt32)0xFFFFFFFF) // no enumeration constant can have this value
#endif

// Properties of the system object, global scope.
BRAQ_CONSTANT(UInt32, kAudioHardwarePropertyDevices, BRAQ_FOURCC('d', 'e', 'v', '#')); ///< AudioDeviceID[]
BRAQ_CONSTANT(UInt32, kAudioHardwarePropertyDefaultInputDevice,
              BRAQ_FOURCC('d', 'I', 'n', ' ')); ///< AudioDeviceID, 0: none
BRAQ_CONSTANT(UInt32, kAudioHardwarePropertyDefaultOutputDevice,
              BRAQ_FOURCC('d', 'O', 'u', 't')); ///< AudioDeviceID, 0: none
BRAQ_CONSTANT(UInt32, kAudioHardwarePropertyDefaultSystemOutputDevice,
              BRAQ_FOURCC('s', 'O', 'u', 't')); ///< AudioDeviceID, 0: none
/// AudioValueTranslation from a CFStringRef to an AudioDeviceID; 0 for a UID that no device has.
BRAQ_CONSTANT(UInt32, kAudioHardwarePropertyDeviceForUID, BRAQ_FOURCC('d', 'u', 'i', 'd'));

// Properties of a device.
BRAQ_CONSTANT(UInt32, kAudioObjectPropertyName, BRAQ_FOURCC('l', 'n', 'a', 'm'));              ///< CFStringRef
BRAQ_CONSTANT(UInt32, kAudioObjectPropertyManufacturer, BRAQ_FOURCC('l', 'm', 'a', 'k'));      ///< CFStringRef
BRAQ_CONSTANT(UInt32, kAudioDevicePropertyDeviceUID, BRAQ_FOURCC('u', 'i', 'd', ' '));         ///< CFStringRef
BRAQ_CONSTANT(UInt32, kAudioDevicePropertyTransportType, BRAQ_FOURCC('t', 'r', 'a', 'n'));     ///< UInt32
BRAQ_CONSTANT(UInt32, kAudioDevicePropertyNominalSampleRate, BRAQ_FOURCC('n', 's', 'r', 't')); ///< Float64, settable
BRAQ_CONSTANT(UInt32, kAudioDevicePropertyAvailableNominalSampleRates,
              BRAQ_FOURCC('n', 's', 'r', '#')); ///< AudioValueRange[]
/// AudioBufferList, one buffer per stream of the scope's direction, without data.
BRAQ_CONSTANT(UInt32, kAudioDevicePropertyStreamConfiguration, BRAQ_FOURCC('s', 'l', 'a', 'y'));
/// UInt32[2]: the channel numbers, from 1, of left and right in this direction.
BRAQ_CONSTANT(UInt32, kAudioDevicePropertyPreferredChannelsForStereo, BRAQ_FOURCC('d', 'c', 'h', '2'));
BRAQ_CONSTANT(UInt32, kAudioDevicePropertyStreams, BRAQ_FOURCC('s', 't', 'm', '#'));      ///< AudioObjectID[]
BRAQ_CONSTANT(UInt32, kAudioDevicePropertyLatency, BRAQ_FOURCC('l', 't', 'n', 'c'));      ///< UInt32 frames
BRAQ_CONSTANT(UInt32, kAudioDevicePropertySafetyOffset, BRAQ_FOURCC('s', 'a', 'f', 't')); ///< UInt32 frames
BRAQ_CONSTANT(UInt32, kAudioDevicePropertyBufferFrameSize,
              BRAQ_FOURCC('f', 's', 'i', 'z')); ///< UInt32 frames, settable
BRAQ_CONSTANT(UInt32, kAudioDevicePropertyBufferFrameSizeRange,
              BRAQ_FOURCC('f', 's', 'z', '#'));                                            ///< AudioValueRange, frames
BRAQ_CONSTANT(UInt32, kAudioDevicePropertyDeviceIsAlive, BRAQ_FOURCC('l', 'i', 'v', 'n')); ///< UInt32, 0: removed
BRAQ_CONSTANT(UInt32, kAudioDevicePropertyDeviceIsRunning,
              BRAQ_FOURCC('g', 'o', 'i', 'n')); ///< UInt32, in this process
BRAQ_CONSTANT(UInt32, kAudioDevicePropertyDeviceIsRunningSomewhere,
              BRAQ_FOURCC('g', 'o', 'n', 'e')); ///< UInt32, in any process
/// Float32, in the scope's direction: the linear gain that the user's mixer applies to this process's playback or
/// recording there, of the loudest channel; 0 if muted. 1 until the device has run. The system keeps it for the next
/// time.
BRAQ_CONSTANT(UInt32, kBRAQAudioDevicePropertyMixerLevel, BRAQ_FOURCC('m', 'i', 'x', 'l'));

// Properties of a stream, global scope.
BRAQ_CONSTANT(UInt32, kAudioStreamPropertyStartingChannel, BRAQ_FOURCC('s', 'c', 'h', 'n')); ///< UInt32, from 1
BRAQ_CONSTANT(UInt32, kAudioStreamPropertyLatency, kAudioDevicePropertyLatency);             ///< UInt32 frames

BRAQ_CONSTANT(UInt32, kAudioDeviceTransportTypeUnknown, 0);
BRAQ_CONSTANT(UInt32, kAudioDeviceTransportTypeBuiltIn, BRAQ_FOURCC('b', 'l', 't', 'n'));
BRAQ_CONSTANT(UInt32, kAudioDeviceTransportTypeVirtual, BRAQ_FOURCC('v', 'i', 'r', 't'));
BRAQ_CONSTANT(UInt32, kAudioDeviceTransportTypePCI, BRAQ_FOURCC('p', 'c', 'i', ' '));
BRAQ_CONSTANT(UInt32, kAudioDeviceTransportTypeUSB, BRAQ_FOURCC('u', 's', 'b', ' '));
BRAQ_CONSTANT(UInt32, kAudioDeviceTransportTypeBluetooth, BRAQ_FOURCC('b', 'l', 'u', 'e'));
BRAQ_CONSTANT(UInt32, kAudioDeviceTransportTypeHDMI, BRAQ_FOURCC('h', 'd', 'm', 'i'));
BRAQ_CONSTANT(UInt32, kAudioDeviceTransportTypeDisplayPort, BRAQ_FOURCC('d', 'p', 'r', 't'));
BRAQ_CONSTANT(UInt32, kAudioDeviceTransportTypeAggregate, BRAQ_FOURCC('g', 'r', 'u', 'p'));

BRAQ_CONSTANT(OSStatus, kAudioHardwareNoError, 0);
BRAQ_CONSTANT(OSStatus, kAudioHardwareNotRunningError, BRAQ_FOURCC('s', 't', 'o', 'p'));
BRAQ_CONSTANT(OSStatus, kAudioHardwareUnspecifiedError, BRAQ_FOURCC('w', 'h', 'a', 't'));
BRAQ_CONSTANT(OSStatus, kAudioHardwareUnknownPropertyError, BRAQ_FOURCC('w', 'h', 'o', '?'));
BRAQ_CONSTANT(OSStatus, kAudioHardwareBadPropertySizeError, BRAQ_FOURCC('!', 's', 'i', 'z'));
BRAQ_CONSTANT(OSStatus, kAudioHardwareIllegalOperationError, BRAQ_FOURCC('n', 'o', 'p', 'e'));
BRAQ_CONSTANT(OSStatus, kAudioHardwareBadObjectError, BRAQ_FOURCC('!', 'o', 'b', 'j'));
BRAQ_CONSTANT(OSStatus, kAudioHardwareBadDeviceError, BRAQ_FOURCC('!', 'd', 'e', 'v'));
BRAQ_CONSTANT(OSStatus, kAudioHardwareBadStreamError, BRAQ_FOURCC('!', 's', 't', 'r'));
BRAQ_CONSTANT(OSStatus, kAudioHardwareUnsupportedOperationError, BRAQ_FOURCC('u', 'n', 'o', 'p'));
BRAQ_CONSTANT(OSStatus, kAudioDeviceUnsupportedFormatError, BRAQ_FOURCC('!', 'd', 'a', 't'));

/// Called when properties of an object have changed, on the notification thread of the process, with no lock held. It
/// may read properties and add and remove listeners.
/// @param addresses the changed properties that the listener was added for
/// @return ignored
typedef OSStatus (*AudioObjectPropertyListenerProc)(AudioObjectID object, UInt32 addressCount,
                                                    const AudioObjectPropertyAddress* addresses, void* clientData);

#ifdef __cplusplus
extern "C" {
#endif

/// Whether the calling thread is inside a device cycle, where it must not wait or free anything.
/// @realtime Any thread.
BRAQ_EXPORT bool BRAQThreadIsInDeviceCycle(void) BRAQ_NOEXCEPT;

// Any thread but an I/O thread. Ids are never reused within a process; the id of a removed object returns
// `kAudioHardwareBadObjectError`.

/// Whether the object has the property.
BRAQ_EXPORT bool AudioObjectHasProperty(AudioObjectID object, const AudioObjectPropertyAddress* address);

/// The size in bytes of what `AudioObjectGetPropertyData` would write now.
/// @param qualifierSize bytes at `qualifier`, which may be null; no property uses one
/// @return 0, `kAudioHardwareBadObjectError`, `kAudioHardwareUnknownPropertyError`, or the driver's error; `*size` is
///        written on success only
BRAQ_EXPORT OSStatus AudioObjectGetPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                                    UInt32 qualifierSize, const void* qualifier, UInt32* size);

/// Reads a property.
/// @param size in: bytes at `data`; out: bytes written. A scalar needs exactly its size; of an array, as many whole
///        entries are written as fit. A string is a `CFStringRef` that the caller releases.
/// @return 0, `kAudioHardwareBadObjectError`, `kAudioHardwareUnknownPropertyError`,
///        `kAudioHardwareBadPropertySizeError`, or the driver's error; nothing is written on failure. If there is no
///        default device, its id is 0, which is not an error.
BRAQ_EXPORT OSStatus AudioObjectGetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                                UInt32 qualifierSize, const void* qualifier, UInt32* size, void* data);

/// Changes a settable property asynchronously. Listeners are notified when the change is done.
/// @return 0 if the change is accepted; `kAudioDeviceUnsupportedFormatError` for a rate that the device does not offer,
///        `kAudioHardwareIllegalOperationError` for a buffer size outside its range,
///        `kAudioHardwareUnsupportedOperationError` for a property that cannot be set; else as
///        `AudioObjectGetPropertyData`
BRAQ_EXPORT OSStatus AudioObjectSetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                                UInt32 qualifierSize, const void* qualifier, UInt32 size,
                                                const void* data);

/// Calls `listener` after each change of a property that matches `address`; wildcards match anything. Idempotent: the
/// same listener with the same address and client data is registered only once.
/// @return 0, `kAudioHardwareBadObjectError`, or `kAudioHardwareIllegalOperationError` for a null listener
BRAQ_EXPORT OSStatus AudioObjectAddPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                                    AudioObjectPropertyListenerProc listener, void* clientData);

/// Removes a listener. When this returns, the listener is not running and is not called again. Inside the listener
/// itself, it returns at once and the listener is not called again.
/// @return 0, also if there is no such listener or the object was removed; `kAudioHardwareBadObjectError` for an id
///        that never existed
BRAQ_EXPORT OSStatus AudioObjectRemovePropertyListener(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                                       AudioObjectPropertyListenerProc listener, void* clientData);

/// Converts between the host time and the sample time of a running device.
/// @param in with a valid host time, sample time, or both
/// @param out in: `mFlags` says which fields are wanted; out: exactly these fields
/// @return 0; `kAudioHardwareNotRunningError` unless the device runs in this process;
///        `kAudioHardwareIllegalOperationError` if `in` has neither time; `kAudioHardwareBadObjectError` if the id is
///        not a device
BRAQ_EXPORT OSStatus AudioDeviceTranslateTime(AudioDeviceID device, const AudioTimeStamp* in, AudioTimeStamp* out);
#ifdef __cplusplus
}
#endif

/// @}
