#include "tests/platform/files/LinearFlags.h"
#include "tests/platform/files/ReadFile.h"
#include "tests/platform/files/Recordings.h"
#include "tests/support/CapturedLog.h"

#include <gtest/gtest.h>

// Recordings of more bytes than 32 bits can state.

namespace {

using braq::tests::big;
using braq::tests::floating;
using braq::tests::integer;
using namespace braq::tests;
using braq::FileWriter;

constexpr UInt32 channels = 8;
constexpr std::size_t blockFrames = 65536;
constexpr std::uint64_t limit = std::uint64_t{1} << 32;

class Files_FileWriterBeyond4GiB : public testing::Test {
  protected:
    void SetUp() override {
        constexpr std::uint64_t needed = limit + limit / 4;
        if (std::filesystem::space(mFolder.path()).available < needed) {
            GTEST_SKIP() << "not shown: there are no 5 GiB free in " << mFolder.path();
        }
    }
    void create(AudioFileTypeID type, UInt32 flags, UInt32 bits) {
        ASSERT_EQ(
            FileWriter::create(mPath, type, fileFormat(kAudioFormatLinearPCM, flags, bits, channels, 48000), mWriter),
            0);
    }
    /// Writes blocks, each of which begins with its number, until one is refused.
    /// @return blocks that were written
    std::size_t writeBlocks(std::size_t most) {
        Signal block = floatNoise(channels, blockFrames);
        for (std::size_t i = 0; i < most; ++i) {
            for (std::size_t channel = 0; channel < channels; ++channel) {
                block[channel][0] = numberOf(i, channel);
            }
            if (writeFrames(*mWriter, block, 0, blockFrames) != 0) {
                return i;
            }
        }
        return most;
    }
    static Float32 numberOf(std::size_t block, std::size_t channel) {
        return static_cast<Float32>(block * channels + channel) / 65536;
    }
    void expectHolds(ReadFile& file, std::size_t blocks) {
        ASSERT_EQ(file.length(), static_cast<SInt64>(blocks * blockFrames));
        for (std::size_t i = 0; i < blocks; ++i) {
            const Sound first = file.readAt(static_cast<SInt64>(i * blockFrames), 1);
            for (std::size_t channel = 0; channel < channels; ++channel) {
                ASSERT_EQ(first.at(channel).at(0), numberOf(i, channel)) << "block " << i;
            }
        }
    }

    const FileFolder mFolder;
    const std::string mPath = mFolder.file("recording");
    std::unique_ptr<FileWriter> mWriter;
};

TEST_F(Files_FileWriterBeyond4GiB, AWAVEBecomesAnRF64) {
    constexpr std::size_t blocks = limit / (blockFrames * channels * sizeof(Float64)) + 3;
    create(kAudioFileWAVEType, floating, 64);
    ASSERT_EQ(writeBlocks(blocks), blocks);
    ASSERT_EQ(mWriter->close(), 0);
    EXPECT_GT(std::filesystem::file_size(mPath), limit);
    ReadFile file(mPath);
    EXPECT_EQ(file.reader().fileType(), kAudioFileRF64Type);
    expectHolds(file, blocks);
}

TEST_F(Files_FileWriterBeyond4GiB, AnAIFFIsFullAndKeepsWhatItHas) {
    const CapturedLog log;
    create(kAudioFileAIFFType, integer | big, 32);
    const std::size_t blocks = writeBlocks(limit / (blockFrames * channels * sizeof(Float32)) + 3);
    EXPECT_EQ(blocks, limit / (blockFrames * channels * sizeof(Float32)) - 1)
        << "the last one has no room for a header";
    EXPECT_EQ(log.errors().size(), 1U);
    ASSERT_EQ(mWriter->close(), 0);
    EXPECT_LT(std::filesystem::file_size(mPath), limit);
    ReadFile file(mPath);
    EXPECT_EQ(file.reader().fileType(), kAudioFileAIFFType);
    expectHolds(file, blocks);
}

} // namespace
