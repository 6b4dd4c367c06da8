#pragma once

// Audio files: containers, codecs, and conversion between the file's format and the client format. For C11 and C++.

#include "BRAQAudio/platform/channels.h"
#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/foundation/CFString.h"
#include "BRAQAudio/platform/foundation/CFURL.h"
#include "BRAQAudio/platform/types.h"
#ifdef __cplusplus
#include "BRAQAudio/platform/foundation/NSURL.h"
#endif

/// @addtogroup filetypes
/// @{

/// A reference to an open file. Every call checks it: null or a disposed file returns an error status.
typedef struct OpaqueExtAudioFile* ExtAudioFileRef;
/// The container of an open file; valid as long as the file.
typedef struct OpaqueAudioFileID* AudioFileID;
/// The converter of an open file; valid as long as the file.
typedef struct OpaqueAudioConverter* AudioConverterRef;

typedef UInt32 AudioFileTypeID;
typedef UInt32 ExtAudioFilePropertyID;
typedef UInt32 AudioFilePropertyID;
typedef UInt32 AudioConverterPropertyID;

BRAQ_CONSTANT(AudioFileTypeID, kAudioFileWAVEType, BRAQ_FOURCC('W', 'A', 'V', 'E'));
BRAQ_CONSTANT(AudioFileTypeID, kAudioFileRF64Type, BRAQ_FOURCC('R', 'F', '6', '4'));
BRAQ_CONSTANT(AudioFileTypeID, kAudioFileAIFFType, BRAQ_FOURCC('A', 'I', 'F', 'F'));
BRAQ_CONSTANT(AudioFileTypeID, kAudioFileAIFCType, BRAQ_FOURCC('A', 'I', 'F', 'C'));
BRAQ_CONSTANT(AudioFileTypeID, kAudioFileCAFType, BRAQ_FOURCC('c', 'a', 'f', 'f'));
BRAQ_CONSTANT(AudioFileTypeID, kAudioFileM4AType, BRAQ_FOURCC('m', '4', 'a', 'f'));
BRAQ_CONSTANT(AudioFileTypeID, kAudioFileMPEG4Type, BRAQ_FOURCC('m', 'p', '4', 'f'));
BRAQ_CONSTANT(AudioFileTypeID, kAudioFileMP3Type, BRAQ_FOURCC('M', 'P', 'G', '3'));
BRAQ_CONSTANT(AudioFileTypeID, kAudioFileAAC_ADTSType, BRAQ_FOURCC('a', 'd', 't', 's'));
BRAQ_CONSTANT(AudioFileTypeID, kAudioFileFLACType, BRAQ_FOURCC('f', 'l', 'a', 'c'));
BRAQ_CONSTANT(AudioFileTypeID, kAudioFileNextType, BRAQ_FOURCC('N', 'e', 'X', 'T'));    ///< .au, .snd
BRAQ_CONSTANT(AudioFileTypeID, kBRAQAudioFileOggType, BRAQ_FOURCC('O', 'g', 'g', 'f')); ///< Ogg with Vorbis or Opus

BRAQ_CONSTANT(UInt32, kAudioFormatMPEGLayer3, BRAQ_FOURCC('.', 'm', 'p', '3'));
BRAQ_CONSTANT(UInt32, kAudioFormatFLAC, BRAQ_FOURCC('f', 'l', 'a', 'c'));
BRAQ_CONSTANT(UInt32, kAudioFormatOpus, BRAQ_FOURCC('o', 'p', 'u', 's'));
BRAQ_CONSTANT(UInt32, kBRAQAudioFormatVorbis, BRAQ_FOURCC('v', 'o', 'r', 'b'));

/// Replaces an existing file.
BRAQ_CONSTANT(UInt32, kAudioFileFlags_EraseFile, 1);

// Properties of an open file.
BRAQ_CONSTANT(ExtAudioFilePropertyID, kExtAudioFileProperty_FileDataFormat,
              BRAQ_FOURCC('f', 'f', 'm', 't')); ///< AudioStreamBasicDescription
