#include "tests/platform/files/LinearFlags.h"
#include "tests/platform/files/ReadFile.h"
#include "tests/support/NumberedFiles.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

// Every kind of file, made by the ffmpeg command: what it says about itself, and that every frame is the same from wherever
// it is come to.

namespace {

using braq::tests::big;
using braq::tests::integer;
using braq::tests::lpcm;
using namespace braq::tests;

constexpr UInt32 real = kAudioFormatFlagIsPacked | kAudioFormatFlagIsFloat;

enum class Fidelity {
    lossless,     // the reference's samples
    lossy,        // of its length, and what the ffmpeg command decodes
    otherDecoder, // of its length; the ffmpeg command delivers padding, or noise of another start
    withPadding,  // of its length and the padding in the last packet, which the container does not tell
    unknownLength // as the ffmpeg command decodes it, with what the coding cannot say is not meant to be heard
};

struct Kind {
    const char* file;
    const char* arguments;
    AudioFileTypeID type;
    UInt32 formatID;
    UInt32 flags;
    UInt32 framesPerPacket;
    Fidelity fidelity = Fidelity::lossless;
};

constexpr Float64 referenceRate = 44100;

constexpr UInt32 aac = kAudioFormatMPEG4AAC;
constexpr UInt32 alac = kAudioFormatAppleLossless;

const Kind kinds[] = {
    {"16.wav", "-c:a pcm_s16le", kAudioFileWAVEType, lpcm, integer, 1},
    {"24.wav", "-c:a pcm_s24le", kAudioFileWAVEType, lpcm, integer, 1},
    {"32.wav", "-c:a pcm_s32le", kAudioFileWAVEType, lpcm, integer, 1},
    {"float.wav", "-c:a pcm_f32le", kAudioFileWAVEType, lpcm, real, 1},
    {"double.wav", "-c:a pcm_f64le", kAudioFileWAVEType, lpcm, real, 1},
    {"8.wav", "-c:a pcm_u8", kAudioFileWAVEType, lpcm, kAudioFormatFlagIsPacked, 1, Fidelity::lossy},
    {"long.rf64", "-c:a pcm_s16le -f wav -rf64 always", kAudioFileRF64Type, lpcm, integer, 1},
    {"16.aiff", "-c:a pcm_s16be", kAudioFileAIFFType, lpcm, integer | big, 1},
    {"24.aiff", "-c:a pcm_s24be", kAudioFileAIFFType, lpcm, integer | big, 1},
    {"32.aiff", "-c:a pcm_s32be", kAudioFileAIFFType, lpcm, integer | big, 1},
    {"8.aiff", "-c:a pcm_s8", kAudioFileAIFFType, lpcm, integer, 1, Fidelity::lossy},
    {"little.aifc", "-c:a pcm_s16le -f aiff", kAudioFileAIFCType, lpcm, integer, 1},
    {"float.aifc", "-c:a pcm_f32be -f aiff", kAudioFileAIFCType, lpcm, real | big, 1},
    {"little.caf", "-c:a pcm_s24le", kAudioFileCAFType, lpcm, integer, 1},
    {"big.caf", "-c:a pcm_s16be", kAudioFileCAFType, lpcm, integer | big, 1},
    {"float.caf", "-c:a pcm_f32le", kAudioFileCAFType, lpcm, real, 1},
    {"16.au", "-c:a pcm_s16be", kAudioFileNextType, lpcm, integer | big, 1},
    {"double.au", "-c:a pcm_f64be", kAudioFileNextType, lpcm, real | big, 1},
    {"16.mov", "-c:a pcm_s16be", kAudioFileMPEG4Type, lpcm, integer | big, 1},
    {"24.mov", "-c:a pcm_s24le", kAudioFileMPEG4Type, lpcm, integer, 1},
    {"16.flac", "-c:a flac -frame_size 4096", kAudioFileFLACType, kAudioFormatFLAC, 1, 4096},
    {"24.flac", "-c:a flac -frame_size 4608 -sample_fmt s32", kAudioFileFLACType, kAudioFormatFLAC, 3, 4608},
    {"flac.mp4", "-c:a flac -frame_size 4608 -strict -2", kAudioFileMPEG4Type, kAudioFormatFLAC, 1, 4608},
    {"alac.m4a", "-c:a alac", kAudioFileM4AType, alac, 1, 4096},
    {"alac24.m4a", "-c:a alac -sample_fmt s32p", kAudioFileM4AType, alac, 3, 4096},
    {"alac.mp4", "-c:a alac", kAudioFileMPEG4Type, alac, 1, 4096},
    {"alac.caf", "-c:a alac", kAudioFileCAFType, alac, 1, 4096},
    {"aac.m4a", "-c:a aac", kAudioFileM4AType, aac, 2, 1024, Fidelity::otherDecoder},
    {"first.m4a", "-c:a aac -movflags +faststart", kAudioFileM4AType, aac, 2, 1024, Fidelity::otherDecoder},
    {"parts.mp4", "-c:a aac -movflags frag_keyframe+delay_moov -frag_duration 500000", kAudioFileMPEG4Type, aac, 2,
     1024, Fidelity::withPadding},
    {"aac.aac", "-c:a aac", kAudioFileAAC_ADTSType, aac, 2, 1024, Fidelity::unknownLength},
    {"constant.mp3", "-c:a libmp3lame -b:a 128k", kAudioFileMP3Type, kAudioFormatMPEGLayer3, 0, 1152, Fidelity::lossy},
    {"variable.mp3", "-c:a libmp3lame -q:a 7", kAudioFileMP3Type, kAudioFormatMPEGLayer3, 0, 1152, Fidelity::lossy},
    {"narrow.mp3", "-c:a libmp3lame -b:a 32k", kAudioFileMP3Type, kAudioFormatMPEGLayer3, 0, 1152, Fidelity::lossy},
    {"low.mp3", "-c:a libmp3lame -b:a 8k -ar 22050 -ac 1", kAudioFileMP3Type, kAudioFormatMPEGLayer3, 0, 576,
     Fidelity::lossy},
    {"bare.mp3", "-c:a libmp3lame -b:a 64k -write_xing 0", kAudioFileMP3Type, kAudioFormatMPEGLayer3, 0, 1152,
     Fidelity::unknownLength},
    {"barevariable.mp3", "-c:a libmp3lame -q:a 4 -write_xing 0 -id3v2_version 0 -write_id3v1 1", kAudioFileMP3Type,
     kAudioFormatMPEGLayer3, 0, 1152, Fidelity::unknownLength},
    {"vorbis.ogg", "-c:a libvorbis -q:a 3", kBRAQAudioFileOggType, kBRAQAudioFormatVorbis, 0, 0, Fidelity::lossy},
    {"opus.opus", "-ar 48000 -c:a libopus -b:a 96k", kBRAQAudioFileOggType, kAudioFormatOpus, 0, 960,
     Fidelity::otherDecoder},
    {"speech.opus", "-ar 48000 -ac 1 -c:a libopus -b:a 12k -application voip -frame_duration 60", kBRAQAudioFileOggType,
     kAudioFormatOpus, 0, 2880, Fidelity::otherDecoder},
};

// The reference three times, so that decoders that start anew from time to time do so.
class Files {
  public:
    static Files& instance() {
        static Files files;
        return files;
    }
    std::filesystem::path source() const { return mFolder.path() / "source.wav"; }
    std::filesystem::path get(const Kind& kind) const { return mFolder.path() / kind.file; }
    const std::filesystem::path& folder() const { return mFolder.path(); }

