#include "platform/files/reading/Tags.h"

#include "platform/files/reading/Bytes.h"

#include <algorithm>

namespace braq {
namespace {

SInt64 endOfLeadingTags(LocalFile& file) {
    SInt64 offset = 0;
    std::uint8_t header[10];
    while (file.readAll(offset, header, sizeof header) && std::memcmp(header, "ID3", 3) == 0 &&
           ((header[6] | header[7] | header[8] | header[9]) & 0x80) == 0) {
        const SInt64 length = header[6] << 21 | header[7] << 14 | header[8] << 7 | header[9];
        const bool hasFooter = (header[5] & 0x10) != 0;
        offset += length + (hasFooter ? 20 : 10);
    }
    return std::min(offset, file.size());
}

SInt64 beginOfTrailingTags(LocalFile& file) {
    SInt64 end = file.size();
    std::uint8_t bytes[32];
    if (end >= 128 && file.readAll(end - 128, bytes, 3) && std::memcmp(bytes, "TAG", 3) == 0) {
        end -= 128;
    }
    if (end >= 32 && file.readAll(end - 32, bytes, 32) && std::memcmp(bytes, "APETAGEX", 8) == 0) {
        const SInt64 length = littleEndianAt<UInt32>(bytes + 12);
        const bool hasHeader = (bytes[23] & 0x80) != 0;
        end -= std::min<SInt64>(end, length + (hasHeader ? 32 : 0));
    }
    return end;
}

} // namespace

SoundBounds soundBounds(LocalFile& file) {
    const SInt64 begin = endOfLeadingTags(file);
    return {begin, std::max(begin, beginOfTrailingTags(file))};
}

} // namespace braq
