#include "library/src/BRAQAudioFile_Common.h"

#include "BRAQAudio/platform/foundation/CFString.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

namespace braq {

AudioStreamBasicDescription recordOf(const BRAQAudioStreamBasicDescription* description) {
    return description != nullptr ? description->audioStreamBasicDescription() : AudioStreamBasicDescription{};
}

AudioStreamBasicDescription processingFormat(UInt32 channels, Float64 sampleRate) {
    const auto description = BRAQAudioStreamBasicDescription::nativeStreamDescription();
    description->setChannelsPerFrame(channels);
    description->setSampleRate(sampleRate);
    description->setNativeFormat();
    description->setIsInterleaved(false);
    return description->audioStreamBasicDescription();
}

AudioFileTypeID fileTypeForPath(const std::string& path) {
    AudioFileTypeID type = kAudioFileCAFType;
    const auto dot = path.rfind('.');
    if (dot == std::string::npos) {
        return type;
    }
    CFStringRef extension = CFStringCreateWithCString(path.c_str() + dot + 1);
    const std::unique_ptr<const CFString, decltype(&CFRelease)> owned(extension, &CFRelease);
    UInt32 size = sizeof(type);
    // An unknown extension changes nothing, so the status is not needed.
    AudioFileGetGlobalInfo(kAudioFileGlobalInfo_TypesForExtension, sizeof(extension), &extension, &size, &type);
    return type;
}

void chooseByteOrder(AudioFileTypeID type, BRAQAudioStreamBasicDescription* description) {
    constexpr auto property = kAudioFileGlobalInfo_AvailableStreamDescriptionsForFormat;
    const AudioFileTypeAndFormatID asked{type, kAudioFormatLinearPCM};
    UInt32 size = 0;
    if (description == nullptr || AudioFileGetGlobalInfoSize(property, sizeof(asked), &asked, &size) != 0) {
        return;
    }
    std::vector<AudioStreamBasicDescription> available(size / sizeof(AudioStreamBasicDescription));
    if (AudioFileGetGlobalInfo(property, sizeof(asked), &asked, &size, available.data()) != 0) {
        return;
    }
    available.resize(size / sizeof(AudioStreamBasicDescription));
    const bool hasLittleEndian = std::ranges::any_of(available, [&](const AudioStreamBasicDescription& format) {
        return format.mBitsPerChannel == description->bitsPerChannel() &&
               (format.mFormatFlags & kAudioFormatFlagIsBigEndian) == 0;
    });
    if (!hasLittleEndian) {
        description->setFormatFlags(description->formatFlags() | kAudioFormatFlagIsBigEndian);
    }
}

SInt64 truncated(Float32 value) noexcept {
    constexpr Float32 beyond = 0x1p63F;
    if (std::isnan(value)) {
        return 0;
    }
    if (value >= beyond) {
        return std::numeric_limits<SInt64>::max();
    }
    return value < -beyond ? std::numeric_limits<SInt64>::min() : static_cast<SInt64>(value);
}

} // namespace braq
