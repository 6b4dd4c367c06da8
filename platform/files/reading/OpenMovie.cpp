#include "platform/files/libav/LibavChannels.h"
#include "platform/files/reading/LibavContainer.h"
#include "platform/files/reading/MovieTimes.h"
#include "platform/files/reading/OpenSource.h"
#include "platform/files/reading/OpenTable.h"
#include "platform/files/reading/PcmSource.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace braq {
namespace {

// Some encoders state them in a text tag: hexadecimal numbers, of which the second to fourth are priming, padding and
// frames.
std::optional<HeardPart> partFromText(const std::string& text) {
    unsigned priming = 0;
    unsigned padding = 0;
    unsigned long long frames = 0;
    if (std::sscanf(text.c_str(), " %*x %x %x %llx", &priming, &padding, &frames) != 3 || frames == 0) {
        return {};
    }
    return HeardPart{priming, static_cast<SInt64>(std::min<unsigned long long>(frames, INT64_MAX))};
}

HeardPart partFromTimes(const MovieTimes& times, Float64 sampleRate) {
    const Float64 framesPerUnit = sampleRate / times.unitsPerSecond;
    const auto frames = [&](Float64 units) { return static_cast<SInt64>(std::llround(units * framesPerUnit)); };
    if (!times.edit) {
        return {0, frames(static_cast<Float64>(times.mediaUnits))};
    }
    const SInt64 left = times.mediaUnits - times.edit->mediaTime;
    // An edit states its length in the movie's units, which can be coarse. If it means everything that is left, the
    // packets have the exact length.
    const bool isEverything =
        std::abs(times.edit->mediaUnits - static_cast<Float64>(left)) <= times.tolerance || times.edit->mediaUnits == 0;
    return {frames(static_cast<Float64>(times.edit->mediaTime)),
            frames(isEverything ? static_cast<Float64>(left) : times.edit->mediaUnits)};
}

AudioFileTypeID movieType(const LibavContainer& container) {
    const std::string brand = container.metadata("major_brand");
    return brand.starts_with("M4A") || brand.starts_with("M4B") ? kAudioFileM4AType : kAudioFileMPEG4Type;
}

std::unique_ptr<SampleSource> openLinear(std::unique_ptr<LocalFile>& file, const LibavContainer& container,
                                         const std::vector<PacketPlace>& chunks, const PcmFormat& pcm) {
    const auto channels = static_cast<UInt32>(container.codec().ch_layout.nb_channels);
    FileFacts facts{movieType(container), linearFormat(pcm, container.codec().sample_rate, channels), 0,
                    positionsOf(container.codec().ch_layout)};
    std::vector<PcmExtent> extents;
    for (const auto& chunk : chunks) {
        const auto offset = static_cast<SInt64>(chunk.offset);
        const auto frames = static_cast<SInt64>(chunk.bytes / facts.format.mBytesPerFrame);
        const bool continues =
            !extents.empty() && extents.back().offset + extents.back().frames * facts.format.mBytesPerFrame == offset;
        if (continues) {
            extents.back().frames += frames;
        } else {
            extents.push_back({offset, facts.lengthFrames, frames});
        }
        facts.lengthFrames += frames;
    }
    return std::make_unique<PcmSource>(std::move(file), pcm, facts, std::move(extents));
}

} // namespace

std::unique_ptr<SampleSource> openMovie(std::unique_ptr<LocalFile> file, const std::string& format) {
    auto container = LibavContainer::open(*file, format);
    auto times = container ? movieTimes(*file, static_cast<UInt32>(container->stream().id)) : std::nullopt;
    if (!times) {
        return nullptr;
    }
    auto places = times->isFragmented ? std::optional(placesByReading(*file, *container))
                                      : placesByTable(*file, *container, file->size());
    if (!places) {
        return nullptr;
    }
    if (const PcmFormat* const pcm = pcmFormat(container->codec().codec_id)) {
        return openLinear(file, *container, *places, *pcm);
    }
    const std::string text = container->metadata("iTunSMPB");
    const auto heard = [&](Float64 sampleRate, SInt64 frames) {
        if (times->mediaUnits == 0) { // the tables are elsewhere, and libav has no sum of them
            times->mediaUnits = std::llround(static_cast<Float64>(frames) * times->unitsPerSecond / sampleRate);
        }
        return partFromText(text).value_or(partFromTimes(*times, sampleRate));
    };
    return openTable(file, *container, movieType(*container), std::move(*places), heard);
}

} // namespace braq
