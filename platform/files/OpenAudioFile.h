#pragma once

#include "platform/files/AsyncWriter.h"
#include "platform/files/reading/FileReader.h"
#include "platform/files/writing/FileWriter.h"

#include <map>
#include <memory>
#include <mutex>

namespace braq {

/// An open file: one that is read or one that is written.
struct OpenAudioFile {
    std::unique_ptr<FileReader> reader; ///< or
    std::unique_ptr<FileWriter> writer;
    std::unique_ptr<AsyncWriter> async; ///< once it was asked for
    UInt32 readBitRate = 0;             ///< what a reader's converter was told; it has no use for it
    bool isMisfitLogged = false;        ///< of the lists since the last one that fitted the client format

    AudioStreamBasicDescription fileFormat() const { return reader ? reader->fileFormat() : writer->fileFormat(); }
    AudioStreamBasicDescription clientFormat() const {
        return reader ? reader->clientFormat() : writer->clientFormat();
    }
    ChannelPositions clientPositions() const { return reader ? reader->clientPositions() : ChannelPositions(); }
    /// What was queued comes before what follows, and is not written while something else is asked of the writer.
    /// @return why a queued write failed, once
    OSStatus drain() const { return async ? async->drain() : 0; }
    SInt64 lengthFrames() const { return reader ? reader->lengthFrames() : writer->lengthFrames(); }
};

/// The open files of the process, by numbers that are not used again: what was disposed of is known to be. Any thread but
/// an I/O thread.
class OpenAudioFiles {
  public:
    static OpenAudioFiles& instance();

    ExtAudioFileRef add(std::shared_ptr<OpenAudioFile> file);
    /// Null for what names no open file.
    std::shared_ptr<OpenAudioFile> find(ExtAudioFileRef file) const;
    std::shared_ptr<OpenAudioFile> find(AudioFileID container) const;
    std::shared_ptr<OpenAudioFile> find(AudioConverterRef converter) const;
    /// The file is found no more. @return it, or null
    std::shared_ptr<OpenAudioFile> take(ExtAudioFileRef file);

    static AudioFileID containerOf(ExtAudioFileRef file);
    static AudioConverterRef converterOf(ExtAudioFileRef file);

  private:
    OpenAudioFiles() = default;
    std::shared_ptr<OpenAudioFile> withNumber(std::uintptr_t number) const;

    mutable std::mutex mMutex;
    std::map<std::uintptr_t, std::shared_ptr<OpenAudioFile>> mFiles; // under the mutex
    std::uintptr_t mLast = 0;                                        // under the mutex
};

} // namespace braq
