#pragma once

// Audio units: things that deliver frames when they are asked for them; and graphs of units.

#include "BRAQAudio/platform/channels.h"
#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/types.h"

/// What a component is; in a search, 0 matches anything.
struct AudioComponentDescription {
    UInt32 componentType;
    UInt32 componentSubType;
    UInt32 componentManufacturer;
    UInt32 componentFlags;
    UInt32 componentFlagsMask;
};
static_assert(sizeof(AudioComponentDescription) == 20);

constexpr UInt32 kAudioUnitType_Output = BRAQFourCharCode("auou");
constexpr UInt32 kAudioUnitSubType_HALOutput =
    BRAQFourCharCode("ahal"); ///< plays on a device, records from it, or both
constexpr UInt32 kAudioUnitSubType_DefaultOutput = BRAQFourCharCode("def "); ///< the same, to play with
constexpr UInt32 kAudioUnitType_FormatConverter = BRAQFourCharCode("aufc");
constexpr UInt32 kAudioUnitSubType_Varispeed = BRAQFourCharCode("vari");     ///< plays faster or slower
constexpr UInt32 kAudioUnitManufacturer_Platform = BRAQFourCharCode("appl"); ///< made by the platform itself

/// A kind of unit; lives as long as the process.
using AudioComponent = const struct OpaqueAudioComponent*;
/// A checked reference to a unit: one that is null or was disposed of answers `kAudio_ParamError` to every call.
using AudioUnit = struct OpaqueAudioUnit*;
using AudioComponentInstance = AudioUnit;

using AudioUnitPropertyID = UInt32;
using AudioUnitParameterID = UInt32;
using AudioUnitParameterValue = Float32;
using AudioUnitScope = UInt32;
using AudioUnitElement = UInt32;
using AudioUnitRenderActionFlags = UInt32;

constexpr AudioUnitScope kAudioUnitScope_Global = 0;
constexpr AudioUnitScope kAudioUnitScope_Input = 1;
constexpr AudioUnitScope kAudioUnitScope_Output = 2;

// On a device unit element 0 is what is played and element 1 what is recorded.
constexpr AudioUnitPropertyID kAudioUnitProperty_MakeConnection = 1; ///< input: AudioUnitConnection
constexpr AudioUnitPropertyID kAudioUnitProperty_SampleRate = 2;     ///< input or output: Float64
constexpr AudioUnitPropertyID kAudioUnitProperty_StreamFormat = 8;   ///< input or output
constexpr AudioUnitPropertyID kAudioUnitProperty_ElementCount = 11;  ///< UInt32
/// Global: Float64 seconds. Of a device unit, from the host time in the time stamp of a frame that its callback renders, or that
/// the unit pulls from its source, to when that frame is heard; of one that only records, from when a frame reached the device
/// to the host time it is delivered with. It is what the device says of itself now: latency, safety offset and the largest
/// latency of its streams; 0 without a device. What converters look ahead is not in it, because the time stamps account for
/// that, at a varispeed unit too, whose own answer is 0. Nobody is told when it changes: those who listen to the device's
/// `kAudioDevicePropertyLatency` are.
constexpr AudioUnitPropertyID kAudioUnitProperty_Latency = 12;
constexpr AudioUnitPropertyID kAudioUnitProperty_MaximumFramesPerSlice = 14; ///< global: UInt32
constexpr AudioUnitPropertyID kAudioUnitProperty_LastRenderError = 22;       ///< global: OSStatus, 0 once it was read
constexpr AudioUnitPropertyID kAudioUnitProperty_SetRenderCallback = 23;     ///< input: AURenderCallbackStruct
// Of device units.
constexpr AudioUnitPropertyID kAudioOutputUnitProperty_CurrentDevice = 2000; ///< global: AudioDeviceID, 0: the default
constexpr AudioUnitPropertyID kAudioOutputUnitProperty_IsRunning = 2001;     ///< global: UInt32
constexpr AudioUnitPropertyID kAudioOutputUnitProperty_ChannelMap =
    2002;                                                               ///< SInt32[]: device channel of each, -1: none
