#include "BRAQAudio/platform/BRAQAudioFileFormats.h"

#include "platform/files/formats/FileTypes.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace braq {
namespace {

constexpr std::pair<AudioFileTypeID, const char*> typeNames[] = {
    {kAudioFileWAVEType, "WAVE"},     {kAudioFileRF64Type, "RF64"}, {kAudioFileAIFFType, "AIFF"},
    {kAudioFileAIFCType, "AIFC"},     {kAudioFileCAFType, "CAF"},   {kAudioFileNextType, "NeXT"},
    {kAudioFileFLACType, "FLAC"},     {kAudioFileM4AType, "M4A"},   {kAudioFileMPEG4Type, "MPEG-4"},
    {kAudioFileAAC_ADTSType, "ADTS"}, {kAudioFileMP3Type, "MP3"},   {kBRAQAudioFileOggType, "Ogg"},
};
constexpr std::pair<UInt32, const char*> codingNames[] = {
    {kAudioFormatLinearPCM, "linear PCM"},
    {kAudioFormatAppleLossless, "ALAC"},
    {kAudioFormatFLAC, "FLAC"},
    {kAudioFormatMPEG4AAC, "AAC"},
    {kAudioFormatMPEGLayer3, "MPEG layer 3"},
    {kBRAQAudioFormatVorbis, "Vorbis"},
    {kAudioFormatOpus, "Opus"},
};

template <class Names>
const char* nameOfCode(const Names& names, UInt32 code) {
    return std::ranges::find(names, code, [](const auto& each) { return each.first; })->second;
}

BRAQAudioFileFormat formatOf(const FileHolding& holding) {
    const auto& [muxer, rates, channels, killed] = holding.writing;
    BRAQAudioFileFormat format{.fileType = holding.type,
                               .fileTypeName = nameOfCode(typeNames, holding.type),
                               .extensions = extensionsOfFileType(holding.type),
                               .formatID = holding.formatID,
                               .formatName = nameOfCode(codingNames, holding.formatID),
                               .samples = {},
                               .canBeWritten = holding.canBeWritten(),
                               .rates = {rates.begin(), rates.end()},
                               .channels = {},
                               .survival = killed.survival,
                               .mostPacketsLost = killed.mostPacketsLost,
                               .survivesForOthers = killed.forOthers,
                               .canBeWrittenForwards = muxer.writesForwards};
    for (const auto& sample : holding.samples) {
        format.samples.push_back({sample.name, sample.description(holding.formatID)});
    }
    for (const auto& [fewest, most] : channels) {
        for (UInt32 count = fewest; count <= most; ++count) {
            format.channels.push_back(count);
        }
    }
    return format;
}

} // namespace

AudioStreamBasicDescription FileHolding::Sample::description(UInt32 coding) const {
    AudioStreamBasicDescription described{};
    described.mFormatID = coding;
    described.mFormatFlags = flags;
    described.mBitsPerChannel = bits;
    return described;
}

const BRAQAudioFileFormat* audioFileFormat(AudioFileTypeID type, UInt32 formatID) {
    const auto& formats = BRAQAudioFileFormats();
    const auto found = std::ranges::find_if(
        formats, [&](const BRAQAudioFileFormat& each) { return each.fileType == type && each.formatID == formatID; });
    return found != formats.end() ? &*found : nullptr;
}

} // namespace braq

bool BRAQAudioFileFormat::allowsRate(Float64 rate) const noexcept {
    return std::ranges::any_of(rates, [&](const BRAQAudioFileRates& each) {
        const bool isInside = rate >= each.first && rate <= each.last; // so that it can be converted; false for NaN
        return isInside && rate == static_cast<UInt32>(rate) &&
               (static_cast<UInt32>(rate) - each.first) % each.step == 0;
    });
}

bool BRAQAudioFileFormat::allowsChannels(UInt32 count) const noexcept {
    return std::ranges::binary_search(channels, count);
}

const BRAQAudioFileSample* BRAQAudioFileFormat::sampleNamed(std::string_view name) const noexcept {
    const auto found = std::ranges::find(samples, name, &BRAQAudioFileSample::name);
    return found != samples.end() ? &*found : nullptr;
}

const std::vector<BRAQAudioFileFormat>& BRAQAudioFileFormats() {
    // Never destroyed: a file may still be created while the process exits.
    static const auto& formats = *new const std::vector<BRAQAudioFileFormat>([] {
        std::vector<BRAQAudioFileFormat> made;
        std::ranges::transform(braq::fileHoldings(), std::back_inserter(made), braq::formatOf);
        return made;
    }());
    return formats;
}
