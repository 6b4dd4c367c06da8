// Recording to a real disk that runs full.

#include "tests/platform/files/SmallDisk.h"
#include "tests/src/FileFixture.h"
#include "tests/src/OpenStreamers.h"
#include "tests/support/CapturedLog.h"

#include <fstream>

namespace {

using braq::tests::CapturedLog;
using braq::tests::framesOfFile;
using braq::tests::runWithSmallDisk;
using streamer_test::numbers;
using streamer_test::record;
using streamer_test::Writer;

constexpr std::size_t diskBytes = std::size_t{256} * 1024;
constexpr UInt32 fullDiskBufferFrames = 1024;

class FileWriterDisk : public FileTest {
  protected:
    std::shared_ptr<BRAQExtendedAudioFile> create() const {
        return BRAQExtendedAudioFile::initForRecordingWithFilename(path("a.wav"), kAudioFileWAVEType, float32(), 0,
                                                                   nullptr);
    }
    /// Records until a write has failed. @return the frames that were offered
    static UInt64 recordUntilFull(Writer& writer) {
        UInt64 next = 0;
        while (writer.lastError() == nullptr && next < 1'000'000) {
            record(writer, next, fullDiskBufferFrames);
            next += fullDiskBufferFrames;
            writer.settle();
        }
        return next;
    }
};

TEST_F(FileWriterDisk, WhatWasWrittenBeforeItWasFullStaysReadable) {
    const bool isRun = runWithSmallDisk(folder.path(), diskBytes, [&] {
        const CapturedLog log;
        Writer writer(3, fullDiskBufferFrames);
        writer.setAudioFile(create());
        writer.start();
        const UInt64 offered = recordUntilFull(writer);
        EXPECT_GT(offered, UInt64{20} * fullDiskBufferFrames);
        ASSERT_NE(writer.lastError(), nullptr);
        EXPECT_EQ(writer.lastError()->localizedDescription(),
                  "the file cannot be read or written (No space left on device)");
        for (UInt64 i = 0; i < 30; ++i) {
            record(writer, offered + i * fullDiskBufferFrames,
                   fullDiskBufferFrames); // the process lives and the ring stands
            writer.settle();
        }
        EXPECT_GT(writer.errorCount(), 10U);
        EXPECT_THROW(writer.stop(), NSException);
        writer.audioFile()->closeFile();
        const auto written = framesOfFile(path("a.wav"));
        EXPECT_EQ(written, numbers(0, offered - fullDiskBufferFrames)) << "all but the buffer that failed";
        std::size_t ofTheWorker = 0;
        for (const auto& line : log.errors()) {
            ofTheWorker += line.find("BAudioBufferQueueWorker") != std::string::npos ? 1 : 0;
        }
        EXPECT_EQ(ofTheWorker, 1U);
    });
    if (!isRun) {
        GTEST_SKIP() << "not shown: this process may not mount a disk";
    }
}

TEST_F(FileWriterDisk, NothingIsLostWhenThereIsRoomAgain) {
    const bool isRun = runWithSmallDisk(folder.path(), diskBytes, [&] {
        const CapturedLog log;
        std::ofstream(path("ballast")) << std::string(diskBytes / 2, 'x');
        Writer writer(3, fullDiskBufferFrames);
        writer.setAudioFile(create());
        writer.start();
        UInt64 next = recordUntilFull(writer);
        record(writer, next, fullDiskBufferFrames);
        next += fullDiskBufferFrames;
        writer.settle();
        std::filesystem::remove(path("ballast"));
        record(writer, next, fullDiskBufferFrames / 2);
        next += fullDiskBufferFrames / 2;
        writer.stop();
        EXPECT_EQ(writer.errorCount(), 0U);
        writer.audioFile()->closeFile();
        EXPECT_EQ(framesOfFile(path("a.wav")), numbers(0, next));
    });
    if (!isRun) {
        GTEST_SKIP() << "not shown: this process may not mount a disk";
    }
}

} // namespace