constexpr AudioUnitPropertyID kAudioOutputUnitProperty_EnableIO = 2003; ///< input 1, output 0: UInt32
constexpr AudioUnitPropertyID kAudioOutputUnitProperty_SetInputCallback = 2005;      ///< global: AURenderCallbackStruct
constexpr AudioUnitPropertyID kAudioOutputUnitProperty_HasIO = 2006;                 ///< input 1, output 0: UInt32
constexpr AudioUnitPropertyID kAudioOutputUnitProperty_StartTimestampsAtZero = 2007; ///< global: UInt32
// Of device units too, and settable whenever the unit does not run.
/// Input 0: BRAQChannelPosition[], one for each channel that is played. Each is heard from the loudspeaker of its position; where the
/// device has none, from those beside it. Unless they are set, those of `BRAQChannelPosition`'s table for so many channels, as
/// long as each finds its loudspeaker or the device has fewer channels; otherwise it is channel to channel. None takes them
/// back, and so does a format of another channel count. One channel is heard from left and right in any case, and a channel
/// map is stronger.
constexpr AudioUnitPropertyID kBRAQOutputUnitProperty_ChannelPositions = BRAQFourCharCode("bqcp");
/// Input 0: UInt32. 0: where channels are mixed for a device that lacks theirs, all are so much softer that full scale in each of them
/// is full scale again. 1: front channels keep their level, and the sums can be beyond full scale.
constexpr AudioUnitPropertyID kBRAQOutputUnitProperty_UnscaledDownmix = BRAQFourCharCode("bqud");

constexpr AudioUnitParameterID kVarispeedParam_PlaybackRate = 0; ///< global, from 1/32 to 32
constexpr AudioUnitParameterID kHALOutputParam_Volume = 14;      ///< global, linear gain from 0

/// Set by a callback that has delivered nothing but silence. A hint; the samples count.
constexpr AudioUnitRenderActionFlags kAudioUnitRenderAction_OutputIsSilence = 1U << 4;

constexpr OSStatus kAudioUnitErr_InvalidProperty = -10879;
constexpr OSStatus kAudioUnitErr_InvalidParameter = -10878;
constexpr OSStatus kAudioUnitErr_InvalidElement = -10877;
constexpr OSStatus kAudioUnitErr_NoConnection = -10876;
constexpr OSStatus kAudioUnitErr_FailedInitialization = -10875;
constexpr OSStatus kAudioUnitErr_TooManyFramesToProcess = -10874;
constexpr OSStatus kAudioUnitErr_FormatNotSupported = -10868;
constexpr OSStatus kAudioUnitErr_Uninitialized = -10867;
constexpr OSStatus kAudioUnitErr_InvalidScope = -10866;
constexpr OSStatus kAudioUnitErr_PropertyNotWritable = -10865;
constexpr OSStatus kAudioUnitErr_CannotDoInCurrentContext = -10863;
constexpr OSStatus kAudioUnitErr_InvalidPropertyValue = -10851;
constexpr OSStatus kAudioUnitErr_PropertyNotInUse = -10850;
constexpr OSStatus kAudioUnitErr_Initialized = -10849;

/// Delivers frames of a stream, or takes part in a cycle in which they were captured. It must not lock, allocate, wait, or
/// touch a file. What it throws is caught: what was being rendered is silence then.
/// @param flags in and out
/// @param time of the first frame
/// @param bus element of the unit that asks
/// @param list room for `frames` frames in the unit's format, silent; null when frames were captured: these are fetched with
///        `AudioUnitRender`
/// @return 0; anything else makes the frames silence and is kept as the unit's last render error
/// @realtime
using AURenderCallback = OSStatus (*)(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time,
                                      UInt32 bus, UInt32 frames, AudioBufferList* list);

/// A render callback and what it is called with.
struct AURenderCallbackStruct {
    AURenderCallback inputProc;
    void* inputProcRefCon;
};
static_assert(sizeof(AURenderCallbackStruct) == 16);

/// What an input of a unit pulls from.
struct AudioUnitConnection {
    AudioUnit sourceAudioUnit; ///< null: take the connection back
    UInt32 sourceOutputNumber;
    UInt32 destInputNumber;
};

/// Called after a property of a unit has changed, on the one notification thread of the process, with no lock held. Only
/// `kAudioOutputUnitProperty_IsRunning` moves by itself; inside the listener it reads as that change has left it.
using AudioUnitPropertyListenerProc = void (*)(void* refCon, AudioUnit unit, AudioUnitPropertyID property,
                                               AudioUnitScope scope, AudioUnitElement element);

