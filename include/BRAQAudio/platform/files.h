#pragma once

// Audio files: containers, codecs, and conversion between the file's format and the client format.

#include "BRAQAudio/platform/channels.h"
#include "BRAQAudio/platform/foundation/NSURL.h"
#include "BRAQAudio/platform/types.h"

/// @addtogroup filetypes
/// @{

/// A reference to an open file. Every call checks it: null or a disposed file returns an error status.
using ExtAudioFileRef = struct OpaqueExtAudioFile*;
/// The container of an open file; valid as long as the file.
using AudioFileID = struct OpaqueAudioFileID*;
/// The converter of an open file; valid as long as the file.
using AudioConverterRef = struct OpaqueAudioConverter*;

using AudioFileTypeID = UInt32;
using ExtAudioFilePropertyID = UInt32;
using AudioFilePropertyID = UInt32;
using AudioConverterPropertyID = UInt32;

constexpr AudioFileTypeID kAudioFileWAVEType = BRAQFourCharCode("WAVE");
constexpr AudioFileTypeID kAudioFileRF64Type = BRAQFourCharCode("RF64");
constexpr AudioFileTypeID kAudioFileAIFFType = BRAQFourCharCode("AIFF");
constexpr AudioFileTypeID kAudioFileAIFCType = BRAQFourCharCode("AIFC");
constexpr AudioFileTypeID kAudioFileCAFType = BRAQFourCharCode("caff");
constexpr AudioFileTypeID kAudioFileM4AType = BRAQFourCharCode("m4af");
constexpr AudioFileTypeID kAudioFileMPEG4Type = BRAQFourCharCode("mp4f");
constexpr AudioFileTypeID kAudioFileMP3Type = BRAQFourCharCode("MPG3");
constexpr AudioFileTypeID kAudioFileAAC_ADTSType = BRAQFourCharCode("adts");
constexpr AudioFileTypeID kAudioFileFLACType = BRAQFourCharCode("flac");
constexpr AudioFileTypeID kAudioFileNextType = BRAQFourCharCode("NeXT");    ///< .au, .snd
constexpr AudioFileTypeID kBRAQAudioFileOggType = BRAQFourCharCode("Oggf"); ///< Ogg with Vorbis or Opus

constexpr UInt32 kAudioFormatMPEGLayer3 = BRAQFourCharCode(".mp3");
constexpr UInt32 kAudioFormatFLAC = BRAQFourCharCode("flac");
constexpr UInt32 kAudioFormatOpus = BRAQFourCharCode("opus");
constexpr UInt32 kBRAQAudioFormatVorbis = BRAQFourCharCode("vorb");

/// Replaces an existing file.
constexpr UInt32 kAudioFileFlags_EraseFile = 1;

// Properties of an open file.
constexpr ExtAudioFilePropertyID kExtAudioFileProperty_FileDataFormat = BRAQFourCharCode("ffmt");   ///< 40 bytes
constexpr ExtAudioFilePropertyID kExtAudioFileProperty_ClientDataFormat = BRAQFourCharCode("cfmt"); ///< settable
constexpr ExtAudioFilePropertyID kExtAudioFileProperty_FileLengthFrames =
    BRAQFourCharCode("#frm"); ///< SInt64, file rate
constexpr ExtAudioFilePropertyID kExtAudioFileProperty_ClientMaxPacketSize = BRAQFourCharCode("cmps"); ///< UInt32 bytes
constexpr ExtAudioFilePropertyID kExtAudioFileProperty_AudioFile = BRAQFourCharCode("afil");           ///< AudioFileID
constexpr ExtAudioFilePropertyID kExtAudioFileProperty_AudioConverter = BRAQFourCharCode("acnv"); ///< AudioConverterRef
/// BRAQChannelPosition[], one for each channel of the client format: as the file states them, or the default positions
/// of the channel count (`BRAQChannelPosition`) if the channels are mixed to another count. Empty if the file states
/// none.
constexpr ExtAudioFilePropertyID kBRAQExtAudioFileProperty_ChannelPositions = BRAQFourCharCode("bqcp");
/// Null, set only: applies changes made to the converter.
constexpr ExtAudioFilePropertyID kExtAudioFileProperty_ConverterConfig = BRAQFourCharCode("accf");

// Properties of its container.
constexpr AudioFilePropertyID kAudioFilePropertyFileFormat = BRAQFourCharCode("ffmt");           ///< AudioFileTypeID
constexpr AudioFilePropertyID kAudioFilePropertyDataFormat = BRAQFourCharCode("dfmt");           ///< 40 bytes
constexpr AudioFilePropertyID kAudioFilePropertyAudioDataPacketCount = BRAQFourCharCode("pcnt"); ///< SInt64
constexpr AudioFilePropertyID kAudioFilePropertyPacketTableInfo = BRAQFourCharCode("pnfo");
constexpr AudioFilePropertyID kAudioFilePropertyPacketToFrame = BRAQFourCharCode("pkfr");

