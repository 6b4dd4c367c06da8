#include "tools/braq/play/LoopSeam.h"

#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <numbers>
#include <string>

namespace {

constexpr Float64 rate = 48000.0;
constexpr UInt32 length = 48'000;

/// A second of a sine of 50 Hz: each 960 frames it is as before.
std::shared_ptr<BRAQExtendedAudioFile> sineIn(const std::string& path) {
    const auto format = BRAQAudioStreamBasicDescription::pcm16StreamDescription();
    format->setSampleRate(rate);
    const std::unique_ptr<AudioBufferList, decltype(&BRAQAudioBufferListDestroy)> list(
        BRAQAudioBufferListCreate(2, sizeof(Float32), length, false), &BRAQAudioBufferListDestroy);
    for (UInt32 frame = 0; frame < length; ++frame) {
        const auto sample = static_cast<Float32>(0.5 * std::sin(2.0 * std::numbers::pi * 50.0 * frame / rate));
        for (const UInt32 channel : {0U, 1U}) {
            static_cast<Float32*>(list->mBuffers[channel].mData)[frame] = sample;
        }
    }
    UInt32 frames = length;
    BRAQExtendedAudioFile::initForRecordingWithFilename(path, kAudioFileWAVEType, format, 0, nullptr)
        ->writeAudioBufferList(list.get(), &frames);
    return BRAQExtendedAudioFile::initForPlaybackWithFilename(path);
}

TEST(Tool_LoopSeam, IsWhereTheSoundIsAsAtTheBeginning) {
    const braq::tests::TemporaryFolder folder;
    const auto file = sineIn(folder.path() / "sine.wav");
    for (const SInt64 first : {SInt64{960}, SInt64{1234}}) {
        const SInt64 end = first + SInt64{5} * 960;
        for (const SInt64 marked : {end - 400, end, end + 400}) {
            EXPECT_EQ(endOfSmoothLoop(*file, first, marked), end) << first << " to " << marked;
        }
    }
}

TEST(Tool_LoopSeam, IsInTheFileAndBehindTheBeginning) {
    const braq::tests::TemporaryFolder folder;
    const auto file = sineIn(folder.path() / "sine.wav");
    EXPECT_LE(endOfSmoothLoop(*file, 40'000, length), SInt64{length});
    EXPECT_GE(endOfSmoothLoop(*file, 40'000, length), SInt64{length} - 480);
    const SInt64 shortest = endOfSmoothLoop(*file, 1000, 1600);
    EXPECT_GE(shortest, 1480);
    EXPECT_LE(shortest, 2080);
}

} // namespace
