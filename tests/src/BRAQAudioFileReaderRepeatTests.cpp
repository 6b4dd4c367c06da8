// A range that a reader repeats: files whose seeks are not those of plain samples, and other rates.

#include "BRAQAudio/BRAQAudioFileReader.h"
#include "tests/src/FileFixture.h"
#include "tests/src/PlayerFixture.h"
#include "tests/support/FrameLists.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace {

class AudioFileReaderRepeat : public FileTest, public testing::WithParamInterface<std::pair<const char*, Float64>> {
  protected:
    void SetUp() override {
        FileTest::SetUp();
        const auto [name, rate] = GetParam();
        BRAQExtendedAudioFileOptions options;
        options.clientDataFormat = float32(2, rate);
        std::shared_ptr<NSError> error;
        file = BRAQExtendedAudioFile::initForPlaybackWithFileURL(
            NSURL::fileURLWithPath(braq::tests::audioFile(name).string()), options, &error);
        ASSERT_NE(file, nullptr) << name;
        reader = BRAQAudioFileReader::initWithBufferCount(3, 4096, file->streamDescription());
        reader->setAudioFile(file);
    }

    /// The left channel of the next frames.
    std::vector<Float32> take(std::size_t frames) const {
        std::vector<Float32> taken;
        while (taken.size() < frames) {
            auto part = static_cast<UInt32>(std::min<std::size_t>(frames - taken.size(), 512));
            const braq::tests::FrameList list(2, part);
            BRAQAudioBufferQueueCopyInto(reader.get(), list.get(), &part);
            if (part == 0) {
                ADD_FAILURE() << "it ends after " << taken.size();
                break;
            }
            for (UInt32 frame = 0; frame < part; ++frame) {
                taken.push_back(list.sample(0, frame));
            }
            player_test::Insides::settle(*reader);
        }
        return taken;
    }

    void expectRounds(const std::vector<Float32>& straight, SInt64 first, SInt64 end, SInt64 from, SInt64 step) const {
        const auto taken = take(20'000);
        SInt64 frame = from;
        int returns = 2;
        Float32 largest = 0.0F;
        for (const Float32 sample : taken) {
            largest = std::max(largest, std::abs(sample - straight[static_cast<std::size_t>(frame)]));
            frame += step;
            if (frame == (step > 0 ? end : first - 1) && returns > 0) {
                frame = step > 0 ? first : end - 1;
                --returns;
            }
        }
        EXPECT_LE(largest, 1e-6F);
    }

    std::shared_ptr<BRAQExtendedAudioFile> file;
    std::shared_ptr<BRAQAudioFileReader> reader;
};

TEST_P(AudioFileReaderRepeat, ItsSeamIsExactToTheFrameInBothDirections) {
    reader->start();
    const auto straight = take(40'000);
    for (const auto& [first, end] : {std::pair<SInt64, SInt64>{3, 15'001}, {7777, 8888}, {15'001, 15'002}, {1, 17}}) {
        SCOPED_TRACE(std::to_string(first) + " to " + std::to_string(end));
        const BRAQFrameRange range{static_cast<UInt64>(first), static_cast<UInt64>(end - first)};
        reader->setReverse(false);
        reader->setCurrentFrame(0);
        reader->setRepeat(range, 3);
        expectRounds(straight, first, end, 0, 1);
        reader->stop();
        reader->setReverse(true);
        reader->setCurrentFrame(30'001);
        reader->start();
        expectRounds(straight, first, end, 30'000, -1);
    }
}

INSTANTIATE_TEST_SUITE_P(Files, AudioFileReaderRepeat,
                         testing::Values(std::pair{"lossy-cbr.mp3", 44100.0}, std::pair{"lossy-vbr.mp3", 44100.0},
                                         std::pair{"lossy-aac.m4a", 44100.0}, std::pair{"lossy-vorbis.ogg", 44100.0},
                                         std::pair{"lossy-opus.opus", 48000.0},
                                         std::pair{"same-as-reference-16.flac", 44100.0},
                                         std::pair{"reference-44k-stereo-16.wav", 48000.0},
                                         std::pair{"reference-48k-stereo-24.wav", 44100.0},
                                         std::pair{"lossy-cbr.mp3", 48000.0}));

} // namespace