// Properties of all files.
constexpr AudioFilePropertyID kAudioFileGlobalInfo_TypesForExtension = BRAQFourCharCode("text"); ///< from a CFStringRef
/// From an AudioFileTypeAndFormatID: AudioStreamBasicDescription[].
constexpr AudioFilePropertyID kAudioFileGlobalInfo_AvailableStreamDescriptionsForFormat = BRAQFourCharCode("sdid");

// Properties of its converter.
constexpr AudioConverterPropertyID kAudioConverterEncodeBitRate = BRAQFourCharCode("brat"); ///< UInt32, settable
constexpr AudioConverterPropertyID kAudioConverterPrimeInfo = BRAQFourCharCode("prim");

/// A coding in a type of file.
struct AudioFileTypeAndFormatID {
    AudioFileTypeID mFileType;
    UInt32 mFormatID;
};
static_assert(sizeof(AudioFileTypeAndFormatID) == 8);

/// Which frames of a file's packets are audio, without priming and padding.
struct AudioFilePacketTableInfo {
    SInt64 mNumberValidFrames;
    SInt32 mPrimingFrames;   ///< priming, before them
    SInt32 mRemainderFrames; ///< padding, after them
};
static_assert(sizeof(AudioFilePacketTableInfo) == 16);

/// The position of a frame: its packet, and the number of frames before it in that packet.
struct AudioFramePacketTranslation {
    SInt64 mFrame;
    SInt64 mPacket;
    UInt32 mFrameOffsetInPacket;
};
static_assert(sizeof(AudioFramePacketTranslation) == 24);

/// Priming and padding: frames that a coding adds before and after the audio.
struct AudioConverterPrimeInfo {
    UInt32 leadingFrames;
    UInt32 trailingFrames;
};
static_assert(sizeof(AudioConverterPrimeInfo) == 8);

/// A buffer of an audio queue.
struct AudioQueueBuffer {
    UInt32 mAudioDataBytesCapacity;
    void* mAudioData;
    UInt32 mAudioDataByteSize;
};

constexpr OSStatus kAudioFileUnspecifiedError = static_cast<OSStatus>(BRAQFourCharCode("wht?"));
constexpr OSStatus kAudioFileUnsupportedFileTypeError = static_cast<OSStatus>(BRAQFourCharCode("typ?"));
constexpr OSStatus kAudioFileUnsupportedDataFormatError = static_cast<OSStatus>(BRAQFourCharCode("fmt?"));
constexpr OSStatus kAudioFileUnsupportedPropertyError = static_cast<OSStatus>(BRAQFourCharCode("pty?"));
constexpr OSStatus kAudioFileBadPropertySizeError = static_cast<OSStatus>(BRAQFourCharCode("!siz"));
constexpr OSStatus kAudioFilePermissionsError = static_cast<OSStatus>(BRAQFourCharCode("prm?"));
constexpr OSStatus kAudioFileInvalidFileError = static_cast<OSStatus>(BRAQFourCharCode("dta?"));
constexpr OSStatus kAudioFileNotOpenError = -38;
constexpr OSStatus kAudioFileEndOfFileError = -39;
constexpr OSStatus kAudioFilePositionError = -40;
constexpr OSStatus kAudioFileFileNotFoundError = -43;
constexpr OSStatus kExtAudioFileError_InvalidProperty = -66561;
constexpr OSStatus kExtAudioFileError_InvalidPropertySize = -66562;
constexpr OSStatus kExtAudioFileError_NonPCMClientFormat = -66563;
constexpr OSStatus kExtAudioFileError_InvalidChannelMap = -66564;
constexpr OSStatus kExtAudioFileError_InvalidOperationOrder = -66565;
constexpr OSStatus kExtAudioFileError_InvalidDataFormat = -66566;
constexpr OSStatus kExtAudioFileError_MaxPacketSizeUnknown = -66567;
constexpr OSStatus kExtAudioFileError_InvalidSeek = -66568;
constexpr OSStatus kExtAudioFileError_AsyncWriteTooLarge = -66569;
constexpr OSStatus kExtAudioFileError_AsyncWriteBufferOverflow = -66570;
constexpr OSStatus kAudioConverterErr_PropertyNotSupported = static_cast<OSStatus>(BRAQFourCharCode("prop"));
constexpr OSStatus kAudioConverterErr_BadPropertySizeError = static_cast<OSStatus>(BRAQFourCharCode("!siz"));

/// Unused: channel layouts cannot be passed yet.
struct AudioChannelLayout;