BRAQ_CONSTANT(ExtAudioFilePropertyID, kExtAudioFileProperty_ClientDataFormat,
              BRAQ_FOURCC('c', 'f', 'm', 't')); ///< AudioStreamBasicDescription, settable
BRAQ_CONSTANT(ExtAudioFilePropertyID, kExtAudioFileProperty_FileLengthFrames,
              BRAQ_FOURCC('#', 'f', 'r', 'm')); ///< SInt64, file rate
BRAQ_CONSTANT(ExtAudioFilePropertyID, kExtAudioFileProperty_ClientMaxPacketSize,
              BRAQ_FOURCC('c', 'm', 'p', 's')); ///< UInt32 bytes
BRAQ_CONSTANT(ExtAudioFilePropertyID, kExtAudioFileProperty_AudioFile,
              BRAQ_FOURCC('a', 'f', 'i', 'l')); ///< AudioFileID
BRAQ_CONSTANT(ExtAudioFilePropertyID, kExtAudioFileProperty_AudioConverter,
              BRAQ_FOURCC('a', 'c', 'n', 'v')); ///< AudioConverterRef
/// BRAQChannelPosition[], one for each channel of the client format: as the file states them, or the default positions
/// of the channel count (`BRAQChannelPosition`) if the channels are mixed to another count. Empty if the file states
/// none.
BRAQ_CONSTANT(ExtAudioFilePropertyID, kBRAQExtAudioFileProperty_ChannelPositions, BRAQ_FOURCC('b', 'q', 'c', 'p'));
/// Null, set only: applies changes made to the converter.
BRAQ_CONSTANT(ExtAudioFilePropertyID, kExtAudioFileProperty_ConverterConfig, BRAQ_FOURCC('a', 'c', 'c', 'f'));

// Properties of its container.
BRAQ_CONSTANT(AudioFilePropertyID, kAudioFilePropertyFileFormat, BRAQ_FOURCC('f', 'f', 'm', 't')); ///< AudioFileTypeID
BRAQ_CONSTANT(AudioFilePropertyID, kAudioFilePropertyDataFormat,
              BRAQ_FOURCC('d', 'f', 'm', 't')); ///< AudioStreamBasicDescription
BRAQ_CONSTANT(AudioFilePropertyID, kAudioFilePropertyAudioDataPacketCount, BRAQ_FOURCC('p', 'c', 'n', 't')); ///< SInt64
BRAQ_CONSTANT(AudioFilePropertyID, kAudioFilePropertyPacketTableInfo,
              BRAQ_FOURCC('p', 'n', 'f', 'o')); ///< AudioFilePacketTableInfo
BRAQ_CONSTANT(AudioFilePropertyID, kAudioFilePropertyPacketToFrame,
              BRAQ_FOURCC('p', 'k', 'f', 'r')); ///< AudioFramePacketTranslation

// Properties of all files.
BRAQ_CONSTANT(AudioFilePropertyID, kAudioFileGlobalInfo_TypesForExtension,
              BRAQ_FOURCC('t', 'e', 'x', 't')); ///< from a CFStringRef: AudioFileTypeID[]
/// From an AudioFileTypeAndFormatID: AudioStreamBasicDescription[].
BRAQ_CONSTANT(AudioFilePropertyID, kAudioFileGlobalInfo_AvailableStreamDescriptionsForFormat,
              BRAQ_FOURCC('s', 'd', 'i', 'd'));

// Properties of its converter.
BRAQ_CONSTANT(AudioConverterPropertyID, kAudioConverterEncodeBitRate,
              BRAQ_FOURCC('b', 'r', 'a', 't')); ///< UInt32, settable
BRAQ_CONSTANT(AudioConverterPropertyID, kAudioConverterPrimeInfo,
              BRAQ_FOURCC('p', 'r', 'i', 'm')); ///< AudioConverterPrimeInfo

