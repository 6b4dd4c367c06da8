#pragma once

#include "platform/files/reading/FileWindow.h"

#include <array>
#include <optional>

namespace braq {

/// The header of an Ogg page.
struct OggPage {
    SInt64 offset;
    UInt32 stream; ///< which stream it belongs to
    UInt32 sequence;
    SInt64 position; ///< frames of the stream up to the end of the last packet that ends here; -1 if none does
    bool continues;  ///< whether it begins with the rest of a packet
    bool isLast;     ///< of its stream
    UInt32 segments;
    std::array<std::uint8_t, 255> segmentBytes; ///< a packet ends with a segment of fewer than 255 bytes
    UInt32 headerBytes;
    UInt32 bodyBytes;

    SInt64 end() const { return offset + headerBytes + bodyBytes; }
    SInt64 body() const { return offset + headerBytes; }
};

/// Nothing if no page begins there, or if the file ends before the page does.
std::optional<OggPage> oggPageAt(FileWindow& window, SInt64 offset, SInt64 end);

/// The first page at or after an offset with a correct checksum.
std::optional<OggPage> findOggPage(FileWindow& window, SInt64 offset, SInt64 end);

} // namespace braq
