#include "tools/braq/record/RecordFormats.h"

#include "tools/braq/shared/Text.h"
#include "tools/braq/shared/Trouble.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <span>
#include <string_view>

namespace {

struct Format {
    std::string_view name;
    UInt32 formatID;
    UInt32 bits;
    UInt32 flags;
};

constexpr UInt32 integer = kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked;
constexpr UInt32 floating = kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked;
constexpr Format formats[] = {
    {"pcm16", kAudioFormatLinearPCM, 16, integer},
    {"pcm24", kAudioFormatLinearPCM, 24, integer},
    {"pcm32", kAudioFormatLinearPCM, 32, integer},
    {"float", kAudioFormatLinearPCM, 32, floating},
    {"flac", kAudioFormatFLAC, 16, 0},
    {"flac24", kAudioFormatFLAC, 24, 0},
    {"alac", kAudioFormatAppleLossless, 16, 0},
    {"alac24", kAudioFormatAppleLossless, 24, 0},
    {"aac", kAudioFormatMPEG4AAC, 0, 0},
};

// The default first.
constexpr std::string_view linear[] = {"pcm16", "pcm24", "pcm32", "float"};
constexpr std::string_view integers[] = {"pcm16", "pcm24", "pcm32"};
constexpr std::string_view linearAndLossless[] = {"pcm16", "pcm24", "pcm32", "float", "alac", "alac24"};
constexpr std::string_view ofMPEG4[] = {"aac", "alac", "alac24", "pcm16", "pcm24", "pcm32", "float"};
constexpr std::string_view ofM4A[] = {"aac", "alac", "alac24"};
constexpr std::string_view ofFLAC[] = {"flac", "flac24"};
constexpr std::string_view ofADTS[] = {"aac"};

struct Type {
    std::span<const std::string_view> endings;
    AudioFileTypeID type;
    std::span<const std::string_view> formats;
};

constexpr std::string_view wave[] = {".wav", ".wave"};
constexpr std::string_view rf64[] = {".rf64"};
constexpr std::string_view aiff[] = {".aiff", ".aif"};
constexpr std::string_view aifc[] = {".aifc"};
constexpr std::string_view caf[] = {".caf"};
constexpr std::string_view next[] = {".au", ".snd"};
constexpr std::string_view flac[] = {".flac"};
constexpr std::string_view m4a[] = {".m4a"};
constexpr std::string_view mpeg4[] = {".mp4"};
constexpr std::string_view adts[] = {".aac", ".adts"};
constexpr Type types[] = {
    {wave, kAudioFileWAVEType, linear},          {rf64, kAudioFileRF64Type, linear},
    {aiff, kAudioFileAIFFType, integers},        {aifc, kAudioFileAIFCType, linear},
    {caf, kAudioFileCAFType, linearAndLossless}, {next, kAudioFileNextType, linear},
    {flac, kAudioFileFLACType, ofFLAC},          {m4a, kAudioFileM4AType, ofM4A},
    {mpeg4, kAudioFileMPEG4Type, ofMPEG4},       {adts, kAudioFileAAC_ADTSType, ofADTS},
};

std::string joined(std::span<const std::string_view> words) {
    std::string text;
    for (const auto word : words) {
        text += (text.empty() ? "" : " ") + std::string(word);
    }
    return text;
}

// In lower case, with the dot.
std::string endingOf(const std::string& path) {
    std::string ending = std::filesystem::path(path).extension().string();
    std::ranges::transform(ending, ending.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return ending;
}

bool contains(std::span<const std::string_view> words, std::string_view word) {
    return std::ranges::find(words, word) != words.end();
}

} // namespace

RecordFormat chooseRecordFormat(const std::string& path, const std::string& name) {
    const std::string ending = endingOf(path);
    const auto* const type =
        std::ranges::find_if(types, [&](const Type& one) { return contains(one.endings, ending); });
    if (type == std::end(types)) {
        throw WrongUsage(printable(path) + ": the extension selects the file type; supported are:\n" +
                         recordFormatsHelp());
    }
    const std::string_view chosen = name.empty() ? type->formats.front() : std::string_view(name);
    if (!contains(type->formats, chosen)) {
        throw WrongUsage("a file with the extension " + ending + " cannot hold '" + printable(name) + "', only " +
                         joined(type->formats) + "; supported are:\n" + recordFormatsHelp());
    }
    const auto* const format = std::ranges::find(formats, chosen, &Format::name);
    return {type->type, format->formatID, format->bits, format->flags};
}

std::shared_ptr<BRAQAudioStreamBasicDescription> descriptionOf(const RecordFormat& format, UInt32 channels,
                                                               Float64 rate) {
    auto description = BRAQAudioStreamBasicDescription::streamDescription();
    description->setFormatID(format.formatID);
    description->setFormatFlags(format.flags);
    description->setBitsPerChannel(format.bits);
    description->setChannelsPerFrame(channels);
    description->setSampleRate(rate);
    return description;
}

std::string recordFormatsHelp() {
    std::string text;
    for (const auto& type : types) {
        const std::string endings = joined(type.endings);
        constexpr std::size_t columns = 14;
        text += "  " + endings + std::string(columns - endings.size(), ' ') + joined(type.formats) + "\n";
    }
    text.pop_back();
    return text;
}

std::vector<EndingWithFormat> recordFormats() {
    std::vector<EndingWithFormat> pairs;
    for (const auto& type : types) {
        for (const auto ending : type.endings) {
            for (const auto format : type.formats) {
                pairs.push_back({std::string(ending), std::string(format)});
            }
        }
    }
    return pairs;
}
