#include "platform/files/reading/MpegFrame.h"

#include "tests/platform/files/MadeBytes.h"

#include <gtest/gtest.h>

#include <array>

namespace {

using braq::adtsFrame;
using braq::layerIIIFrame;
using braq::MpegFrame;
using braq::tests::MadeBytes;

/// The fields of a layer III header.
struct Layer {
    UInt32 version = 3; // MPEG-1
    UInt32 layer = 1;   // III
    UInt32 hasNoCheck = 1;
    UInt32 bitRate = 9;
    UInt32 rate = 0;
    UInt32 padding = 0;
    UInt32 isPrivate = 0;
    UInt32 mode = 0;
    UInt32 rest = 0; // mode extension, copyright, original, emphasis
    UInt32 sync = 0x7FF;
};

std::optional<MpegFrame> read(const Layer& of) {
    return layerIIIFrame(MadeBytes()
                             .bigEndian(of.sync << 21 | of.version << 19 | of.layer << 17 | of.hasNoCheck << 16 |
                                            of.bitRate << 12 | of.rate << 10 | of.padding << 9 | of.isPrivate << 8 |
                                            of.mode << 6 | of.rest,
                                        4)
                             .get());
}

// Lengths from the standard's formula: 144 or 72 times the bit rate over the sample rate, rounded down, and the padding.
TEST(Files_LayerIIIFrame, IsAsLongAsItsRatesSay) {
    constexpr std::array<UInt32, 14> fast{32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320};
    constexpr std::array<UInt32, 14> slow{8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160};
    struct Version {
        UInt32 code;
        const std::array<UInt32, 14>& kilobits;
        UInt32 divisor;
        UInt32 factor;
        UInt32 frames;
    };
    constexpr std::array<UInt32, 3> rates{44100, 48000, 32000};
    for (const Version& version :
         {Version{3, fast, 1, 144, 1152}, Version{2, slow, 2, 72, 576}, Version{0, slow, 4, 72, 576}}) {
        for (UInt32 rate = 0; rate < 3; ++rate) {
            for (UInt32 bitRate = 1; bitRate < 15; ++bitRate) {
                for (const UInt32 padding : {0U, 1U}) {
                    const auto frame =
                        read(Layer{.version = version.code, .bitRate = bitRate, .rate = rate, .padding = padding});
                    ASSERT_TRUE(frame);
                    const UInt32 hertz = rates[rate] / version.divisor;
                    EXPECT_EQ(frame->sampleRate, hertz);
                    EXPECT_EQ(frame->frames, version.frames);
                    EXPECT_EQ(frame->bytes, version.factor * version.kilobits[bitRate - 1] * 1000 / hertz + padding);
                    EXPECT_EQ(frame->isLowSampling, version.code != 3);
                }
            }
        }
    }
}

TEST(Files_LayerIIIFrame, HasItsSideInformationBehindHeaderAndCheck) {
    for (const UInt32 mode : {0U, 1U, 2U, 3U}) {
        const UInt32 channels = mode == 3 ? 1 : 2;
        for (const UInt32 version : {3U, 2U, 0U}) {
            const UInt32 side = version == 3 ? (channels == 1 ? 17 : 32) : (channels == 1 ? 9 : 17);
            const auto plain = read(Layer{.version = version, .mode = mode});
            ASSERT_TRUE(plain);
            EXPECT_EQ(plain->channels, channels);
            EXPECT_EQ(plain->sideBytes, 4 + side);
            EXPECT_EQ(read(Layer{.version = version, .hasNoCheck = 0, .mode = mode})->sideBytes, 6 + side);
        }
    }
}

TEST(Files_LayerIIIFrame, BelongsToAStreamByWhatDoesNotChangeInIt) {
    const UInt32 stream = read(Layer{})->stream;
    EXPECT_EQ(read(Layer{.hasNoCheck = 0})->stream, stream);
    EXPECT_EQ(read(Layer{.bitRate = 1})->stream, stream);
    EXPECT_EQ(read(Layer{.padding = 1})->stream, stream);
    EXPECT_EQ(read(Layer{.isPrivate = 1})->stream, stream);
    EXPECT_EQ(read(Layer{.mode = 1, .rest = 0x3F})->stream, stream);
    EXPECT_NE(read(Layer{.rate = 1})->stream, stream);
    EXPECT_NE(read(Layer{.version = 2})->stream, stream);
}

TEST(Files_LayerIIIFrame, IsRefusedWhereTheHeaderIsNone) {
    ASSERT_TRUE(read(Layer{}));
    EXPECT_FALSE(read(Layer{.version = 1}));
    EXPECT_FALSE(read(Layer{.rate = 3}));
    EXPECT_FALSE(read(Layer{.bitRate = 0}));
    EXPECT_FALSE(read(Layer{.bitRate = 15}));
    for (const UInt32 layer : {0U, 2U, 3U}) {
        EXPECT_FALSE(read(Layer{.layer = layer}));
    }
    for (UInt32 bit = 0; bit < 11; ++bit) {
        EXPECT_FALSE(read(Layer{.sync = 0x7FFU ^ 1U << bit})) << bit;
    }
    EXPECT_FALSE(layerIIIFrame(MadeBytes{0xFF, 0xFB, 0x90}.get()));
    EXPECT_TRUE(layerIIIFrame(MadeBytes{0xFF, 0xFB, 0x90, 0x00}.get()));
}

/// The fields of an ADTS header.
struct Adts {
    UInt64 sync = 0xFFF;
    UInt64 id = 0;
    UInt64 layer = 0;
    UInt64 hasNoCheck = 1;
    UInt64 profile = 1;
    UInt64 rate = 4;
    UInt64 isPrivate = 0;
    UInt64 channels = 2;
    UInt64 copyright = 0;
    UInt64 length = 200;
    UInt64 fullness = 0x7FF;
};

std::optional<MpegFrame> read(const Adts& of) {
    const UInt64 header = of.sync << 44 | of.id << 43 | of.layer << 41 | of.hasNoCheck << 40 | of.profile << 38 |
                          of.rate << 34 | of.isPrivate << 33 | of.channels << 30 | of.copyright << 26 |
                          of.length << 13 | of.fullness << 2;
    return adtsFrame(MadeBytes().bigEndian(header, 7).get());
}

TEST(Files_AdtsFrame, IsAsItsHeaderSays) {
    constexpr std::array<UInt32, 13> rates{96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                           22050, 16000, 12000, 11025, 8000,  7350};
    constexpr std::array<UInt32, 8> channels{0, 1, 2, 3, 4, 5, 6, 8};
    for (UInt32 rate = 0; rate < 16; ++rate) {
        for (UInt32 code = 0; code < 8; ++code) {
            const auto frame = read(Adts{.rate = rate, .channels = code});
            ASSERT_EQ(frame.has_value(), rate < rates.size()) << rate;
            if (frame) {
                EXPECT_EQ(frame->sampleRate, rates[rate]);
                EXPECT_EQ(frame->channels, channels[code]);
                EXPECT_EQ(frame->frames, 1024U);
            }
        }
    }
    for (const UInt32 length : {7U, 8U, 1023U, 1024U, 0x1FFFU}) {
        EXPECT_EQ(read(Adts{.length = length})->bytes, length);
    }
}

TEST(Files_AdtsFrame, IsRefusedWhereTheHeaderIsNone) {
    EXPECT_FALSE(read(Adts{.length = 6}));
    EXPECT_FALSE(read(Adts{.hasNoCheck = 0, .length = 8})) << "with a check of two bytes";
    EXPECT_TRUE(read(Adts{.hasNoCheck = 0, .length = 9}));
    for (const UInt64 layer : {1U, 2U, 3U}) {
        EXPECT_FALSE(read(Adts{.layer = layer})) << "the other layers of MPEG";
    }
    for (UInt32 bit = 0; bit < 12; ++bit) {
        EXPECT_FALSE(read(Adts{.sync = 0xFFFU ^ 1U << bit})) << bit;
    }
    EXPECT_FALSE(adtsFrame(MadeBytes{0xFF, 0xF1, 0x50, 0x80, 0x19, 0x1F}.get()));
    EXPECT_TRUE(adtsFrame(MadeBytes{0xFF, 0xF1, 0x50, 0x80, 0x19, 0x1F, 0xFC}.get()));
}

TEST(Files_AdtsFrame, BelongsToAStreamByWhatDoesNotChangeInIt) {
    const UInt32 stream = read(Adts{})->stream;
    EXPECT_EQ(read(Adts{.hasNoCheck = 0})->stream, stream);
    EXPECT_EQ(read(Adts{.isPrivate = 1})->stream, stream);
    EXPECT_EQ(read(Adts{.copyright = 3, .length = 0x1FFF, .fullness = 0})->stream, stream);
    EXPECT_NE(read(Adts{.id = 1})->stream, stream);
    EXPECT_NE(read(Adts{.profile = 2})->stream, stream);
    EXPECT_NE(read(Adts{.rate = 5})->stream, stream);
    EXPECT_NE(read(Adts{.channels = 1})->stream, stream);
}

} // namespace
