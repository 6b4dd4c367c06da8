#include "tools/braq/info/FileListing.h"

#include "tools/braq/info/TimeTicks.h"
#include "tools/braq/shared/DeviceFacts.h"
#include "tools/braq/shared/JSON.h"
#include "tools/braq/shared/Text.h"
#include "tools/braq/terminal/LevelText.h"

#include <cmath>
#include <utility>

namespace {

std::string orUnknown(const std::string& text) { return text.empty() ? "unknown" : text; }

std::string line(const char* name, const std::string& value) {
    return NSStringWithFormat("  %-12s ", name) + value + "\n";
}

std::string bitRateText(const AudioFileFacts& facts) {
    return facts.bitRate ? NSStringWithFormat("%.1f kbit/s", *facts.bitRate / 1000.0) : "";
}

std::string framesText(const AudioFileFacts& facts) {
    const std::string frames = std::to_string(facts.frames);
    return facts.framesRead < facts.frames ? frames + ", of which " + std::to_string(facts.framesRead) + " can be read"
                                           : frames;
}

std::string addedText(const std::optional<AudioConverterPrimeInfo>& added, UInt32 AudioConverterPrimeInfo::*part) {
    return added ? std::to_string((*added).*part) + " frames" : "";
}

template <class Number>
std::string orNull(const std::optional<Number>& number) {
    return number ? NSStringWithFormat("%.15g", static_cast<double>(*number)) : "null";
}

std::string textOrNull(const std::string& text) { return text.empty() ? "null" : asJSON(text); }

std::string levelOrNull(double decibels) {
    return std::isfinite(decibels) ? NSStringWithFormat("%.2f", decibels) : "null";
}

const char* kindOrNull(SampleKind kind) {
    switch (kind) {
    case SampleKind::signedInteger: return "\"integer\"";
    case SampleKind::unsignedInteger: return "\"unsigned integer\"";
    case SampleKind::real: return "\"float\"";
    default: return "null";
    }
}

std::string levelsAsJSON(const AudioFileFacts& facts) {
    std::string text = "[";
    const char* separator = "";
    for (std::size_t channel = 0; channel < facts.levels.size(); ++channel) {
        text += std::exchange(separator, ", ");
        text += "{\"channel\": " + asJSON(channelName(facts, channel)) +
                ", \"peak\": " + levelOrNull(facts.levels[channel].peak) +
                ", \"rms\": " + levelOrNull(facts.levels[channel].rms) + "}";
    }
    return text + "]";
}

std::string fileAsJSON(const AudioFileFacts& facts) {
    const auto& added = facts.addedFrames;
    const std::pair<const char*, std::string> members[] = {
        {"file", asJSON(facts.path)},
        {"container", textOrNull(facts.container)},
        {"codec", textOrNull(facts.codec)},
        {"sampleKind", kindOrNull(facts.kind)},
        {"bitsPerSample", orNull(facts.bits)},
        {"rate", rateText(facts.rate)},
        {"channels", std::to_string(facts.channels)},
        {"layout", textOrNull(facts.layout)},
        {"bitRate", orNull(facts.bitRate ? std::optional(std::round(*facts.bitRate)) : std::nullopt)},
        {"frames", std::to_string(facts.frames)},
        {"framesRead", std::to_string(facts.framesRead)},
        {"seconds", NSStringWithFormat("%.6f", facts.seconds())},
        {"primingFrames", added ? std::to_string(added->leadingFrames) : "null"},
        {"paddingFrames", added ? std::to_string(added->trailingFrames) : "null"},
        {"levels", levelsAsJSON(facts)},
        {"samplesLeftOut", std::to_string(facts.samplesLeftOut)},
    };
    std::string text = "    {";
    const char* separator = "\n";
    for (const auto& [name, value] : members) {
        text += std::exchange(separator, ",\n");
        text += "      " + asJSON(name) + ": " + value;
    }
    return text + "\n    }";
}

} // namespace

std::string fileAsText(const AudioFileFacts& facts) {
    const std::string layout = facts.layout.empty() ? "" : " (" + facts.layout + ")";
    std::string text = printable(facts.path) + "\n";
    text += line("container", orUnknown(facts.container));
    text += line("codec", orUnknown(facts.codec));
    text += line("samples", orUnknown(sampleText(facts)));
    text += line("rate", rateText(facts.rate) + " Hz");
    text += line("channels", std::to_string(facts.channels) + layout);
    text += line("bit rate", orUnknown(bitRateText(facts)));
    text += line("frames", framesText(facts));
    text += line("duration", timeText(facts.seconds(), facts.seconds(), 3));
    text += line("priming", orUnknown(addedText(facts.addedFrames, &AudioConverterPrimeInfo::leadingFrames)));
    text += line("padding", orUnknown(addedText(facts.addedFrames, &AudioConverterPrimeInfo::trailingFrames)));
    const char* name = "levels";
    for (std::size_t channel = 0; channel < facts.levels.size(); ++channel) {
        text += line(std::exchange(name, ""), channelName(facts, channel) + ": peak " +
                                                  levelText(facts.levels[channel].peak) + " dBFS, RMS " +
                                                  levelText(facts.levels[channel].rms) + " dBFS");
    }
    if (facts.samplesLeftOut > 0) {
        text += line("", "without " + std::to_string(facts.samplesLeftOut) + " samples that are not finite");
    }
    return text;
}

std::string filesAsJSON(const std::vector<AudioFileFacts>& files) {
    std::string text = "{\n  \"files\": [";
    const char* separator = "\n";
    for (const auto& facts : files) {
        text += std::exchange(separator, ",\n");
        text += fileAsJSON(facts);
    }
    return text + (files.empty() ? "]\n}\n" : "\n  ]\n}\n");
}