/// A coding in a type of file.
typedef struct AudioFileTypeAndFormatID {
    AudioFileTypeID mFileType;
    UInt32 mFormatID;
} AudioFileTypeAndFormatID;
static_assert(sizeof(AudioFileTypeAndFormatID) == 8, "part of the interface");

/// Which frames of a file's packets are audio, without priming and padding.
typedef struct AudioFilePacketTableInfo {
    SInt64 mNumberValidFrames;
    SInt32 mPrimingFrames;   ///< priming, before them
    SInt32 mRemainderFrames; ///< padding, after them
} AudioFilePacketTableInfo;
static_assert(sizeof(AudioFilePacketTableInfo) == 16, "part of the interface");

/// The position of a frame: its packet, and the number of frames before it in that packet.
typedef struct AudioFramePacketTranslation {
    SInt64 mFrame;
    SInt64 mPacket;
    UInt32 mFrameOffsetInPacket;
} AudioFramePacketTranslation;
static_assert(sizeof(AudioFramePacketTranslation) == 24, "part of the interface");

/// Priming and padding: frames that a coding adds before and after the audio.
typedef struct AudioConverterPrimeInfo {
    UInt32 leadingFrames;
    UInt32 trailingFrames;
} AudioConverterPrimeInfo;
static_assert(sizeof(AudioConverterPrimeInfo) == 8, "part of the interface");

/// A buffer of an audio queue.
typedef struct AudioQueueBuffer {
    UInt32 mAudioDataBytesCapacity;
    void* mAudioData;
    UInt32 mAudioDataByteSize;
} AudioQueueBuffer;

BRAQ_CONSTANT(OSStatus, kAudioFileUnspecifiedError, BRAQ_FOURCC('w', 'h', 't', '?'));
BRAQ_CONSTANT(OSStatus, kAudioFileUnsupportedFileTypeError, BRAQ_FOURCC('t', 'y', 'p', '?'));
BRAQ_CONSTANT(OSStatus, kAudioFileUnsupportedDataFormatError, BRAQ_FOURCC('f', 'm', 't', '?'));
BRAQ_CONSTANT(OSStatus, kAudioFileUnsupportedPropertyError, BRAQ_FOURCC('p', 't', 'y', '?'));
BRAQ_CONSTANT(OSStatus, kAudioFileBadPropertySizeError, BRAQ_FOURCC('!', 's', 'i', 'z'));
BRAQ_CONSTANT(OSStatus, kAudioFilePermissionsError, BRAQ_FOURCC('p', 'r', 'm', '?'));
BRAQ_CONSTANT(OSStatus, kAudioFileInvalidFileError, BRAQ_FOURCC('d', 't', 'a', '?'));
BRAQ_CONSTANT(OSStatus, kAudioFileNotOpenError, -38);
BRAQ_CONSTANT(OSStatus, kAudioFileEndOfFileError, -39);
BRAQ_CONSTANT(OSStatus, kAudioFilePositionError, -40);
BRAQ_CONSTANT(OSStatus, kAudioFileFileNotFoundError, -43);
BRAQ_CONSTANT(OSStatus, kExtAudioFileError_InvalidProperty, -66561);
BRAQ_CONSTANT(OSStatus, kExtAudioFileError_InvalidPropertySize, -66562);
BRAQ_CONSTANT(OSStatus, kExtAudioFileError_NonPCMClientFormat, -66563);
BRAQ_CONSTANT(OSStatus, kExtAudioFileError_InvalidChannelMap, -66564);
BRAQ_CONSTANT(OSStatus, kExtAudioFileError_InvalidOperationOrder, -66565);
BRAQ_CONSTANT(OSStatus, kExtAudioFileError_InvalidDataFormat, -66566);
BRAQ_CONSTANT(OSStatus, kExtAudioFileError_MaxPacketSizeUnknown, -66567);
BRAQ_CONSTANT(OSStatus, kExtAudioFileError_InvalidSeek, -66568);
BRAQ_CONSTANT(OSStatus, kExtAudioFileError_AsyncWriteTooLarge, -66569);
BRAQ_CONSTANT(OSStatus, kExtAudioFileError_AsyncWriteBufferOverflow, -66570);
BRAQ_CONSTANT(OSStatus, kAudioConverterErr_PropertyNotSupported, BRAQ_FOURCC('p', 'r', 'o', 'p'));
BRAQ_CONSTANT(OSStatus, kAudioConverterErr_BadPropertySizeError, BRAQ_FOURCC('!', 's', 'i', 'z'));

