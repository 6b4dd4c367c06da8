#pragma once

// Audio units: objects that deliver frames when they are pulled; and graphs of units. For C11 and C++.

#include "BRAQAudio/platform/channels.h"
#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/types.h"

/// @addtogroup audiounits
/// @{

/// A kind of component. In a search, 0 matches anything.
typedef struct AudioComponentDescription {
    UInt32 componentType;
    UInt32 componentSubType;
    UInt32 componentManufacturer;
    UInt32 componentFlags;
    UInt32 componentFlagsMask;
} AudioComponentDescription;
static_assert(sizeof(AudioComponentDescription) == 20, "part of the interface");

BRAQ_CONSTANT(UInt32, kAudioUnitType_Output, BRAQ_FOURCC('a', 'u', 'o', 'u'));
BRAQ_CONSTANT(UInt32, kAudioUnitSubType_HALOutput,
              BRAQ_FOURCC('a', 'h', 'a', 'l')); ///< plays on a device, records from it, or both
BRAQ_CONSTANT(UInt32, kAudioUnitSubType_DefaultOutput, BRAQ_FOURCC('d', 'e', 'f', ' ')); ///< the same, for playback
BRAQ_CONSTANT(UInt32, kAudioUnitType_FormatConverter, BRAQ_FOURCC('a', 'u', 'f', 'c'));
BRAQ_CONSTANT(UInt32, kAudioUnitSubType_Varispeed, BRAQ_FOURCC('v', 'a', 'r', 'i')); ///< plays faster or slower
BRAQ_CONSTANT(UInt32, kAudioUnitManufacturer_Platform,
              BRAQ_FOURCC('a', 'p', 'p', 'l')); ///< made by the platform itself

/// A kind of unit; exists as long as the process.
typedef const struct OpaqueAudioComponent* AudioComponent;
/// A checked reference to a unit. Every call on a null or disposed unit returns `kAudio_ParamError`.
typedef struct OpaqueAudioUnit* AudioUnit;
typedef AudioUnit AudioComponentInstance;

typedef UInt32 AudioUnitPropertyID;
typedef UInt32 AudioUnitParameterID;
typedef Float32 AudioUnitParameterValue;
typedef UInt32 AudioUnitScope;
typedef UInt32 AudioUnitElement;
typedef UInt32 AudioUnitRenderActionFlags;

BRAQ_CONSTANT(AudioUnitScope, kAudioUnitScope_Global, 0);
BRAQ_CONSTANT(AudioUnitScope, kAudioUnitScope_Input, 1);
BRAQ_CONSTANT(AudioUnitScope, kAudioUnitScope_Output, 2);

// On a device unit, element 0 is playback and element 1 is recording.
BRAQ_CONSTANT(AudioUnitPropertyID, kAudioUnitProperty_MakeConnection, 1); ///< input: AudioUnitConnection
BRAQ_CONSTANT(AudioUnitPropertyID, kAudioUnitProperty_SampleRate, 2);     ///< input or output: Float64
BRAQ_CONSTANT(AudioUnitPropertyID, kAudioUnitProperty_StreamFormat, 8);   ///< AudioStreamBasicDescription
BRAQ_CONSTANT(AudioUnitPropertyID, kAudioUnitProperty_ElementCount, 11);  ///< UInt32
/// Global: Float64 seconds. Of a device unit that plays: from the host time in the time stamp of a frame, as its
/// callback renders it or the unit pulls it, to the moment the frame is heard. Of a unit that only records: from the
/// moment a frame reached the device to the host time it is delivered with. It is the device's own figure now: latency,
/// safety offset and the largest latency of its streams; 0 without a device. The lookahead of converters is not
/// included: the time stamps account for it, at a varispeed unit too, whose own latency is 0. Changes are not notified;
/// listen to the device's `kAudioDevicePropertyLatency`.
BRAQ_CONSTANT(AudioUnitPropertyID, kAudioUnitProperty_Latency, 12);
BRAQ_CONSTANT(AudioUnitPropertyID, kAudioUnitProperty_MaximumFramesPerSlice, 14); ///< global: UInt32
BRAQ_CONSTANT(AudioUnitPropertyID, kAudioUnitProperty_LastRenderError, 22); ///< global: OSStatus, reset to 0 when read
BRAQ_CONSTANT(AudioUnitPropertyID, kAudioUnitProperty_SetRenderCallback, 23); ///< input: AURenderCallbackStruct
// Properties of device units.
BRAQ_CONSTANT(AudioUnitPropertyID, kAudioOutputUnitProperty_CurrentDevice,
              2000);                                                          ///< global: AudioDeviceID, 0: the default
