#include "platform/files/writing/VerbatimALAC.h"

#include "platform/samples/SampleLayout.h"

#include <array>
#include <span>

namespace braq {
namespace {

class BitWriter {
  public:
    void put(UInt32 value, UInt32 count) {
        while (count-- > 0) {
            if (mFree == 0) {
                mBytes.push_back(0);
                mFree = 8;
            }
            --mFree;
            mBytes.back() = static_cast<std::uint8_t>(mBytes.back() | ((value >> count) & 1U) << mFree);
        }
    }
    std::vector<std::uint8_t> take() { return std::move(mBytes); }

  private:
    std::vector<std::uint8_t> mBytes;
    UInt32 mFree = 0; // bits of the last byte
};

// Each element has a single channel or a pair. These are the elements of the channels, in order.
constexpr UInt32 single = 0;
constexpr UInt32 pair = 1;
constexpr UInt32 end = 7;

struct Arrangement {
    std::array<UInt8, 5> elements;
    std::array<UInt8, 8> channels;
};

constexpr Arrangement arrangements[] = {
    {{single}, {0}},
    {{pair}, {0, 1}},
    {{single, pair}, {2, 0, 1}},
    {{single, pair, single}, {2, 0, 1, 3}},
    {{single, pair, pair}, {2, 0, 1, 3, 4}},
    {{single, pair, pair, single}, {2, 0, 1, 4, 5, 3}},
    {{single, pair, pair, single, single}, {2, 0, 1, 4, 5, 6, 3}},
    {{single, pair, pair, pair, single}, {2, 6, 7, 0, 1, 4, 5, 3}},
};

void putHeader(BitWriter& bits, UInt32 element, UInt32 instance, std::size_t frames) {
    bits.put(element, 3);
    bits.put(instance, 4);
    bits.put(0, 12); // unused
    bits.put(1, 1);  // the frame count is stated
    bits.put(0, 2);  // bytes that are stored apart
    bits.put(1, 1);  // verbatim
    bits.put(static_cast<UInt32>(frames), 32);
}

UInt32 integerOf(Float32 sample, UInt32 bits) {
    const SampleLayout layout{SampleLayout::Sort::signedInteger, bits, bits / 8, true};
    std::array<std::byte, 3> bytes{};
    convertSamples(&sample, 1, layout, bytes.data(), bytes.size());
    UInt32 value = 0;
    for (UInt32 i = 0; i < bits / 8; ++i) {
        value = value << 8 | std::to_integer<UInt32>(bytes[i]);
    }
    return value;
}

} // namespace

std::vector<std::uint8_t> verbatimALAC(const FramePlanes& planes, std::size_t frames, UInt32 bits) {
    const Arrangement& arrangement = arrangements[planes.channels() - 1];
    BitWriter packet;
    std::array<UInt32, 2> instances{};
    for (UInt32 first = 0, i = 0; first < planes.channels(); ++i) {
        const UInt32 element = arrangement.elements[i];
        putHeader(packet, element, instances[element]++, frames);
        const std::span channels(&arrangement.channels[first], element == pair ? 2 : 1);
        for (std::size_t frame = 0; frame < frames; ++frame) {
            for (const UInt8 channel : channels) {
                packet.put(integerOf(planes.channel(channel)[frame], bits), bits);
            }
        }
        first += static_cast<UInt32>(channels.size());
    }
    packet.put(end, 3);
    return packet.take();
}

} // namespace braq
