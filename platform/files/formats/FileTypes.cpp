#include "platform/files/formats/FileTypes.h"

#include <algorithm>
#include <array>
#include <limits>
#include <span>

namespace braq {
namespace {

struct Extension {
    std::string_view text; // lower case
    AudioFileTypeID type;
};

// If types share an extension, the default type comes first.
constexpr Extension extensions[] = {
    {"wav", kAudioFileWAVEType},     {"wav", kAudioFileRF64Type},      {"wave", kAudioFileWAVEType},
    {"aif", kAudioFileAIFFType},     {"aif", kAudioFileAIFCType},      {"aiff", kAudioFileAIFFType},
    {"aiff", kAudioFileAIFCType},    {"aifc", kAudioFileAIFCType},     {"caf", kAudioFileCAFType},
    {"m4a", kAudioFileM4AType},      {"mp4", kAudioFileMPEG4Type},     {"mp3", kAudioFileMP3Type},
    {"aac", kAudioFileAAC_ADTSType}, {"adts", kAudioFileAAC_ADTSType}, {"flac", kAudioFileFLACType},
    {"au", kAudioFileNextType},      {"snd", kAudioFileNextType},      {"rf64", kAudioFileRF64Type},
    {"ogg", kBRAQAudioFileOggType},  {"oga", kBRAQAudioFileOggType},   {"opus", kBRAQAudioFileOggType},
};

struct Entry {
    UInt32 flags;
    UInt32 bits;
};

constexpr UInt32 bigEndian = kAudioFormatFlagIsBigEndian;
constexpr UInt32 unsignedInteger = kAudioFormatFlagIsPacked;
constexpr UInt32 integer = kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked;
constexpr UInt32 floating = kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked;

constexpr Entry pcmOfWAVE[] = {{unsignedInteger, 8}, {integer, 16},  {integer, 24},
                               {integer, 32},        {floating, 32}, {floating, 64}};
constexpr Entry pcmOfAIFF[] = {
    {integer | bigEndian, 8}, {integer | bigEndian, 16}, {integer | bigEndian, 24}, {integer | bigEndian, 32}};
constexpr Entry pcmOfAIFC[] = {{integer | bigEndian, 8},  {integer | bigEndian, 16},  {integer | bigEndian, 24},
                               {integer | bigEndian, 32}, {floating | bigEndian, 32}, {integer, 16}};
constexpr Entry pcmOfCAF[] = {{integer, 8},   {integer | bigEndian, 8},   {integer, 16},  {integer | bigEndian, 16},
                              {integer, 24},  {integer | bigEndian, 24},  {integer, 32},  {integer | bigEndian, 32},
                              {floating, 32}, {floating | bigEndian, 32}, {floating, 64}, {floating | bigEndian, 64}};
constexpr Entry pcmOfMPEG4[] = {{integer, 16}, {integer | bigEndian, 16}, {integer, 24},  {integer | bigEndian, 24},
                                {integer, 32}, {integer | bigEndian, 32}, {floating, 32}, {floating | bigEndian, 32}};
constexpr Entry pcmOfNext[] = {{integer | bigEndian, 8},  {integer | bigEndian, 16},  {integer | bigEndian, 24},
                               {integer | bigEndian, 32}, {floating | bigEndian, 32}, {floating | bigEndian, 64}};

// The flags of lossless codings state the bit depth of the source: 1 is 16 bits, 3 is 24.
constexpr Entry lossless[] = {{1, 0}, {3, 0}};
constexpr Entry lowComplexity[] = {{2, 0}}; // the flags of AAC are its object type
constexpr Entry noFlags[] = {{0, 0}};

constexpr UInt64 unlimited = std::numeric_limits<UInt64>::max();
constexpr UInt64 sizesOf32Bits = std::numeric_limits<UInt32>::max();

struct Holding {
    AudioFileTypeID type;
    UInt32 formatID;
    std::span<const Entry> entries;
    FileMuxer muxer; // without a name if it cannot be written
};

using Correction = FileMuxer::Correction;

constexpr FileMuxer readOnly{nullptr, "", 0};
constexpr FileMuxer mpeg4{"mp4", "", unlimited};

const Holding holdings[] = {
    // A file that exceeds the sizes of WAVE becomes RF64 when it is closed.
    {kAudioFileWAVEType, kAudioFormatLinearPCM, pcmOfWAVE, {"wav", "rf64=auto", unlimited}},
    {kAudioFileRF64Type, kAudioFormatLinearPCM, pcmOfWAVE, {"wav", "rf64=always", unlimited, Correction::sampleCount}},
    {kAudioFileAIFFType, kAudioFormatLinearPCM, pcmOfAIFF, {"aiff", "", sizesOf32Bits}},
    {kAudioFileAIFCType, kAudioFormatLinearPCM, pcmOfAIFC, {"aiff", "", sizesOf32Bits}},
    {kAudioFileCAFType, kAudioFormatLinearPCM, pcmOfCAF, {"caf", "", unlimited}},
    {kAudioFileCAFType, kAudioFormatAppleLossless, lossless, {"caf", "", unlimited, Correction::packetTable}},
    {kAudioFileNextType, kAudioFormatLinearPCM, pcmOfNext, {"au", "", sizesOf32Bits}},
    {kAudioFileM4AType, kAudioFormatAppleLossless, lossless, {"ipod", "", unlimited}},
    {kAudioFileM4AType, kAudioFormatMPEG4AAC, lowComplexity, {"ipod", "", unlimited}},
    {kAudioFileMPEG4Type, kAudioFormatMPEG4AAC, lowComplexity, mpeg4},
    {kAudioFileMPEG4Type, kAudioFormatAppleLossless, lossless, mpeg4},
    // libav's MPEG-4 muxer does not accept linear PCM; its QuickTime muxer does, and differs in the brand.
    {kAudioFileMPEG4Type, kAudioFormatLinearPCM, pcmOfMPEG4, {"mov", "brand=mp42", unlimited}},
    {kAudioFileFLACType, kAudioFormatFLAC, lossless, {"flac", "", unlimited}},
    {kAudioFileAAC_ADTSType, kAudioFormatMPEG4AAC, lowComplexity, {"adts", "", unlimited}},
    {kAudioFileMP3Type, kAudioFormatMPEGLayer3, noFlags, readOnly},
    {kBRAQAudioFileOggType, kBRAQAudioFormatVorbis, noFlags, readOnly},
    {kBRAQAudioFileOggType, kAudioFormatOpus, noFlags, readOnly},
};

const Holding* findHolding(AudioFileTypeID type, UInt32 formatID) {
    const auto* const found = std::ranges::find_if(
        holdings, [&](const Holding& each) { return each.type == type && each.formatID == formatID; });
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
    const Holding* const holding = findHolding(type, formatID);
    if (holding == nullptr) {
        const bool isKnown = std::ranges::find(holdings, type, &Holding::type) != std::end(holdings);
        return isKnown ? kAudioFileUnsupportedDataFormatError : kAudioFileUnsupportedFileTypeError;
    }
    for (const Entry& entry : holding->entries) {
        AudioStreamBasicDescription description{};
        description.mFormatID = formatID;
        description.mFormatFlags = entry.flags;
        description.mBitsPerChannel = entry.bits;
        found.push_back(description);
    }
    return 0;
}

const FileMuxer* fileMuxer(AudioFileTypeID type, UInt32 formatID) {
    const Holding* const holding = findHolding(type, formatID);
    return holding == nullptr || holding->muxer.name == nullptr ? nullptr : &holding->muxer;
}

bool isWritableType(AudioFileTypeID type) {
    return std::ranges::any_of(holdings,
                               [&](const Holding& each) { return each.type == type && each.muxer.name != nullptr; });
}

} // namespace braq
