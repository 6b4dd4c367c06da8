#include "tools/braq/record/RecordedFile.h"

#include <algorithm>

std::shared_ptr<RecordedFile> RecordedFile::create(const std::string& path, AudioFileTypeID fileType,
                                                   const std::shared_ptr<BRAQAudioStreamBasicDescription>& description,
                                                   const std::shared_ptr<BRAQAudioDevice>& device,
                                                   std::optional<SInt64> most) {
    constexpr UInt32 bitrateOfTheCoding = 0;
    std::shared_ptr<RecordedFile> file(
        new RecordedFile(NSURL::fileURLWithPath(path), fileType, description, bitrateOfTheCoding, device));
    file->mMost = most;
    return file;
}

void RecordedFile::writeAudioBufferList(AudioBufferList* list, UInt32* framesWritten) {
    UInt32 frames = *framesWritten;
    if (mMost) {
        frames = static_cast<UInt32>(std::min<SInt64>(frames, *mMost - mWritten));
    }
    if (frames != 0) {
        BRAQExtendedAudioFile::writeAudioBufferList(list, &frames);
        mWritten += frames;
    }
}
