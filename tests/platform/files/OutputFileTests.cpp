#include "platform/files/writing/OutputFile.h"

#include "BRAQAudio/platform/files.h"
#include "tests/platform/files/Recordings.h"
#include "tests/platform/files/SmallDisk.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>

namespace {

using namespace braq::tests;
using braq::OutputFile;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr UInt64 unlimited = std::numeric_limits<UInt64>::max();

class Files_OutputFile : public testing::Test {
  protected:
    void create(UInt64 limit = unlimited) { ASSERT_EQ(OutputFile::create(mPath, limit, 100, mFile), 0); }

    void write(const std::string& text) {
        avio_write(mFile->stream(), reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    }

    std::string content() const {
        std::ifstream stream(mPath, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    const FileFolder mFolder;
    const std::string mPath = mFolder.file("output");
    const CapturedLog mLog;
    std::unique_ptr<OutputFile> mFile;
};

TEST_F(Files_OutputFile, HoldsWhatItsStreamWasGiven) {
    create();
    write("first and second");
    avio_seek(mFile->stream(), 0, SEEK_SET);
    write("FIRST");
    EXPECT_EQ(mFile->flush(), 0);
    EXPECT_EQ(mFile->size(), 16U);
    EXPECT_EQ(mFile->close(), 0);
    EXPECT_EQ(mFile->close(), 0);
    EXPECT_EQ(content(), "FIRST and second");
}

TEST_F(Files_OutputFile, IsNotLargerForWhatIsReserved) {
    create();
    write("bytes");
    EXPECT_EQ(mFile->reserve(1000000), 0);
    EXPECT_EQ(mFile->flush(), 0);
    EXPECT_EQ(content(), "bytes");
    EXPECT_EQ(mFile->close(), 0);
    EXPECT_EQ(content(), "bytes");
}

TEST_F(Files_OutputFile, IsCutBackToItsBytesWhereSpaceIsReservedByZeros) {
    const bool isRun = runWithoutReservations([&] {
        create();
        write("bytes");
        EXPECT_EQ(mFile->reserve(1000000), 0);
        write(" behind");
        EXPECT_EQ(mFile->flush(), 0);
        EXPECT_EQ(mFile->reserve(3000000), 0);
        EXPECT_EQ(content().substr(0, 14), std::string("bytes behind\0\0", 14));
        EXPECT_EQ(mFile->close(), 0);
    });
    if (!isRun) {
        GTEST_SKIP() << "not shown: this process may not filter its system calls";
    }
    EXPECT_EQ(content(), "bytes behind");
}

TEST_F(Files_OutputFile, DoesNotGrowBeyondWhatItsSizesCanState) {
    create(1000);
    EXPECT_EQ(mFile->reserve(1000), 0);
    EXPECT_EQ(mFile->reserve(1001), kAudioFileUnspecifiedError);
    EXPECT_EQ(mFile->reserve(1002), kAudioFileUnspecifiedError);
    EXPECT_THAT(mLog.errors(), ElementsAre(HasSubstr(mPath + " cannot be written: File too large")));
    EXPECT_EQ(mFile->reserve(999), 0);
}

TEST_F(Files_OutputFile, GoesBackToWhereItWas) {
    create();
    write("kept");
    EXPECT_EQ(mFile->flush(), 0);
    write("dropped, and longer");
    EXPECT_EQ(mFile->flush(), 0);
    write("never there");
    mFile->goBackTo(4);
    EXPECT_EQ(mFile->size(), 4U);
    write(", too");
    EXPECT_EQ(mFile->close(), 0);
    EXPECT_EQ(content(), "kept, too");
}

TEST_F(Files_OutputFile, SkipsWhatFailed) {
    create();
    write("kept");
    EXPECT_EQ(mFile->flush(), 0);
    {
        const FileSizeLimit limit(4);
        write("gone");
        EXPECT_EQ(mFile->flush(), kAudioFileUnspecifiedError);
    }
    EXPECT_THAT(mLog.errors(), ElementsAre(HasSubstr("File too large")));
    mFile->skipWhatFailed();
    write("behind");
    EXPECT_EQ(mFile->close(), 0);
    EXPECT_EQ(content(), std::string("kept\0\0\0\0behind", 14));
}

TEST_F(Files_OutputFile, StaysIfItWasThereBeforeAndCannotBeBegun) {
    const bool isRun = runWithSmallDisk(mFolder.path(), 8192, [&] {
        std::ofstream(mPath) << "before" << std::flush;
        EXPECT_EQ(OutputFile::create(mPath, unlimited, 1'000'000, mFile), kAudioFileUnspecifiedError);
        EXPECT_TRUE(std::filesystem::exists(mPath));
        const std::string other = mFolder.file("other");
        EXPECT_EQ(OutputFile::create(other, unlimited, 1'000'000, mFile), kAudioFileUnspecifiedError);
        EXPECT_FALSE(std::filesystem::exists(other));
    });
    if (!isRun) {
        GTEST_SKIP() << "not shown: this process may not mount a small disk";
    }
}

TEST_F(Files_OutputFile, SaysThatClosingFailed) {
    const bool isRun = runWithFailingClose([&] {
        create();
        write("bytes");
        EXPECT_EQ(mFile->close(), kAudioFileUnspecifiedError);
        EXPECT_EQ(mFile->close(), 0) << "it was closed all the same";
    });
    if (!isRun) {
        GTEST_SKIP() << "not shown: this process may not filter its system calls";
    }
    EXPECT_THAT(mLog.errors(), ElementsAre(HasSubstr("No space left on device")));
    EXPECT_EQ(content(), "bytes");
}

} // namespace