  private:
    Files() {
        encode(audioFile("reference-44k-stereo-16.wav"), "-filter_complex [0][0][0]concat=n=3:v=0:a=1", source());
        std::vector<Encoding> encodings;
        for (const Kind& kind : kinds) {
            encodings.push_back({kind.arguments, get(kind)});
        }
        encode(source(), encodings);
    }
    TemporaryFolder mFolder;
};

std::filesystem::path pathOf(const Kind& kind) { return Files::instance().get(kind); }
Sound reference() { return ReadFile(Files::instance().source()).readRest(); }

void forEachKind(void (*expect)(const Kind&)) {
    for (const Kind& kind : kinds) {
        SCOPED_TRACE(kind.file);
        expect(kind);
    }
}

void expectSaysWhatTheFileHolds(const Kind& kind) {
    ReadFile file(pathOf(kind));
    const AudioStreamBasicDescription format = file.reader().fileFormat();
    EXPECT_EQ(file.reader().fileType(), kind.type);
    EXPECT_EQ(format.mFormatID, kind.formatID);
    EXPECT_EQ(format.mFormatFlags, kind.flags);
    EXPECT_EQ(format.mFramesPerPacket, kind.framesPerPacket);
    EXPECT_EQ(format.mChannelsPerFrame, file.channels());
    if (format.mFormatID == kAudioFormatLinearPCM) {
        EXPECT_EQ(format.mBytesPerFrame, format.mChannelsPerFrame * format.mBitsPerChannel / 8);
        EXPECT_EQ(format.mBytesPerPacket, format.mBytesPerFrame);
    } else {
        EXPECT_EQ(format.mBytesPerPacket, 0U);
        EXPECT_EQ(format.mBytesPerFrame, 0U);
    }
}

void expectDeliversTheFramesThatAreMeantToBeHeard(const Kind& kind) {
    ReadFile file(pathOf(kind));
    const Float64 rate = file.reader().fileFormat().mSampleRate;
    const Sound all = file.readRest();
    EXPECT_EQ(frames(all), file.length());
    EXPECT_EQ(frames(file.read(1)), 0);
    if (kind.fidelity == Fidelity::lossless) {
        EXPECT_EQ(largestDifference(all, reference()), 0);
    }
    const SInt64 length = std::llround(static_cast<Float64>(frames(reference())) * rate / referenceRate);
    if (kind.fidelity == Fidelity::withPadding) {
        EXPECT_GE(file.length(), length);
        EXPECT_LT(file.length(), length + kind.framesPerPacket);
    } else if (kind.fidelity != Fidelity::unknownLength) {
        EXPECT_EQ(file.length(), length);
    }
    if (kind.fidelity == Fidelity::lossy || (kind.fidelity == Fidelity::unknownLength && kind.formatID != aac)) {
        const std::vector<Float32> expected = decodedByCommand(pathOf(kind), Files::instance().folder());
        ASSERT_EQ(static_cast<SInt64>(expected.size()), frames(all) * file.channels());
        std::vector<Float32> found;
        for (SInt64 i = 0; i < frames(all); ++i) {
            for (const auto& plane : all) {
                found.push_back(plane[static_cast<std::size_t>(i)]);
            }
        }
        EXPECT_TRUE(std::ranges::equal(
            found, expected, [](Float32 one, Float32 other) { return std::abs(one - other) <= commandTolerance; }));
    }
}

void expectCountsPacketsSoThatTheyAddUpToTheLength(const Kind& kind) {
    ReadFile file(pathOf(kind));
    const SInt64 packets = file.reader().packetCount();
    const auto table = file.reader().packetTable().value_or(AudioFilePacketTableInfo{file.length(), 0, 0});
    const SInt64 framesPerPacket = file.reader().fileFormat().mFramesPerPacket;
    EXPECT_GT(packets, 0);
    EXPECT_EQ(table.mNumberValidFrames, file.length());
    EXPECT_EQ(file.reader().frameOfPacket(0), 0);
    EXPECT_EQ(file.reader().frameOfPacket(-1), std::nullopt);
    EXPECT_EQ(file.reader().frameOfPacket(packets), std::nullopt);
    if (framesPerPacket != 0) {
        EXPECT_EQ(packets * framesPerPacket - table.mPrimingFrames - table.mRemainderFrames, file.length());
        EXPECT_EQ(file.reader().frameOfPacket(packets - 1), (packets - 1) * framesPerPacket);
    } else {
        SInt64 last = 0;
        for (SInt64 packet = 0; packet < packets; ++packet) {
            const auto frame = file.reader().frameOfPacket(packet);
            ASSERT_TRUE(frame && *frame >= last);
            last = *frame;
        }
        EXPECT_LT(last, file.length() + table.mPrimingFrames);
    }
}

void expectDeliversTheSameFramesAfterASeekAsInOneGo(const Kind& kind) {
    const Sound all = ReadFile(pathOf(kind)).readRest();
    ReadFile file(pathOf(kind));
    const SInt64 length = file.length();
    const auto table = file.reader().packetTable().value_or(AudioFilePacketTableInfo{});
    std::mt19937 random(static_cast<unsigned char>(kind.file[0]));
    const auto below = [&](SInt64 end) { return std::uniform_int_distribution<SInt64>(0, end - 1)(random); };
    std::vector<SInt64> places{0, 1, length - 1, length / 2, 0, length, length + 100};
    for (int i = 0; i < 30; ++i) {
        places.push_back(below(length));
        const SInt64 boundary =
            file.reader().frameOfPacket(below(file.reader().packetCount())).value_or(0) - table.mPrimingFrames;
        places.push_back(std::clamp<SInt64>(boundary, 0, length));
        places.push_back(std::clamp<SInt64>(boundary - 1, 0, length));
    }
    for (const SInt64 place : places) {
        const auto count = static_cast<UInt32>(1 + below(6000));
        const Sound found = file.readAt(place, count);
        const Sound expected = part(all, place, count);
        ASSERT_EQ(frames(found), frames(expected)) << "at " << place;
        ASSERT_EQ(largestDifference(found, expected), 0) << "at " << place;
    }
}

void expectDeliversTheSameFramesInCallsOfAnySize(const Kind& kind) {
    const Sound all = ReadFile(pathOf(kind)).readRest();
    for (const UInt32 size : {1000003U, 7919U, 441U, 1U}) {
        ReadFile file(pathOf(kind));
        const SInt64 some = size == 1 ? 3000 : frames(all); // one by one takes its time
        Sound found(file.channels());
        for (SInt64 done = 0; done < some;) {
            const Sound block = file.read(size);
            ASSERT_GT(frames(block), 0);
            done += frames(block);
            for (std::size_t i = 0; i < found.size(); ++i) {
                found[i].insert(found[i].end(), block[i].begin(), block[i].end());
            }
        }
        EXPECT_EQ(largestDifference(found, part(all, 0, some)), 0) << "in calls of " << size;
    }
}

void expectDeliversTheSameFramesInBlocksFromTheEndToTheBeginning(const Kind& kind) {
    const Sound all = ReadFile(pathOf(kind)).readRest();
    ReadFile file(pathOf(kind));
    for (const UInt32 size : {4096U, 1000U}) {
        for (SInt64 end = file.length(); end > 0;) {
            const SInt64 begin = std::max<SInt64>(end - size, 0);
            const Sound block = file.readAt(begin, static_cast<UInt32>(end - begin));
            ASSERT_EQ(largestDifference(block, part(all, begin, end - begin)), 0) << "at " << begin;
            end = begin;
        }
    }
}

TEST(FileReader_Formats, SaysWhatTheFileHolds) { forEachKind(&expectSaysWhatTheFileHolds); }
TEST(FileReader_Formats, DeliversTheFramesThatAreMeantToBeHeard) {
    forEachKind(&expectDeliversTheFramesThatAreMeantToBeHeard);
}
TEST(FileReader_Formats, CountsPacketsSoThatTheyAddUpToTheLength) {
    forEachKind(&expectCountsPacketsSoThatTheyAddUpToTheLength);
}
TEST(FileReader_Formats, DeliversTheSameFramesAfterASeekAsInOneGo) {
    forEachKind(&expectDeliversTheSameFramesAfterASeekAsInOneGo);
}
TEST(FileReader_Formats, DeliversTheSameFramesInCallsOfAnySize) {
    forEachKind(&expectDeliversTheSameFramesInCallsOfAnySize);
}
TEST(FileReader_Formats, DeliversTheSameFramesInBlocksFromTheEndToTheBeginning) {
    forEachKind(&expectDeliversTheSameFramesInBlocksFromTheEndToTheBeginning);
}

} // namespace
