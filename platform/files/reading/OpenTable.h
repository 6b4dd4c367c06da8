#pragma once

#include "platform/files/reading/LibavContainer.h"
#include "platform/files/reading/SampleSource.h"
#include "platform/files/reading/TablePackets.h"

#include <functional>
#include <optional>

namespace braq {

/// Which frames of the packets are audio.
struct HeardPart {
    SInt64 priming;
    SInt64 frames;
};

/// The packets' places by the container's table, as far as they are completely in the file.
/// @param end of the last packet, for a table with begins only
/// @return nothing if the table belongs to another file
std::optional<std::vector<PacketPlace>> placesByTable(LocalFile& file, LibavContainer& container, SInt64 end);
/// The same by reading the whole file, for a container without a single table.
std::vector<PacketPlace> placesByReading(LocalFile& file, LibavContainer& container);

/// Packets in a container with a table.
/// @param file is taken on success
/// @param heard is called with the rate and the frames of all packets
/// @return null if they cannot be decoded
std::unique_ptr<SampleSource> openTable(std::unique_ptr<LocalFile>& file, const LibavContainer& container,
                                        AudioFileTypeID type, std::vector<PacketPlace> places,
                                        const std::function<HeardPart(Float64 sampleRate, SInt64 frames)>& heard);

} // namespace braq
