#pragma once

// The I/O procedures of a device: what the units of this process play and record in each cycle.

#include "BRAQAudio/platform/hardware.h"

namespace braq {

/// The directions of an I/O procedure.
enum class IODirections { playback, record, both };

/// A slice of a device cycle, at most the largest buffer size of the device.
struct IOSlice {
    UInt32 frames;
    /// Sample time, host time and rate scalar of the first frame. Its distance from capture and playback is in the
    /// device's latencies.
    AudioTimeStamp time;
    Float64 nominalRate;          ///< of the device in this cycle, frames per second
    const AudioBufferList* input; ///< one buffer per record channel; null for a procedure that does not record
    AudioBufferList* output;      ///< one buffer per playback channel, silent; null for a procedure that does not play
    UInt64 passedOverFrames = 0;  ///< before this slice, see `DeviceCycle`
    UInt64 lateFrames = 0;        ///< likewise
};

/// Called on the device's I/O thread. If it throws, its slice is silent; this is logged once.
/// @realtime
using IOProcedure = void (*)(void* context, const IOSlice& slice);

/// Id of an I/O procedure; 0 is none. Never reused within a process.
using IOProcedureID = UInt64;

// Any thread but an I/O thread, where these return `kAudioHardwareIllegalOperationError`. All procedures of a process
// on a device run in one cycle on one thread, in the order in which they were added; their output is mixed. A cycle
// never waits for these calls.

/// Adds a stopped procedure.
/// @return 0, or `kAudioHardwareBadObjectError`
OSStatus addIOProcedure(AudioDeviceID device, IODirections directions, IOProcedure procedure, void* context,
                        IOProcedureID* id);

/// States the preferred rate of a procedure that is about to be started. If the device does not run in this process yet
/// and can change to that rate without disturbing anybody, it reports the rate as its nominal rate before this returns.
void preferRate(AudioDeviceID device, Float64 rate);

/// Starts the procedure: it is called from the next cycle on. The first procedure starts the device. Idempotent.
/// @return 0, the error of the device's driver, or `kAudioHardwareBadObjectError`
OSStatus startIOProcedure(AudioDeviceID device, IOProcedureID id);

/// Stops the procedure: when this returns, it is not running. The last procedure stops the device. Idempotent.
/// @return 0, also if the device was removed, or `kAudioHardwareBadObjectError`
OSStatus stopIOProcedure(AudioDeviceID device, IOProcedureID id);

/// Stops the procedure until it is started again or stopped, without stopping the device for the lack of it. When this
/// returns, it is not running.
/// @return 0, also if the device was removed, or `kAudioHardwareBadObjectError`
OSStatus suspendIOProcedure(AudioDeviceID device, IOProcedureID id);

/// Whether it runs: it was started and not stopped since, by a call, by its device or with it.
bool isIOProcedureStarted(AudioDeviceID device, IOProcedureID id);

/// Stops and removes the procedure, otherwise like `stopIOProcedure`.
OSStatus removeIOProcedure(AudioDeviceID device, IOProcedureID id);

} // namespace braq