extern "C" {

// Any thread but an I/O thread. One thread at a time uses a file; separate files are independent. No initialisation is
// needed.

/// Opens a local regular file for reading. The initial client format is the file's own as planar float.
/// @return 0; -43 if there is no such file; 'prm?' without permission; 'dta?' if it holds no audio that can be read;
///        'wht?' for a URL that is not a file URL, a directory or a device. `*file` is written on success only.
OSStatus ExtAudioFileOpenURL(CFURLRef url, ExtAudioFileRef* file);

/// Creates a file for writing.
/// @param layout ignored
/// @param flags without `kAudioFileFlags_EraseFile` an existing file is not replaced
/// @return 0; 'typ?' for a type that cannot be written; 'fmt?' for a format that the type cannot hold; 'prm?' without
///        permission or for an existing file that must not be replaced; -43 if the folder does not exist; 'wht?'
///        otherwise
OSStatus ExtAudioFileCreateWithURL(CFURLRef url, AudioFileTypeID type, const AudioStreamBasicDescription* format,
                                   const AudioChannelLayout* layout, UInt32 flags, ExtAudioFileRef* file);

/// Writes all pending data and closes the file.
/// @return 0, the reason why writing failed, or `kAudioFileNotOpenError` for an invalid reference
OSStatus ExtAudioFileDispose(ExtAudioFileRef file);

/// Reads a property of a file.
/// @param size in: bytes at `data`; out: bytes written
/// @return 0, `kExtAudioFileError_InvalidProperty`, `kExtAudioFileError_InvalidPropertySize` or
///         `kAudioFileNotOpenError`
OSStatus ExtAudioFileGetProperty(ExtAudioFileRef file, ExtAudioFilePropertyID property, UInt32* size, void* data);

/// Changes a property of a file. The client format is linear PCM, 32-bit float, planar or interleaved. A rate of 0
/// means the file's rate.
/// @return as `ExtAudioFileGetProperty`; `kExtAudioFileError_NonPCMClientFormat` or
///        `kExtAudioFileError_InvalidDataFormat` for another client format
OSStatus ExtAudioFileSetProperty(ExtAudioFileRef file, ExtAudioFilePropertyID property, UInt32 size, const void* data);

/// Reads from the current position on, in the client format.
/// @param frames in: frames wanted; out: frames read, fewer at the end of the file and where it is truncated, 0 beyond
/// @param list large enough; the byte sizes of its buffers are set to what was read
/// @return 0; `kAudio_ParamError` for a list that does not fit the client format;
///        `kExtAudioFileError_InvalidOperationOrder` for a file being written
OSStatus ExtAudioFileRead(ExtAudioFileRef file, UInt32* frames, AudioBufferList* list);

/// Appends frames in the client format. If a call fails, nothing of it is in the file; earlier frames are.
/// @return 0 or the reason; the log has the system's reason
OSStatus ExtAudioFileWrite(ExtAudioFileRef file, UInt32 frames, const AudioBufferList* list);

/// Appends frames as `ExtAudioFileWrite` does, synchronously. No preparation is needed, so a call with 0 frames, even
/// without a list, changes nothing. Callers that must not wait use `BRAQAudioFileWriter`.
/// @return as `ExtAudioFileWrite`
OSStatus ExtAudioFileWriteAsync(ExtAudioFileRef file, UInt32 frames, const AudioBufferList* list);

/// Seeks to a frame of the file, at the file's rate. 0 is the first frame after the priming.
/// @return 0; `kExtAudioFileError_InvalidSeek` below 0. Beyond the end, reads deliver nothing.
OSStatus ExtAudioFileSeek(ExtAudioFileRef file, SInt64 frame);

/// Reads a property of a container. `kAudioFilePropertyPacketToFrame` takes `mPacket` and `mFrameOffsetInPacket` from
/// `data` and sets `mFrame`, counted from the first frame of the first packet.
/// @return 0, `kAudioFileUnsupportedPropertyError`, `kAudioFileBadPropertySizeError`, `kAudioFileNotOpenError`, or
///        `kAudioFilePositionError` for a packet that does not exist
OSStatus AudioFileGetProperty(AudioFileID file, AudioFilePropertyID property, UInt32* size, void* data);

/// @param specifier what the property is about: a CFStringRef or an AudioFileTypeAndFormatID
/// @return 0; 'typ?' for an unknown extension or type; 'fmt?' for a format that the type cannot hold;
///        `kAudioFileUnsupportedPropertyError`; `kAudioFileBadPropertySizeError` for a specifier of another size
OSStatus AudioFileGetGlobalInfoSize(AudioFilePropertyID property, UInt32 specifierSize, const void* specifier,
                                    UInt32* size);
/// Returns as many whole entries as fit; otherwise like `AudioFileGetGlobalInfoSize`.
OSStatus AudioFileGetGlobalInfo(AudioFilePropertyID property, UInt32 specifierSize, const void* specifier, UInt32* size,
                                void* data);

/// @return 0, `kAudioConverterErr_PropertyNotSupported`, `kAudioConverterErr_BadPropertySizeError`, or
///         `kAudioFileNotOpenError`
OSStatus AudioConverterGetProperty(AudioConverterRef converter, AudioConverterPropertyID property, UInt32* size,
                                   void* data);
/// Errors as `AudioConverterGetProperty`.
OSStatus AudioConverterSetProperty(AudioConverterRef converter, AudioConverterPropertyID property, UInt32 size,
                                   const void* data);
}

/// @}
