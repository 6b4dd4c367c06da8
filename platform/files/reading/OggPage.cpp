#include "platform/files/reading/OggPage.h"

#include "platform/files/reading/Bytes.h"

extern "C" {
#include <libavutil/crc.h>
}

#include <algorithm>
#include <cstring>
#include <numeric>
#include <vector>

namespace braq {
namespace {

constexpr std::size_t fixedBytes = 27;
constexpr std::size_t checksumOffset = 22;

bool isIntact(FileWindow& window, const OggPage& page) {
    const auto length = static_cast<std::size_t>(page.end() - page.offset);
    const auto bytes = window.at(page.offset, length);
    if (bytes.size() < length) {
        return false;
    }
    // The checksum is computed with zeros in its place.
    const AVCRC* const table = av_crc_get_table(AV_CRC_32_IEEE);
    constexpr std::array<std::uint8_t, 4> zeros{};
    UInt32 sum = av_crc(table, 0, bytes.data(), checksumOffset);
    sum = av_crc(table, sum, zeros.data(), zeros.size());
    sum = av_crc(table, sum, bytes.data() + checksumOffset + zeros.size(), length - checksumOffset - zeros.size());
    return reverseBytes(sum) == littleEndianAt<UInt32>(bytes.data() + checksumOffset);
}

} // namespace

std::optional<OggPage> oggPageAt(FileWindow& window, SInt64 offset, SInt64 end) {
    const auto bytes = window.at(offset, fixedBytes + 255);
    if (bytes.size() < fixedBytes || std::memcmp(bytes.data(), "OggS\0", 5) != 0) {
        return {};
    }
    OggPage page{};
    page.offset = offset;
    page.continues = (bytes[5] & 1) != 0;
    page.isLast = (bytes[5] & 4) != 0;
    page.position = littleEndianAt<SInt64>(bytes.data() + 6);
    page.stream = littleEndianAt<UInt32>(bytes.data() + 14);
    page.sequence = littleEndianAt<UInt32>(bytes.data() + 18);
    page.segments = bytes[26];
    page.headerBytes = static_cast<UInt32>(fixedBytes) + page.segments;
    if (bytes.size() < page.headerBytes) {
        return {};
    }
    std::copy_n(bytes.begin() + fixedBytes, page.segments, page.segmentBytes.begin());
    page.bodyBytes = std::accumulate(page.segmentBytes.begin(), page.segmentBytes.end(), UInt32{0});
    return page.end() <= end ? std::optional(page) : std::nullopt;
}

std::optional<OggPage> findOggPage(FileWindow& window, SInt64 offset, SInt64 end) {
    while (offset + static_cast<SInt64>(fixedBytes) <= end) {
        const auto bytes = window.at(offset, fixedBytes);
        if (bytes.size() < fixedBytes) {
            return {};
        }
        const void* const found = std::memchr(bytes.data(), 'O', bytes.size());
        if (found == nullptr) {
            offset += static_cast<SInt64>(bytes.size());
            continue;
        }
        offset += static_cast<const std::uint8_t*>(found) - bytes.data();
        const auto page = oggPageAt(window, offset, end);
        if (page && isIntact(window, *page)) {
            return page;
        }
        ++offset;
    }
    return {};
}

} // namespace braq