BRAQ_CONSTANT(AudioUnitPropertyID, kAudioOutputUnitProperty_IsRunning, 2001); ///< global: UInt32
BRAQ_CONSTANT(AudioUnitPropertyID, kAudioOutputUnitProperty_ChannelMap,
              2002); ///< SInt32[]: device channel of each, -1: none
BRAQ_CONSTANT(AudioUnitPropertyID, kAudioOutputUnitProperty_EnableIO, 2003);         ///< input 1, output 0: UInt32
BRAQ_CONSTANT(AudioUnitPropertyID, kAudioOutputUnitProperty_SetInputCallback, 2005); ///< global: AURenderCallbackStruct
BRAQ_CONSTANT(AudioUnitPropertyID, kAudioOutputUnitProperty_HasIO, 2006);            ///< input 1, output 0: UInt32
BRAQ_CONSTANT(AudioUnitPropertyID, kAudioOutputUnitProperty_StartTimestampsAtZero, 2007); ///< global: UInt32
// More properties of device units, settable while the unit does not run.
/// Input 0: BRAQChannelPosition[], one for each playback channel. Each channel is routed to the loudspeaker of its
/// position; if the device has none, to those beside it. Unless set: `BRAQChannelPosition`'s table for the channel
/// count, provided that each channel finds its loudspeaker or the device has fewer channels; otherwise channel to
/// channel. An empty array, or a format with another channel count, restores that. A single channel always goes to left
/// and right. A channel map takes precedence.
BRAQ_CONSTANT(AudioUnitPropertyID, kBRAQOutputUnitProperty_ChannelPositions, BRAQ_FOURCC('b', 'q', 'c', 'p'));
/// Input 0: UInt32. 0: where channels are mixed because the device lacks theirs, all are scaled so that full scale in
/// every channel cannot exceed full scale. 1: front channels keep their level, and the sums can exceed full scale.
BRAQ_CONSTANT(AudioUnitPropertyID, kBRAQOutputUnitProperty_UnscaledDownmix, BRAQ_FOURCC('b', 'q', 'u', 'd'));
/// Global, read-only: AudioDeviceID of the device that an initialised unit is on now, and 0 while that device is gone.
/// Notified when it changes: a unit without a device goes where the default device goes and where the user moves it. Read
/// inside a listener, it is the value of that change.
BRAQ_CONSTANT(AudioUnitPropertyID, kBRAQOutputUnitProperty_PresentDevice, BRAQ_FOURCC('b', 'q', 'p', 'd'));
/// Global, read-only: UInt64, frames at the unit's rate that went missing since it was initialised, because the process or
/// the device was held up. Notified when there may be more. Readable on any thread, at any time.
BRAQ_CONSTANT(AudioUnitPropertyID, kBRAQOutputUnitProperty_LostFrames, BRAQ_FOURCC('b', 'q', 'l', 'f'));

/// Property of varispeed units. Global: UInt32, settable at any time. 0: the pitch changes with the rate, as with a tape.
/// 1: the pitch stays; the rate can then be from 1/4 to 4, and there can be 16 channels at most. Setting it fails with
/// `kAudioUnitErr_InvalidPropertyValue` or `kAudioUnitErr_FormatNotSupported` if rate or channels do not allow it.
BRAQ_CONSTANT(AudioUnitPropertyID, kBRAQVarispeedProperty_KeepsPitch, BRAQ_FOURCC('b', 'q', 'k', 'p'));

BRAQ_CONSTANT(AudioUnitParameterID, kVarispeedParam_PlaybackRate, 0); ///< global, from 1/32 to 32
BRAQ_CONSTANT(AudioUnitParameterID, kHALOutputParam_Volume, 14);      ///< global, linear gain from 0

/// Set by a callback that has delivered only silence. A hint; the samples are used all the same.
BRAQ_CONSTANT(AudioUnitRenderActionFlags, kAudioUnitRenderAction_OutputIsSilence, 1U << 4);

