#pragma once

// The I/O procedures of a device: what the units of this process have rendered and are given each cycle.

#include "BRAQAudio/platform/hardware.h"

namespace braq {

/// What an I/O procedure takes part in.
enum class IODirections { playback, record, both };

/// A stretch of a device cycle, at most as long as the largest buffer size of the device.
struct IOSlice {
    UInt32 frames;
    /// Sample time, host time and rate scalar of the first frame. The device's latencies say how far from it capturing and
    /// playing lie.
    AudioTimeStamp time;
    Float64 nominalRate;          ///< of the device in this cycle, frames a second
    const AudioBufferList* input; ///< a buffer for each record channel; null for a procedure that does not record
    AudioBufferList* output;      ///< a buffer for each playback channel, silent; null for one that does not play
};

/// Called on the device's I/O thread. What it throws is caught: its slice is silent then and the log says so once.
/// @realtime
using IOProcedure = void (*)(void* context, const IOSlice& slice);

/// Names an I/O procedure; 0 is none. Not used again within a process.
using IOProcedureID = UInt64;

// All of these: any thread but an I/O thread, where they are refused with `kAudioHardwareIllegalOperationError`. All
// procedures of a process on a device run in one cycle on one thread, in the order in which they were added; what they
// play is summed. A cycle never waits for these calls.

/// Adds a procedure, stopped.
/// @return 0, or `kAudioHardwareBadObjectError`
OSStatus addIOProcedure(AudioDeviceID device, IODirections directions, IOProcedure procedure, void* context,
                        IOProcedureID* id);

/// Says at which rate a procedure would like to run that is about to be started. A device that does not run in this process
/// yet, and can have that rate without disturbing anybody, reports it as its nominal rate before this returns.
void preferRate(AudioDeviceID device, Float64 rate);

/// Has the procedure called from the next cycle on; starts the device with the first one. Harmless when repeated.
/// @return 0, what the device's driver reports, or `kAudioHardwareBadObjectError`
OSStatus startIOProcedure(AudioDeviceID device, IOProcedureID id);

/// Has it called no more; when this returns it is not running. Stops the device with the last one. Harmless when
/// repeated.
/// @return 0, also when the device is gone, or `kAudioHardwareBadObjectError`
OSStatus stopIOProcedure(AudioDeviceID device, IOProcedureID id);

/// Whether it is called: it was started, and has not been stopped since by a call, by its device or with it.
bool isIOProcedureStarted(AudioDeviceID device, IOProcedureID id);

/// As `stopIOProcedure`, and forgets it.
OSStatus removeIOProcedure(AudioDeviceID device, IOProcedureID id);

} // namespace braq
