#include "platform/files/reading/FlacFrame.h"

#include "platform/files/reading/Bytes.h"

extern "C" {
#include <libavutil/crc.h>
}

#include <array>
#include <bit>

namespace braq {
namespace {

// Reads the bytes of a header. Reading beyond them is an error that `isGood` reports.
class Reader {
  public:
    explicit Reader(std::span<const std::uint8_t> bytes) : mBytes(bytes) {}

    UInt32 byte() {
        if (mPosition >= mBytes.size()) {
            mIsGood = false;
            return 0;
        }
        return mBytes[mPosition++];
    }
    // A number in UTF-8 coding, with up to 36 bits.
    SInt64 number() {
        const UInt32 first = byte();
        if (first < 0x80) {
            return first;
        }
        const int length = std::countl_one(static_cast<std::uint8_t>(first));
        if (length < 2 || length > 7) {
            mIsGood = false;
            return 0;
        }
        SInt64 value = length < 7 ? first & (0x7FU >> length) : 0;
        for (int i = 1; i < length; ++i) {
            const UInt32 next = byte();
            mIsGood = mIsGood && (next & 0xC0) == 0x80;
            value = value << 6 | (next & 0x3F);
        }
        return value;
    }
    bool isGood() const { return mIsGood; }
    std::size_t position() const { return mPosition; }

  private:
    std::span<const std::uint8_t> mBytes;
    std::size_t mPosition = 0;
    bool mIsGood = true;
};

constexpr std::array<UInt32, 12> rates{0, 88200, 176400, 192000, 8000, 16000, 22050, 24000, 32000, 44100, 48000, 96000};
constexpr std::array<UInt32, 8> depths{0, 8, 12, 0, 16, 20, 24, 32};

UInt32 blockLength(UInt32 code, Reader& reader) {
    switch (code) {
    case 0: return 0;
    case 1: return 192;
    case 6: return reader.byte() + 1;
    case 7: {
        const UInt32 high = reader.byte();
        return (high << 8 | reader.byte()) + 1;
    }
    default: return code < 6 ? 576U << (code - 2) : 256U << (code - 8);
    }
}

UInt32 sampleRate(UInt32 code, Reader& reader, UInt32 ofStream) {
    if (code == 0) {
        return ofStream;
    }
    if (code < rates.size()) {
        return rates[code];
    }
    if (code == 12) {
        return reader.byte() * 1000;
    }
    const UInt32 high = reader.byte();
    const UInt32 value = high << 8 | reader.byte();
    return code == 13 ? value : value * 10;
}

} // namespace

FlacStream flacStream(const std::uint8_t (&block)[flacStreamInfoBytes]) {
    const auto packed = bigEndianAt<UInt64>(block + 10); // 20 bits, 3, 5 and 36
    return {bigEndianAt<UInt16>(block),
            bigEndianAt<UInt16>(block + 2),
            static_cast<UInt32>(packed >> 44),
            static_cast<UInt32>(packed >> 41 & 7) + 1,
            static_cast<UInt32>(packed >> 36 & 31) + 1,
            static_cast<SInt64>(packed & 0xFFFFFFFFF)};
}

std::optional<FlacFrame> flacFrame(std::span<const std::uint8_t> bytes, const FlacStream& stream) {
    // The sync code, and a bit that says whether the number below counts packets (0) or frames (1).
    if (bytes.size() < 6 || bytes[0] != 0xFF || (bytes[1] & 0xFE) != 0xF8) {
        return {};
    }
    const bool countsFrames = (bytes[1] & 1) != 0;
    const UInt32 channelCode = bytes[3] >> 4;
    const UInt32 depthCode = bytes[3] >> 1 & 7;
    const UInt32 rateCode = bytes[2] & 15;
    const UInt32 channels = channelCode < 8 ? channelCode + 1 : 2;
    if ((bytes[3] & 1) != 0 || channelCode > 10 || channels != stream.channels || rateCode == 15 ||
        (depthCode != 0 && depths[depthCode] != stream.bitsPerSample)) {
        return {};
    }
    Reader reader(bytes.subspan(4));
    FlacFrame frame{};
    const SInt64 number = reader.number();
    frame.frames = blockLength(bytes[2] >> 4, reader);
    const UInt32 rate = sampleRate(rateCode, reader, stream.sampleRate);
    if (!reader.isGood() || frame.frames == 0 || frame.frames > stream.longestBlock || rate != stream.sampleRate) {
        return {};
    }
    frame.firstFrame = countsFrames ? number : number * stream.longestBlock;
    frame.headerBytes = static_cast<UInt32>(4 + reader.position() + 1);
    // Including its checksum, the remainder is 0.
    const bool isWhole = reader.byte() <= 0xFF && reader.isGood() &&
                         av_crc(av_crc_get_table(AV_CRC_8_ATM), 0, bytes.data(), frame.headerBytes) == 0;
    return isWhole ? std::optional(frame) : std::nullopt;
}

} // namespace braq