BRAQ_CONSTANT(OSStatus, kAudioUnitErr_InvalidProperty, -10879);
BRAQ_CONSTANT(OSStatus, kAudioUnitErr_InvalidParameter, -10878);
BRAQ_CONSTANT(OSStatus, kAudioUnitErr_InvalidElement, -10877);
BRAQ_CONSTANT(OSStatus, kAudioUnitErr_NoConnection, -10876);
BRAQ_CONSTANT(OSStatus, kAudioUnitErr_FailedInitialization, -10875);
BRAQ_CONSTANT(OSStatus, kAudioUnitErr_TooManyFramesToProcess, -10874);
BRAQ_CONSTANT(OSStatus, kAudioUnitErr_FormatNotSupported, -10868);
BRAQ_CONSTANT(OSStatus, kAudioUnitErr_Uninitialized, -10867);
BRAQ_CONSTANT(OSStatus, kAudioUnitErr_InvalidScope, -10866);
BRAQ_CONSTANT(OSStatus, kAudioUnitErr_PropertyNotWritable, -10865);
BRAQ_CONSTANT(OSStatus, kAudioUnitErr_CannotDoInCurrentContext, -10863);
BRAQ_CONSTANT(OSStatus, kAudioUnitErr_InvalidPropertyValue, -10851);
BRAQ_CONSTANT(OSStatus, kAudioUnitErr_PropertyNotInUse, -10850);
BRAQ_CONSTANT(OSStatus, kAudioUnitErr_Initialized, -10849);

/// Delivers frames of a stream, or receives a cycle in which frames were captured. It must not lock, allocate, wait, or
/// touch a file. If it throws, the exception is caught and the slice is silence.
/// @param flags in and out
/// @param time of the first frame
/// @param bus element of the unit that asks
/// @param list room for `frames` frames in the unit's format, silent; null if frames were captured: fetch them with
///        `AudioUnitRender`
/// @return 0; any other value makes the slice silent and is kept as the unit's last render error
/// @realtime
typedef OSStatus (*AURenderCallback)(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time,
                                     UInt32 bus, UInt32 frames, AudioBufferList* list);

/// A render callback and its argument.
typedef struct AURenderCallbackStruct {
    AURenderCallback inputProc;
    void* inputProcRefCon;
} AURenderCallbackStruct;
static_assert(sizeof(AURenderCallbackStruct) == 16, "part of the interface");

/// What an input of a unit pulls from.
typedef struct AudioUnitConnection {
    AudioUnit sourceAudioUnit; ///< null: disconnect
    UInt32 sourceOutputNumber;
    UInt32 destInputNumber;
} AudioUnitConnection;

/// Called after a property of a unit has changed, on the notification thread of the process, with no lock held. Only
/// `kAudioOutputUnitProperty_IsRunning` changes by itself; inside the listener it reads as the state after that change.
typedef void (*AudioUnitPropertyListenerProc)(void* refCon, AudioUnit unit, AudioUnitPropertyID property,
                                              AudioUnitScope scope, AudioUnitElement element);

