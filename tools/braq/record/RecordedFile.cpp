#include "tools/braq/record/RecordedFile.h"

#include "tools/braq/terminal/Output.h"

#include <unistd.h>

#include <algorithm>
#include <exception>

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

std::shared_ptr<RecordedFile>
RecordedFile::createOnOutput(AudioFileTypeID fileType,
                             const std::shared_ptr<BRAQAudioStreamBasicDescription>& description,
                             const std::shared_ptr<BRAQAudioDevice>& device, std::optional<SInt64> most) {
    std::shared_ptr<RecordedFile> file(new RecordedFile());
    ExtAudioFileRef created = nullptr;
    const auto format = description->audioStreamBasicDescription();
    constexpr NSXCallSite here{"record/RecordedFile", "RecordedFile::createOnOutput", NSXStatusDomain::osStatus};
    NSXRaiseOnFailure(BRAQExtAudioFileCreateWithDescriptor(STDOUT_FILENO, fileType, &format, &created),
                      "BRAQExtAudioFileCreateWithDescriptor( STDOUT_FILENO, fileType, &format, &created )", here);
    file->mIsOutput = true;
    file->setAudioFile(created);
    file->setClientDataFormatForRecordingWithDevice(device);
    file->mMost = most;
    return file;
}

std::shared_ptr<NSError> RecordedFile::failure() const {
    const std::lock_guard lock(mFailureMutex);
    return mFailure;
}

void RecordedFile::writeAudioBufferList(AudioBufferList* list, UInt32* framesWritten) {
    UInt32 frames = *framesWritten;
    if (mMost) {
        frames = static_cast<UInt32>(std::min<SInt64>(frames, *mMost - mWritten));
    }
    if (frames == 0) {
        return;
    }
    try {
        BRAQExtendedAudioFile::writeAudioBufferList(list, &frames);
    } catch (...) {
        {
            const std::lock_guard lock(mFailureMutex);
            mFailure = NSXErrorFromException(std::current_exception());
        }
        BRAQMainQueue::mainQueue().submit([] {});
        if (!mIsOutput || !isReaderGone(STDOUT_FILENO)) {
            throw;
        }
        return; // nobody misses it
    }
    mWritten += frames;
}