/// Unused: channel layouts cannot be passed yet.
typedef struct AudioChannelLayout AudioChannelLayout;

#ifdef __cplusplus
extern "C" {
#endif

// Any thread but an I/O thread. One thread at a time uses a file; separate files are independent. No initialisation is
// needed.

/// Opens a local regular file for reading. The initial client format is the file's own as planar float.
/// @return 0; -43 if there is no such file; 'prm?' without permission; 'dta?' if it holds no audio that can be read;
///        'wht?' for a URL that is not a file URL, a directory or a device. `*file` is written on success only.
BRAQ_EXPORT OSStatus ExtAudioFileOpenURL(CFURLRef url, ExtAudioFileRef* file);

/// Creates a file for writing.
/// @param layout ignored
/// @param flags without `kAudioFileFlags_EraseFile` an existing file is not replaced
/// @return 0; 'typ?' for a type that cannot be written; 'fmt?' for a format that the type cannot hold; 'prm?' without
///        permission or for an existing file that must not be replaced; -43 if the folder does not exist; 'wht?'
///        otherwise
BRAQ_EXPORT OSStatus ExtAudioFileCreateWithURL(CFURLRef url, AudioFileTypeID type,
                                               const AudioStreamBasicDescription* format,
                                               const AudioChannelLayout* layout, UInt32 flags, ExtAudioFileRef* file);

/// Creates a file that is written forwards: into a pipe, a socket, or a file behind what is there. What is known at its end
/// only, such as the length, is not stated in it; programs read it to its end. Formats: `canBeWrittenForwards` of
/// `BRAQAudioFileFormat`.
///
/// A write waits for the reader. When there is none any more, it fails, provided that the program ignores SIGPIPE; a write
/// that fails is the last one.
/// @param descriptor to write to; duplicated, so that it can be closed at once
/// @return as `ExtAudioFileCreateWithURL`; 'fmt?' also for a format that cannot be written so
BRAQ_EXPORT OSStatus BRAQExtAudioFileCreateWithDescriptor(int descriptor, AudioFileTypeID type,
                                                          const AudioStreamBasicDescription* format,
                                                          ExtAudioFileRef* file);

/// Writes all pending data and closes the file.
/// @return 0, the status of the write that failed, or `kAudioFileNotOpenError` for an invalid reference
BRAQ_EXPORT OSStatus ExtAudioFileDispose(ExtAudioFileRef file);

/// Reads a property of a file.
/// @param size in: bytes at `data`; out: bytes written
/// @return 0, `kExtAudioFileError_InvalidProperty`, `kExtAudioFileError_InvalidPropertySize` or
///         `kAudioFileNotOpenError`
BRAQ_EXPORT OSStatus ExtAudioFileGetProperty(ExtAudioFileRef file, ExtAudioFilePropertyID property, UInt32* size,
                                             void* data);

/// Changes a property of a file. The client format is linear PCM, 32-bit float, planar or interleaved. A rate of 0
/// means the file's rate.
/// @return as `ExtAudioFileGetProperty`; `kExtAudioFileError_NonPCMClientFormat` or
///        `kExtAudioFileError_InvalidDataFormat` for another client format
BRAQ_EXPORT OSStatus ExtAudioFileSetProperty(ExtAudioFileRef file, ExtAudioFilePropertyID property, UInt32 size,
                                             const void* data);

/// Reads from the current position on, in the client format.
/// @param frames in: frames wanted; out: frames read, fewer at the end of the file and where it is truncated, 0 beyond
/// @param list large enough; the byte sizes of its buffers are set to what was read
/// @return 0; `kAudio_ParamError` for a list that does not fit the client format;
///        `kExtAudioFileError_InvalidOperationOrder` for a file being written
BRAQ_EXPORT OSStatus ExtAudioFileRead(ExtAudioFileRef file, UInt32* frames, AudioBufferList* list);

/// Appends frames in the client format. If a call fails, nothing of it is in the file; earlier frames are.
/// @return 0 or a status; `BRAQStatusTakeReason` and the log have the system's reason
BRAQ_EXPORT OSStatus ExtAudioFileWrite(ExtAudioFileRef file, UInt32 frames, const AudioBufferList* list);

/// Appends frames as `ExtAudioFileWrite` does, synchronously. No preparation is needed, so a call with 0 frames, even
/// without a list, changes nothing. Callers that must not wait use `BRAQAudioFileWriter`.
/// @return as `ExtAudioFileWrite`
BRAQ_EXPORT OSStatus ExtAudioFileWriteAsync(ExtAudioFileRef file, UInt32 frames, const AudioBufferList* list);

/// Seeks to a frame of the file, at the file's rate. 0 is the first frame after the priming.
/// @return 0; `kExtAudioFileError_InvalidSeek` below 0. Beyond the end, reads deliver nothing.
BRAQ_EXPORT OSStatus ExtAudioFileSeek(ExtAudioFileRef file, SInt64 frame);

/// Reads a property of a container. `kAudioFilePropertyPacketToFrame` takes `mPacket` and `mFrameOffsetInPacket` from
/// `data` and sets `mFrame`, counted from the first frame of the first packet.
/// @return 0, `kAudioFileUnsupportedPropertyError`, `kAudioFileBadPropertySizeError`, `kAudioFileNotOpenError`, or
///        `kAudioFilePositionError` for a packet that does not exist
BRAQ_EXPORT OSStatus AudioFileGetProperty(AudioFileID file, AudioFilePropertyID property, UInt32* size, void* data);

/// The size in bytes of what `AudioFileGetGlobalInfo` would write.
/// @param specifier what the property is about: a CFStringRef or an AudioFileTypeAndFormatID
/// @return 0; 'typ?' for an unknown extension or type; 'fmt?' for a format that the type cannot hold;
///        `kAudioFileUnsupportedPropertyError`; `kAudioFileBadPropertySizeError` for a specifier of another size
BRAQ_EXPORT OSStatus AudioFileGetGlobalInfoSize(AudioFilePropertyID property, UInt32 specifierSize,
                                                const void* specifier, UInt32* size);
/// Reads a property of all files.
/// @param size in: bytes at `data`, of which as many whole entries are written as fit; out: bytes written
/// @return as `AudioFileGetGlobalInfoSize`
BRAQ_EXPORT OSStatus AudioFileGetGlobalInfo(AudioFilePropertyID property, UInt32 specifierSize, const void* specifier,
                                            UInt32* size, void* data);

/// Reads a property of a converter.
/// @param size in: bytes at `data`; out: bytes written
/// @return 0, `kAudioConverterErr_PropertyNotSupported`, `kAudioConverterErr_BadPropertySizeError`, or
///         `kAudioFileNotOpenError`
BRAQ_EXPORT OSStatus AudioConverterGetProperty(AudioConverterRef converter, AudioConverterPropertyID property,
                                               UInt32* size, void* data);
/// Changes a property of a converter. `kExtAudioFileProperty_ConverterConfig` of the file applies it.
/// @return as `AudioConverterGetProperty`
BRAQ_EXPORT OSStatus AudioConverterSetProperty(AudioConverterRef converter, AudioConverterPropertyID property,
                                               UInt32 size, const void* data);
#ifdef __cplusplus
}
#endif

/// @}
