#pragma once

#include <cstddef>
#include <cstdint>

/// @addtogroup records
/// @{

// The records and scalar types of the platform interface. Their sizes and field orders are part of that interface and
// are checked below. A four-character code holds its first character in the most significant byte.

using UInt8 = std::uint8_t;
using SInt16 = std::int16_t;
using UInt16 = std::uint16_t;
using SInt32 = std::int32_t;
using UInt32 = std::uint32_t;
using SInt64 = std::int64_t;
using UInt64 = std::uint64_t;
using Float32 = float;
using Float64 = double;

/// Result of a platform call; 0 is success.
using OSStatus = SInt32;

/// An invalid argument, of any call.
constexpr OSStatus kAudio_ParamError = -50;

/// Id of a hardware object; 0 is no object.
using AudioObjectID = UInt32;
using AudioDeviceID = AudioObjectID;

/// A four-character code as a number: 'l','p','c','m' becomes 0x6C70636D.
constexpr UInt32 BRAQFourCharCode(const char (&code)[5]) {
    return (UInt32{static_cast<unsigned char>(code[0])} << 24) | (UInt32{static_cast<unsigned char>(code[1])} << 16) |
           (UInt32{static_cast<unsigned char>(code[2])} << 8) | UInt32{static_cast<unsigned char>(code[3])};
}

/// An audio stream format.
struct AudioStreamBasicDescription {
    Float64 mSampleRate; ///< frames per second; 0 if unknown
    UInt32 mFormatID;    ///< four-character code of the coding
    UInt32 mFormatFlags;
    UInt32 mBytesPerPacket;
    UInt32 mFramesPerPacket;
    UInt32 mBytesPerFrame; ///< bytes of one frame in one buffer: all channels if interleaved, else one
    UInt32 mChannelsPerFrame;
    UInt32 mBitsPerChannel;
    UInt32 mReserved;
};
static_assert(sizeof(AudioStreamBasicDescription) == 40);

/// One block of samples: one channel, or several interleaved.
struct AudioBuffer {
    UInt32 mNumberChannels; ///< channels interleaved in mData
    UInt32 mDataByteSize;
    void* mData;
};
static_assert(sizeof(AudioBuffer) == 16);

/// A count of buffers, followed by that many buffers. The record is allocated with room for all of them.
struct AudioBufferList {
    UInt32 mNumberBuffers;
    AudioBuffer mBuffers[1]; ///< mNumberBuffers of them
};
static_assert(offsetof(AudioBufferList, mBuffers) == 8);

/// Bytes of a list with `bufferCount` buffers, at least 1.
constexpr std::size_t AudioBufferListByteSize(UInt32 bufferCount) {
    return offsetof(AudioBufferList, mBuffers) + bufferCount * sizeof(AudioBuffer);
}

/// A SMPTE time code.
struct SMPTETime {
    SInt16 mSubframes;
    SInt16 mSubframeDivisor;
    UInt32 mCounter;
    UInt32 mType;
    UInt32 mFlags;
    SInt16 mHours;
    SInt16 mMinutes;
    SInt16 mSeconds;
    SInt16 mFrames;
};
static_assert(sizeof(SMPTETime) == 24);

// Which fields of an AudioTimeStamp are valid.
constexpr UInt32 kAudioTimeStampSampleTimeValid = 1;
constexpr UInt32 kAudioTimeStampHostTimeValid = 2;
constexpr UInt32 kAudioTimeStampRateScalarValid = 4;
constexpr UInt32 kAudioTimeStampWordClockTimeValid = 8;
constexpr UInt32 kAudioTimeStampSMPTETimeValid = 16;

/// One moment on several clocks.
struct AudioTimeStamp {
    Float64 mSampleTime; ///< frames of the device, counted from its start
    UInt64 mHostTime;    ///< nanoseconds of CLOCK_MONOTONIC
    Float64 mRateScalar; ///< length of a frame in host time, relative to the nominal rate
    UInt64 mWordClockTime;
    SMPTETime mSMPTETime;
    UInt32 mFlags; ///< kAudioTimeStamp…Valid of the valid fields
    UInt32 mReserved;
};
static_assert(sizeof(AudioTimeStamp) == 64);

/// The range of the values that something may have.
struct AudioValueRange {
    Float64 mMinimum;
    Float64 mMaximum;
    bool operator==(const AudioValueRange&) const = default;
};
static_assert(sizeof(AudioValueRange) == 16);

/// A value of one type and room for its translation into another.
struct AudioValueTranslation {
    void* mInputData;
    UInt32 mInputDataSize;
    void* mOutputData;
    UInt32 mOutputDataSize;
};
static_assert(sizeof(AudioValueTranslation) == 32);

constexpr UInt32 kAudioFormatLinearPCM = BRAQFourCharCode("lpcm");
constexpr UInt32 kAudioFormatAppleLossless = BRAQFourCharCode("alac");
constexpr UInt32 kAudioFormatMPEG4AAC = BRAQFourCharCode("aac ");

constexpr UInt32 kAudioFormatFlagIsFloat = 1;
constexpr UInt32 kAudioFormatFlagIsBigEndian = 2;
constexpr UInt32 kAudioFormatFlagIsSignedInteger = 4;
constexpr UInt32 kAudioFormatFlagIsPacked = 8;
constexpr UInt32 kAudioFormatFlagIsAlignedHigh = 16;
constexpr UInt32 kAudioFormatFlagIsNonInterleaved = 32;

/// @}
