#pragma once

#include "platform/files/reading/FileWindow.h"
#include "platform/files/reading/PacketSource.h"

#include <utility>
#include <vector>

namespace braq {

struct PacketPlace {
    UInt64 offset : 40;
    UInt64 bytes : 24;
};
static_assert(sizeof(PacketPlace) == 8, "What is kept for each packet of a file is bounded; a long file has millions");

/// Packets whose places are in a table of the container, all with the same number of frames.
class TablePackets : public PacketSource {
  public:
    /// @param file must outlive this object
    TablePackets(LocalFile& file, std::vector<PacketPlace> places)
        : mFile(file), mWindow(file), mPlaces(std::move(places)) {}

    /// @param prerollPackets to decode before the packet sought
    void setFrames(UInt32 framesPerPacket, UInt32 prerollPackets);

    void seek(SInt64 frame) override;
    bool next(AVPacket& packet, PacketSpan& span) override;
    SInt64 packetCount() override { return static_cast<SInt64>(mPlaces.size()); }
    std::optional<SInt64> frameOfPacket(SInt64 packet) override;

  private:
    LocalFile& mFile;
    FileWindow mWindow;
    const std::vector<PacketPlace> mPlaces;
    UInt32 mFramesPerPacket = 1;
    UInt32 mPreroll = 0;
    SInt64 mNext = 0;
};

} // namespace braq
