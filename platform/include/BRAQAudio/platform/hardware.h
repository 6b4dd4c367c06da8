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

constexpr UInt32 kAudioObjectPropertyScopeGlobal = BRAQFourCharCode("glob");
constexpr UInt32 kAudioObjectPropertyElementMain = 0;

constexpr UInt32 kAudioHardwarePropertyDefaultInputDevice = BRAQFourCharCode("dIn ");
constexpr UInt32 kAudioHardwarePropertyDefaultOutputDevice = BRAQFourCharCode("dOut");
constexpr UInt32 kAudioDevicePropertyNominalSampleRate = BRAQFourCharCode("nsrt");

constexpr OSStatus kAudioHardwareUnknownPropertyError = static_cast<OSStatus>(BRAQFourCharCode("who?"));
constexpr OSStatus kAudioHardwareBadPropertySizeError = static_cast<OSStatus>(BRAQFourCharCode("!siz"));
constexpr OSStatus kAudioHardwareBadObjectError = static_cast<OSStatus>(BRAQFourCharCode("!obj"));

extern "C" {

/// Reads a property of a hardware object.
/// @param qualifierSize bytes at `qualifier`, which may be null
/// @param size in: bytes at `data`; out: bytes written
/// @return 0, `kAudioHardwareBadObjectError`, `kAudioHardwareUnknownPropertyError` or
///         `kAudioHardwareBadPropertySizeError`; nothing is written on failure. Without a default device its id is 0,
///         which is no error.
/// Any thread but an I/O thread.
OSStatus AudioObjectGetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                    UInt32 qualifierSize, const void* qualifier, UInt32* size, void* data);
}
