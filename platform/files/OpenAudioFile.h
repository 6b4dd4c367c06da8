#pragma once

#include "platform/files/reading/FileReader.h"
#include "platform/files/writing/FileWriter.h"
#include "platform/foundation/HandleTable.h"

#include <memory>

namespace braq {

/// An open file, for reading or for writing.
struct OpenAudioFile {
    std::unique_ptr<FileReader> reader; ///< or
    std::unique_ptr<FileWriter> writer;
    UInt32 readBitRate = 0;      ///< set on a reader's converter, without effect
    bool isMisfitLogged = false; ///< for lists since the last one that fitted the client format

    AudioStreamBasicDescription fileFormat() const { return reader ? reader->fileFormat() : writer->fileFormat(); }
    AudioStreamBasicDescription clientFormat() const {
        return reader ? reader->clientFormat() : writer->clientFormat();
    }
    ChannelPositions clientPositions() const { return reader ? reader->clientPositions() : ChannelPositions(); }
    SInt64 lengthFrames() const { return reader ? reader->lengthFrames() : writer->lengthFrames(); }
};

/// The open files of the process. Any thread but
/// an I/O thread.
class OpenAudioFiles {
  public:
    static OpenAudioFiles& instance();

    ExtAudioFileRef add(std::shared_ptr<OpenAudioFile> file);
    /// Null for an unknown reference.
    std::shared_ptr<OpenAudioFile> find(ExtAudioFileRef file) const;
    std::shared_ptr<OpenAudioFile> find(AudioFileID container) const;
    std::shared_ptr<OpenAudioFile> find(AudioConverterRef converter) const;
    /// Removes the file from the table. @return the file, or null
    std::shared_ptr<OpenAudioFile> take(ExtAudioFileRef file);

    static AudioFileID containerOf(ExtAudioFileRef file);
    static AudioConverterRef converterOf(ExtAudioFileRef file);

  private:
    OpenAudioFiles() = default;

    HandleTable<OpenAudioFile> mFiles;
};

} // namespace braq
