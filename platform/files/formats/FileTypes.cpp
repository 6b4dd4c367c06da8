#include "platform/files/formats/FileTypes.h"

#include <algorithm>
#include <array>
#include <limits>

namespace braq {
namespace {

struct Extension {
    std::string_view text; // lower case
    AudioFileTypeID type;
};

// If types share an extension, the default type comes first.
constexpr Extension extensions[] = {
    {"wav", kAudioFileWAVEType},     {"wav", kAudioFileRF64Type},      {"wave", kAudioFileWAVEType},
    {"aiff", kAudioFileAIFFType},    {"aiff", kAudioFileAIFCType},     {"aif", kAudioFileAIFFType},
    {"aif", kAudioFileAIFCType},     {"aifc", kAudioFileAIFCType},     {"caf", kAudioFileCAFType},
    {"m4a", kAudioFileM4AType},      {"mp4", kAudioFileMPEG4Type},     {"mp3", kAudioFileMP3Type},
    {"aac", kAudioFileAAC_ADTSType}, {"adts", kAudioFileAAC_ADTSType}, {"flac", kAudioFileFLACType},
    {"au", kAudioFileNextType},      {"snd", kAudioFileNextType},      {"rf64", kAudioFileRF64Type},
    {"ogg", kBRAQAudioFileOggType},  {"oga", kBRAQAudioFileOggType},   {"opus", kBRAQAudioFileOggType},
};

constexpr UInt32 bigEndian = kAudioFormatFlagIsBigEndian;
constexpr UInt32 unsignedInteger = kAudioFormatFlagIsPacked;
constexpr UInt32 integer = kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked;
constexpr UInt32 floating = kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked;

using Sample = FileHolding::Sample;
constexpr Sample pcmOfWAVE[] = {{"pcm8", unsignedInteger, 8}, {"pcm16", integer, 16},  {"pcm24", integer, 24},
                                {"pcm32", integer, 32},       {"float", floating, 32}, {"double", floating, 64}};
constexpr Sample pcmOfAIFF[] = {{"pcm8", integer | bigEndian, 8},
                                {"pcm16", integer | bigEndian, 16},
                                {"pcm24", integer | bigEndian, 24},
                                {"pcm32", integer | bigEndian, 32}};
constexpr Sample pcmOfAIFC[] = {{"pcm8", integer | bigEndian, 8},   {"pcm16", integer, 16},
                                {"pcm16", integer | bigEndian, 16}, {"pcm24", integer | bigEndian, 24},
                                {"pcm32", integer | bigEndian, 32}, {"float", floating | bigEndian, 32}};
constexpr Sample pcmOfCAF[] = {{"pcm8", integer, 8},     {"pcm8", integer | bigEndian, 8},
                               {"pcm16", integer, 16},   {"pcm16", integer | bigEndian, 16},
                               {"pcm24", integer, 24},   {"pcm24", integer | bigEndian, 24},
                               {"pcm32", integer, 32},   {"pcm32", integer | bigEndian, 32},
                               {"float", floating, 32},  {"float", floating | bigEndian, 32},
                               {"double", floating, 64}, {"double", floating | bigEndian, 64}};
constexpr Sample pcmOfMPEG4[] = {{"pcm16", integer, 16},  {"pcm16", integer | bigEndian, 16},
                                 {"pcm24", integer, 24},  {"pcm24", integer | bigEndian, 24},
                                 {"pcm32", integer, 32},  {"pcm32", integer | bigEndian, 32},
                                 {"float", floating, 32}, {"float", floating | bigEndian, 32}};
constexpr Sample pcmOfNext[] = {{"pcm8", integer | bigEndian, 8},    {"pcm16", integer | bigEndian, 16},
                                {"pcm24", integer | bigEndian, 24},  {"pcm32", integer | bigEndian, 32},
                                {"float", floating | bigEndian, 32}, {"double", floating | bigEndian, 64}};

// The flags of lossless codings state the bit depth of the source: 1 is 16 bits, 3 is 24.
constexpr Sample alac[] = {{"alac", 1, 0}, {"alac24", 3, 0}};
constexpr Sample flac[] = {{"flac", 1, 0}, {"flac24", 3, 0}};
constexpr Sample aac[] = {{"aac", 2, 0}}; // the flags of AAC are its object type
constexpr Sample layerIII[] = {{"mp3", 0, 0}};
constexpr Sample vorbis[] = {{"vorbis", 0, 0}};
constexpr Sample opus[] = {{"opus", 0, 0}};

constexpr BRAQAudioFileRates anyRate[] = {{1, 1000000, 1}};
constexpr BRAQAudioFileRates ratesOfFLAC[] = {{1, 65534, 1}, {65540, 655340, 10}}; // what its header can state
constexpr BRAQAudioFileRates ratesOfAAC[] = {{7350, 7350, 1},   {8000, 8000, 1},   {11025, 11025, 1}, {12000, 12000, 1},
                                             {16000, 16000, 1}, {22050, 22050, 1}, {24000, 24000, 1}, {32000, 32000, 1},
                                             {44100, 44100, 1}, {48000, 48000, 1}, {64000, 64000, 1}, {88200, 88200, 1},
                                             {96000, 96000, 1}};
constexpr FileHolding::Channels anyChannels[] = {{1, 255}};
constexpr FileHolding::Channels upTo8[] = {{1, 8}};
// What every version of libav writes and reads back: libav 9 loses one of 7 channels, and refuses 16, and 8 in ADTS.
constexpr FileHolding::Channels channelsOfAAC[] = {{1, 6}, {8, 8}};
constexpr FileHolding::Channels channelsOfADTS[] = {{1, 6}};

constexpr UInt64 unlimited = std::numeric_limits<UInt64>::max();
constexpr UInt64 sizesOf32Bits = std::numeric_limits<UInt32>::max();

using Correction = FileMuxer::Correction;
using Survival = BRAQAudioFileSurvival;

constexpr FileHolding::Writing linearPCM(FileMuxer muxer, FileHolding::Killed killed) {
    return {muxer, anyRate, anyChannels, killed};
}
constexpr FileHolding::Writing losslessALAC(FileMuxer muxer) { return {muxer, anyRate, upTo8, {}}; }
constexpr FileHolding::Writing lossyAAC(FileMuxer muxer) { return {muxer, ratesOfAAC, channelsOfAAC, {}}; }

constexpr FileHolding::Killed whole{Survival::everything, 0, true};
constexpr FileHolding::Killed lost{};
constexpr FileHolding::Writing readOnly{};
constexpr FileMuxer mpeg4{"mp4", "", unlimited};

constexpr FileHolding holdings[] = {
    // A file that exceeds the sizes of WAVE becomes RF64 when it is closed.
    {kAudioFileWAVEType, kAudioFormatLinearPCM, pcmOfWAVE,
     linearPCM({"wav", "rf64=auto", unlimited, Correction::none, true}, whole)},
    {kAudioFileRF64Type, kAudioFormatLinearPCM, pcmOfWAVE,
     linearPCM({"wav", "rf64=always", unlimited, Correction::sampleCount}, {Survival::everything, 0, false})},
    {kAudioFileAIFFType, kAudioFormatLinearPCM, pcmOfAIFF, linearPCM({"aiff", "", sizesOf32Bits}, lost)},
    {kAudioFileAIFCType, kAudioFormatLinearPCM, pcmOfAIFC, linearPCM({"aiff", "", sizesOf32Bits}, lost)},
    {kAudioFileCAFType, kAudioFormatLinearPCM, pcmOfCAF, linearPCM({"caf", "", unlimited}, whole)},
    {kAudioFileCAFType, kAudioFormatAppleLossless, alac, losslessALAC({"caf", "", unlimited, Correction::packetTable})},
    {kAudioFileCAFType, kAudioFormatMPEG4AAC, aac, readOnly},
    {kAudioFileNextType, kAudioFormatLinearPCM, pcmOfNext,
     linearPCM({"au", "", sizesOf32Bits, Correction::none, true}, whole)},
    {kAudioFileFLACType,
     kAudioFormatFLAC,
     flac,
     {{"flac", "", unlimited, Correction::none, true}, ratesOfFLAC, upTo8, {Survival::mostPackets, 2, false}}},
    {kAudioFileM4AType, kAudioFormatMPEG4AAC, aac, lossyAAC({"ipod", "", unlimited})},
    {kAudioFileM4AType, kAudioFormatAppleLossless, alac, losslessALAC({"ipod", "", unlimited})},
    {kAudioFileMPEG4Type, kAudioFormatMPEG4AAC, aac, lossyAAC(mpeg4)},
    {kAudioFileMPEG4Type, kAudioFormatAppleLossless, alac, losslessALAC(mpeg4)},
    // libav's MPEG-4 muxer does not accept linear PCM; its QuickTime muxer does, and differs in the brand.
    {kAudioFileMPEG4Type, kAudioFormatLinearPCM, pcmOfMPEG4, linearPCM({"mov", "brand=mp42", unlimited}, lost)},
    {kAudioFileMPEG4Type, kAudioFormatFLAC, flac, readOnly},
    {kAudioFileAAC_ADTSType,
     kAudioFormatMPEG4AAC,
     aac,
     {{"adts", "", unlimited, Correction::none, true}, ratesOfAAC, channelsOfADTS, {Survival::mostPackets, 2, true}}},
    {kAudioFileMP3Type, kAudioFormatMPEGLayer3, layerIII, readOnly},
    {kBRAQAudioFileOggType, kBRAQAudioFormatVorbis, vorbis, readOnly},
    {kBRAQAudioFileOggType, kAudioFormatOpus, opus, readOnly},
};

const FileHolding* findHolding(AudioFileTypeID type, UInt32 formatID) {
    const auto* const found = std::ranges::find_if(
        holdings, [&](const FileHolding& each) { return each.type == type && each.formatID == formatID; });
    return found == std::end(holdings) ? nullptr : found;
}

// Not the C library's: the result for "AIFF" may depend on the locale.
char lowerCase(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

bool isSameText(std::string_view lower, std::string_view text) {
    return std::ranges::equal(lower, text, {}, {}, lowerCase);
}

} // namespace

std::vector<std::string> extensionsOfFileType(AudioFileTypeID type) {
    std::vector<std::string> found;
    for (const Extension& each : extensions) {
        if (each.type == type && fileTypesOfExtension(each.text).front() == type) {
            found.emplace_back(each.text);
        }
    }
    return found;
}

std::vector<AudioFileTypeID> fileTypesOfExtension(std::string_view extension) {
    std::vector<AudioFileTypeID> types;
    for (const Extension& each : extensions) {
        if (isSameText(each.text, extension)) {
            types.push_back(each.type);
        }
    }
    return types;
}

OSStatus streamDescriptions(AudioFileTypeID type, UInt32 formatID, std::vector<AudioStreamBasicDescription>& found) {
    found.clear();
    const FileHolding* const holding = findHolding(type, formatID);
    // A coding that is only read, in a type that is written with others, is none to choose from.
    if (holding == nullptr || (!holding->canBeWritten() && isWritableType(type))) {
        const bool isKnown = std::ranges::find(holdings, type, &FileHolding::type) != std::end(holdings);
        return isKnown ? kAudioFileUnsupportedDataFormatError : kAudioFileUnsupportedFileTypeError;
    }
    for (const Sample& sample : holding->samples) {
        found.push_back(sample.description(formatID));
    }
    return 0;
}

const FileMuxer* fileMuxer(AudioFileTypeID type, UInt32 formatID) {
    const FileHolding* const holding = findHolding(type, formatID);
    return holding == nullptr || !holding->canBeWritten() ? nullptr : &holding->writing.muxer;
}

bool isWritableType(AudioFileTypeID type) {
    return std::ranges::any_of(holdings,
                               [&](const FileHolding& each) { return each.type == type && each.canBeWritten(); });
}

std::span<const FileHolding> fileHoldings() { return holdings; }

} // namespace braq
