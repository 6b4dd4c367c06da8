#include "platform/files/reading/MpegFrame.h"

#include "platform/files/reading/Bytes.h"

#include <array>

namespace braq {
namespace {

constexpr std::array<UInt32, 16> kilobits1{0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 0};
constexpr std::array<UInt32, 16> kilobits2{0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0};
constexpr std::array<UInt32, 3> layerIIIRates{44100, 48000, 32000};
constexpr std::array<UInt32, 13> adtsRates{96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                           22050, 16000, 12000, 11025, 8000,  7350};
constexpr std::array<UInt32, 8> adtsChannels{0, 1, 2, 3, 4, 5, 6, 8};

} // namespace

std::optional<MpegFrame> layerIIIFrame(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < 4) {
        return {};
    }
    const auto header = bigEndianAt<UInt32>(bytes.data());
    const UInt32 version = header >> 19 & 3; // 3: MPEG-1, 2: MPEG-2, 0: MPEG-2.5
    const UInt32 layer = header >> 17 & 3;   // 1: III
    const UInt32 rateIndex = header >> 10 & 3;
    const UInt32 kilobits = (version == 3 ? kilobits1 : kilobits2)[header >> 12 & 15];
    if (header >> 21 != 0x7FF || version == 1 || layer != 1 || rateIndex == 3 || kilobits == 0) {
        return {};
    }
    const bool isLow = version != 3;
    const UInt32 rate = layerIIIRates[rateIndex] >> (version == 3 ? 0 : version == 2 ? 1 : 2);
    const bool isMono = (header >> 6 & 3) == 3;
    const UInt32 padding = header >> 9 & 1;
    const UInt32 checkBytes = (header >> 16 & 1) == 0 ? 2 : 0;
    MpegFrame frame{};
    frame.frames = isLow ? 576 : 1152;
    frame.bytes = frame.frames / 8 * kilobits * 1000 / rate + padding;
    frame.sampleRate = rate;
    frame.channels = isMono ? 1 : 2;
    frame.stream = header & 0xFFFE0C00;
    frame.sideBytes = 4 + checkBytes + (isLow ? (isMono ? 9U : 17U) : (isMono ? 17U : 32U));
    frame.isLowSampling = isLow;
    return frame;
}

std::optional<MpegFrame> adtsFrame(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < mpegHeaderBytes) {
        return {};
    }
    const auto header = bigEndianAt<UInt32>(bytes.data());
    const UInt32 rateIndex = header >> 10 & 15;
    const UInt32 length = bigEndianAt<UInt32>(bytes.data() + 3) >> 13 & 0x1FFF;
    const bool hasNoCheck = (header >> 16 & 1) != 0;
    if (header >> 20 != 0xFFF || (header >> 17 & 3) != 0 || rateIndex >= adtsRates.size() ||
        length < (hasNoCheck ? 7U : 9U)) {
        return {};
    }
    MpegFrame frame{};
    frame.frames = 1024;
    frame.bytes = length;
    frame.sampleRate = adtsRates[rateIndex];
    frame.channels = adtsChannels[header >> 6 & 7];
    frame.stream = header & 0xFFFEFDC0; // except the CRC flag and the private bit
    return frame;
}

} // namespace braq