extern "C" {

// Unless something else is said: any thread but an I/O thread, where these answer `kAudioUnitErr_CannotDoInCurrentContext`.

/// @param after null to begin
/// @return the next component that fits; null when there is none left
BRAQ_EXPORT AudioComponent AudioComponentFindNext(AudioComponent after, const AudioComponentDescription* description);
/// @return 0 or `kAudio_ParamError`
BRAQ_EXPORT OSStatus AudioComponentInstanceNew(AudioComponent component, AudioComponentInstance* instance);
/// Uninitialises the unit and lets it go. Not while it is part of a graph or another unit's source.
BRAQ_EXPORT OSStatus AudioComponentInstanceDispose(AudioComponentInstance instance);

/// Gets everything ready for rendering. Formats, slice limits, callbacks, connections and `EnableIO` are fixed from then on:
/// setting them answers `kAudioUnitErr_Initialized`, and `kAudioUnitErr_CannotDoInCurrentContext` while the unit runs.
/// Harmless when repeated.
/// @return 0, `kAudioUnitErr_FormatNotSupported`, or `kAudioUnitErr_FailedInitialization` when there is no such device
BRAQ_EXPORT OSStatus AudioUnitInitialize(AudioUnit unit);
/// Undoes it, after stopping. When this returns, no callback and no listener of the unit is running on another thread, and none
/// will until it is initialised again.
BRAQ_EXPORT OSStatus AudioUnitUninitialize(AudioUnit unit);

/// @param size in: bytes at `data`; out: bytes written. A scalar wants exactly its size.
/// @return 0, `kAudioUnitErr_InvalidProperty`, `…InvalidScope`, `…InvalidElement`, `…InvalidPropertyValue` for a wrong size
BRAQ_EXPORT OSStatus AudioUnitGetProperty(AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope,
                                          AudioUnitElement element, void* data, UInt32* size);
/// @return as `AudioUnitGetProperty`; `kAudioUnitErr_PropertyNotWritable`, `…Initialized` and `…FormatNotSupported` too
BRAQ_EXPORT OSStatus AudioUnitSetProperty(AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope,
                                          AudioUnitElement element, const void* data, UInt32 size);

/// The same listener with the same client data and property is there only once.
BRAQ_EXPORT OSStatus AudioUnitAddPropertyListener(AudioUnit unit, AudioUnitPropertyID property,
                                                  AudioUnitPropertyListenerProc listener, void* refCon);
/// When this returns it is not running on another thread and will not be called again.
BRAQ_EXPORT OSStatus AudioUnitRemovePropertyListenerWithUserData(AudioUnit unit, AudioUnitPropertyID property,
                                                                 AudioUnitPropertyListenerProc listener, void* refCon);

/// @realtime Any thread.
BRAQ_EXPORT OSStatus AudioUnitGetParameter(AudioUnit unit, AudioUnitParameterID parameter, AudioUnitScope scope,
                                           AudioUnitElement element, AudioUnitParameterValue* value);
/// Heard from the next slice on, without a step.
/// @param bufferOffset is not used: a parameter holds for whole slices
/// @return 0, `kAudioUnitErr_InvalidParameter`, `…InvalidScope`, `…InvalidElement`, or `…InvalidPropertyValue` for a value out of
///         its range
/// @realtime Any thread.
BRAQ_EXPORT OSStatus AudioUnitSetParameter(AudioUnit unit, AudioUnitParameterID parameter, AudioUnitScope scope,
                                           AudioUnitElement element, AudioUnitParameterValue value,
                                           UInt32 bufferOffset);

/// Has a unit deliver frames: a varispeed unit at any time (one thread at a time); a device unit what was captured, element 1, from
/// inside its input callback.
/// @param flags may be null
/// @param list one buffer a channel, or one for all of an interleaved format, each with room for the unit's slice limit
///        (`mDataByteSize` is not looked at, so that a list can be used again and again); where `mData` is null it is pointed
///        at memory of the unit. Byte sizes are set to what was rendered.
/// @return 0, `kAudioUnitErr_Uninitialized`, `…TooManyFramesToProcess`, `…InvalidElement`, `…CannotDoInCurrentContext`, or
///         `kAudio_ParamError` for a list of another shape
/// @realtime
BRAQ_EXPORT OSStatus AudioUnitRender(AudioUnit unit, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time,
                                     UInt32 element, UInt32 frames, AudioBufferList* list);

/// Joins the device's cycle. Harmless when repeated.
/// @return 0, `kAudioUnitErr_Uninitialized`, or what the device reports
BRAQ_EXPORT OSStatus AudioOutputUnitStart(AudioUnit unit);
/// Callbacks end at once; what was pulled from them and not yet heard is rendered. Returns when that is done and the unit
/// has left the cycle, or a moment after it should have been when the device has stood still. Harmless when repeated.
BRAQ_EXPORT OSStatus AudioOutputUnitStop(AudioUnit unit);
}
