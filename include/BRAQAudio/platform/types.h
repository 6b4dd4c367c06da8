#pragma once

#include "BRAQAudio/platform/export.h"

#ifdef __cplusplus
#include <cstddef>
#include <cstdint>
#else
#include <stddef.h>
#include <stdint.h>
#endif

/// @addtogroup records
/// @{

// The records and scalar types of the platform interface, for C11 and C++. Their sizes and field orders are part of that interface and
// are checked below. A four-character code holds its first character in the most significant byte.

typedef uint8_t UInt8;
typedef int16_t SInt16;
typedef uint16_t UInt16;
typedef int32_t SInt32;
typedef uint32_t UInt32;
typedef int64_t SInt64;
typedef uint64_t UInt64;
typedef float Float32;
typedef double Float64;

/// Result of a platform call; 0 is success.
typedef SInt32 OSStatus;

/// A four-character code as a number: BRAQ_FOURCC('l', 'p', 'c', 'm') is 0x6C70636D, 'lpcm' in short.
#define BRAQ_FOURCC(first, second, third, fourth) ((first) << 24 | (second) << 16 | (third) << 8 | (fourth))

/// Declares a number of the interface: in C++ a constant of its type, in C an enumeration constant, so that it can be a
/// case label and an initialiser in both.
#ifdef __cplusplus
#define BRAQ_CONSTANT(type, name, value) constexpr type name = value
#else
#define BRAQ_CONSTANT(type, name, value) enum { name = (value) }
#endif

/// An invalid argument, of any call.
BRAQ_CONSTANT(OSStatus, kAudio_ParamError, -50);

/// Id of a hardware object; 0 is no object.
typedef UInt32 AudioObjectID;
typedef AudioObjectID AudioDeviceID;

#ifdef __cplusplus
/// A four-character code as a number, from a literal of four characters. C++ only.
constexpr UInt32 BRAQFourCharCode(const char (&code)[5]) {
    return (UInt32{static_cast<unsigned char>(code[0])} << 24) | (UInt32{static_cast<unsigned char>(code[1])} << 16) |
           (UInt32{static_cast<unsigned char>(code[2])} << 8) | UInt32{static_cast<unsigned char>(code[3])};
}
#endif

/// An audio stream format.
typedef struct AudioStreamBasicDescription {
    Float64 mSampleRate; ///< frames per second; 0 if unknown
    UInt32 mFormatID;    ///< four-character code of the coding
    UInt32 mFormatFlags;
    UInt32 mBytesPerPacket;
    UInt32 mFramesPerPacket;
    UInt32 mBytesPerFrame; ///< bytes of one frame in one buffer: all channels if interleaved, else one
    UInt32 mChannelsPerFrame;
    UInt32 mBitsPerChannel;
    UInt32 mReserved;
} AudioStreamBasicDescription;
static_assert(sizeof(AudioStreamBasicDescription) == 40, "part of the interface");

/// One block of samples: one channel, or several interleaved.
typedef struct AudioBuffer {
    UInt32 mNumberChannels; ///< channels interleaved in mData
    UInt32 mDataByteSize;
    void* mData;
} AudioBuffer;
static_assert(sizeof(AudioBuffer) == 16, "part of the interface");

/// A count of buffers, followed by that many buffers. The record is allocated with room for all of them.
typedef struct AudioBufferList {
    UInt32 mNumberBuffers;
    AudioBuffer mBuffers[1]; ///< mNumberBuffers of them
} AudioBufferList;
static_assert(offsetof(AudioBufferList, mBuffers) == 8, "part of the interface");

/// Bytes of a list with `bufferCount` buffers, at least 1.
BRAQ_INLINE size_t AudioBufferListByteSize(UInt32 bufferCount) {
    return offsetof(AudioBufferList, mBuffers) + bufferCount * sizeof(AudioBuffer);
}

/// A SMPTE time code.
typedef struct SMPTETime {
    SInt16 mSubframes;
    SInt16 mSubframeDivisor;
    UInt32 mCounter;
    UInt32 mType;
    UInt32 mFlags;
    SInt16 mHours;
    SInt16 mMinutes;
    SInt16 mSeconds;
    SInt16 mFrames;
} SMPTETime;
static_assert(sizeof(SMPTETime) == 24, "part of the interface");

// Which fields of an AudioTimeStamp are valid.
BRAQ_CONSTANT(UInt32, kAudioTimeStampSampleTimeValid, 1);
BRAQ_CONSTANT(UInt32, kAudioTimeStampHostTimeValid, 2);
BRAQ_CONSTANT(UInt32, kAudioTimeStampRateScalarValid, 4);
BRAQ_CONSTANT(UInt32, kAudioTimeStampWordClockTimeValid, 8);
BRAQ_CONSTANT(UInt32, kAudioTimeStampSMPTETimeValid, 16);

/// One moment on several clocks.
typedef struct AudioTimeStamp {
    Float64 mSampleTime; ///< frames of the device, counted from its start
    UInt64 mHostTime;    ///< nanoseconds of CLOCK_MONOTONIC
    Float64 mRateScalar; ///< length of a frame in host time, relative to the nominal rate
    UInt64 mWordClockTime;
    SMPTETime mSMPTETime;
    UInt32 mFlags; ///< kAudioTimeStamp…Valid of the valid fields
    UInt32 mReserved;
} AudioTimeStamp;
static_assert(sizeof(AudioTimeStamp) == 64, "part of the interface");

/// The range of the values that something may have.
typedef struct AudioValueRange {
    Float64 mMinimum;
    Float64 mMaximum;
#ifdef __cplusplus
    bool operator==(const AudioValueRange&) const = default;
#endif
} AudioValueRange;
static_assert(sizeof(AudioValueRange) == 16, "part of the interface");

/// A value of one type and room for its translation into another.
typedef struct AudioValueTranslation {
    void* mInputData;
    UInt32 mInputDataSize;
    void* mOutputData;
    UInt32 mOutputDataSize;
} AudioValueTranslation;
static_assert(sizeof(AudioValueTranslation) == 32, "part of the interface");

BRAQ_CONSTANT(UInt32, kAudioFormatLinearPCM, BRAQ_FOURCC('l', 'p', 'c', 'm'));
BRAQ_CONSTANT(UInt32, kAudioFormatAppleLossless, BRAQ_FOURCC('a', 'l', 'a', 'c'));
BRAQ_CONSTANT(UInt32, kAudioFormatMPEG4AAC, BRAQ_FOURCC('a', 'a', 'c', ' '));

BRAQ_CONSTANT(UInt32, kAudioFormatFlagIsFloat, 1);
BRAQ_CONSTANT(UInt32, kAudioFormatFlagIsBigEndian, 2);
BRAQ_CONSTANT(UInt32, kAudioFormatFlagIsSignedInteger, 4);
BRAQ_CONSTANT(UInt32, kAudioFormatFlagIsPacked, 8);
BRAQ_CONSTANT(UInt32, kAudioFormatFlagIsAlignedHigh, 16);
BRAQ_CONSTANT(UInt32, kAudioFormatFlagIsNonInterleaved, 32);

/// @}