#ifdef __cplusplus
extern "C" {
#endif

// Unless stated otherwise: any thread but an I/O thread, where these return `kAudioUnitErr_CannotDoInCurrentContext`.

/// Finds kinds of units one after the other. Any thread.
/// @param after null to begin, else what the call before returned
/// @return the next component that matches; null if there are no more, or for a null description
BRAQ_EXPORT AudioComponent AudioComponentFindNext(AudioComponent after, const AudioComponentDescription* description);
/// Creates a unit, which belongs to the caller. `*instance` is written on success only.
/// @return 0, or `kAudio_ParamError` for null
BRAQ_EXPORT OSStatus AudioComponentInstanceNew(AudioComponent component, AudioComponentInstance* instance);
/// Uninitialises and frees the unit. Not while it is part of a graph or the source of another unit.
/// @return 0 or `kAudio_ParamError`
BRAQ_EXPORT OSStatus AudioComponentInstanceDispose(AudioComponentInstance instance);

/// Prepares everything for rendering. From then on formats, slice limits, callbacks, connections and `EnableIO` are
/// fixed: setting them returns `kAudioUnitErr_Initialized`, or `kAudioUnitErr_CannotDoInCurrentContext` while the unit
/// runs. Idempotent.
/// @return 0, `kAudioUnitErr_FormatNotSupported`, or `kAudioUnitErr_FailedInitialization` if there is no such device
BRAQ_EXPORT OSStatus AudioUnitInitialize(AudioUnit unit);
/// Stops the unit and undoes `AudioUnitInitialize`. When this returns, no callback or listener of the unit is running
/// on another thread, and none is called until it is initialised again. Idempotent.
/// @return 0 or `kAudio_ParamError`
BRAQ_EXPORT OSStatus AudioUnitUninitialize(AudioUnit unit);

/// Reads a property.
/// @param size in: bytes at `data`; out: bytes written. A scalar needs exactly its size.
/// @return 0, `kAudioUnitErr_InvalidProperty`, `…InvalidScope`, `…InvalidElement`, `…InvalidPropertyValue` for a wrong size
BRAQ_EXPORT OSStatus AudioUnitGetProperty(AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope,
                                          AudioUnitElement element, void* data, UInt32* size);
/// Changes a property. The value is copied.
/// @param size bytes at `data`; a scalar needs exactly its size
/// @return as `AudioUnitGetProperty`; also `kAudioUnitErr_PropertyNotWritable`, `…Initialized` and
///        `…FormatNotSupported`
BRAQ_EXPORT OSStatus AudioUnitSetProperty(AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope,
                                          AudioUnitElement element, const void* data, UInt32 size);

/// Calls `listener` after each change of a property. Idempotent: the same listener with the same client data and
/// property is registered only once.
/// @return 0 or `kAudio_ParamError`
BRAQ_EXPORT OSStatus AudioUnitAddPropertyListener(AudioUnit unit, AudioUnitPropertyID property,
                                                  AudioUnitPropertyListenerProc listener, void* refCon);
/// Removes a listener. When this returns, the listener is not running on another thread and is not called again.
/// @return 0, also if there is no such listener, or `kAudio_ParamError`
BRAQ_EXPORT OSStatus AudioUnitRemovePropertyListenerWithUserData(AudioUnit unit, AudioUnitPropertyID property,
                                                                 AudioUnitPropertyListenerProc listener, void* refCon);

/// Reads a parameter.
/// @return 0, `kAudioUnitErr_InvalidParameter`, `…InvalidScope` or `…InvalidElement`
/// @realtime Any thread.
BRAQ_EXPORT OSStatus AudioUnitGetParameter(AudioUnit unit, AudioUnitParameterID parameter, AudioUnitScope scope,
                                           AudioUnitElement element, AudioUnitParameterValue* value);
/// Changes a parameter. Takes effect from the next slice on, with a ramp.
/// @param bufferOffset ignored: a parameter applies to whole slices
/// @return 0, `kAudioUnitErr_InvalidParameter`, `…InvalidScope`, `…InvalidElement`, or `…InvalidPropertyValue` for a
///        value out of range
/// @realtime Any thread.
BRAQ_EXPORT OSStatus AudioUnitSetParameter(AudioUnit unit, AudioUnitParameterID parameter, AudioUnitScope scope,
                                           AudioUnitElement element, AudioUnitParameterValue value,
                                           UInt32 bufferOffset);

/// Pulls frames from a unit: from a varispeed unit at any time (one thread at a time); from a device unit the captured
/// frames, element 1, inside its input callback.
/// @param flags may be null
/// @param list one buffer per channel, or a single one for an interleaved format, each with room for the unit's slice
///        limit (`mDataByteSize` is ignored, so that a list can be reused). A null `mData` is set to memory of the
///        unit. Byte sizes are set to what was rendered.
/// @return 0, `kAudioUnitErr_Uninitialized`, `…TooManyFramesToProcess`, `…InvalidElement`, `…CannotDoInCurrentContext`,
///        or `kAudio_ParamError` for a list of another shape
/// @realtime
BRAQ_EXPORT OSStatus AudioUnitRender(AudioUnit unit, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time,
                                     UInt32 element, UInt32 frames, AudioBufferList* list);

/// Joins the device's cycle. Idempotent.
/// @return 0, `kAudioUnitErr_Uninitialized`, or what the device reports
BRAQ_EXPORT OSStatus AudioOutputUnitStart(AudioUnit unit);
/// Callbacks end at once; frames already pulled are still played. Returns when they have been heard and the unit has
/// left the cycle, or shortly after that should have happened if the device stands still. Idempotent.
/// @return 0 or `kAudio_ParamError`
BRAQ_EXPORT OSStatus AudioOutputUnitStop(AudioUnit unit);
#ifdef __cplusplus
}
#endif

/// @}
