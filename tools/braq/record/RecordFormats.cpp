#include "tools/braq/record/RecordFormats.h"

#include "tools/braq/shared/Text.h"
#include "tools/braq/shared/Trouble.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <utility>

namespace {

struct Type {
    AudioFileTypeID type;
    std::vector<std::string> endings;
    std::vector<BRAQAudioFileSample> formats; // the default first
    bool isForwards = false;
    const char* name = "";
};

// 8 bits are too few for a recording, and 64 are more than any device delivers.
bool isForRecordings(const BRAQAudioFileSample& sample) {
    constexpr UInt32 fewestBits = 16;
    constexpr UInt32 mostBits = 32;
    const UInt32 bits = sample.description.mBitsPerChannel;
    return bits == 0 || (bits >= fewestBits && bits <= mostBits);
}

void add(std::vector<Type>& types, const BRAQAudioFileFormat& format) {
    if (types.empty() || types.back().type != format.fileType) {
        types.push_back({format.fileType, {}, {}, format.canBeWrittenForwards, format.fileTypeName});
        for (const std::string& extension : format.extensions) {
            types.back().endings.push_back("." + extension);
        }
    }
    for (const BRAQAudioFileSample& sample : format.samples) {
        // In both byte orders, the usual one counts.
        if (isForRecordings(sample) && format.sampleNamed(sample.name) == &sample) {
            types.back().formats.push_back(sample);
        }
    }
}

const std::vector<Type>& recordTypes() {
    static const std::vector<Type> types = [] {
        std::vector<Type> found;
        for (const BRAQAudioFileFormat& format : BRAQAudioFileFormats()) {
            if (format.canBeWritten) {
                add(found, format);
            }
        }
        return found;
    }();
    return types;
}

void addWord(std::string& text, const std::string& word) { text += (text.empty() ? "" : " ") + word; }

std::string namesOf(const std::vector<BRAQAudioFileSample>& formats) {
    std::string text;
    for (const auto& format : formats) {
        addWord(text, format.name);
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

/// For a pipe, each with the first type that holds it.
std::vector<std::pair<BRAQAudioFileSample, const Type*>> forwardFormats() {
    std::vector<std::pair<BRAQAudioFileSample, const Type*>> found;
    for (const auto& type : recordTypes()) {
        for (const auto& format : type.formats) {
            const auto isNamed = [&](const auto& one) { return std::string_view(one.first.name) == format.name; };
            if (type.isForwards && std::ranges::none_of(found, isNamed)) {
                found.emplace_back(format, &type);
            }
        }
    }
    return found;
}

/// "pcm16 pcm24 (WAVE) flac (FLAC)"
std::string forwardHelp() {
    std::string text;
    const auto formats = forwardFormats();
    for (auto format = formats.begin(); format != formats.end(); ++format) {
        addWord(text, format->first.name);
        if (format + 1 == formats.end() || (format + 1)->second != format->second) {
            addWord(text, std::string("(") + format->second->name + ")");
        }
    }
    return text;
}

RecordFormat chooseForwardFormat(const std::string& name) {
    const auto formats = forwardFormats();
    const auto format = name.empty()
                            ? formats.begin()
                            : std::ranges::find_if(formats, [&](const auto& each) { return each.first.name == name; });
    if (format == formats.end()) {
        throw WrongUsage("the standard output cannot get '" + printable(name) + "', only " + forwardHelp());
    }
    return {format->second->type, format->first.description};
}

std::string helpLine(const std::string& what, const std::string& formats) {
    constexpr std::size_t columns = 14;
    return "  " + what + std::string(columns - what.size(), ' ') + formats + "\n";
}

} // namespace

RecordFormat chooseRecordFormat(const std::string& path, const std::string& name) {
    if (path == "-") {
        return chooseForwardFormat(name);
    }
    const std::string ending = endingOf(path);
    const auto& types = recordTypes();
    const auto type = std::ranges::find_if(
        types, [&](const Type& one) { return std::ranges::find(one.endings, ending) != one.endings.end(); });
    if (type == types.end()) {
        throw WrongUsage(printable(path) + ": the extension selects the file type; supported are:\n" +
                         recordFormatsHelp());
    }
    const auto format =
        name.empty()
            ? type->formats.begin()
            : std::ranges::find_if(type->formats, [&](const BRAQAudioFileSample& each) { return each.name == name; });
    if (format == type->formats.end()) {
        throw WrongUsage("a file with the extension " + ending + " cannot hold '" + printable(name) + "', only " +
                         namesOf(type->formats) + "; supported are:\n" + recordFormatsHelp());
    }
    return {type->type, format->description};
}

std::shared_ptr<BRAQAudioStreamBasicDescription> descriptionOf(const RecordFormat& format, UInt32 channels,
                                                               Float64 rate) {
    auto description =
        BRAQAudioStreamBasicDescription::streamDescriptionWithAudioStreamBasicDescription(&format.description);
    description->setChannelsPerFrame(channels);
    description->setSampleRate(rate);
    return description;
}

std::string recordFormatsHelp() {
    std::string text;
    for (const auto& type : recordTypes()) {
        std::string endings;
        for (const auto& ending : type.endings) {
            addWord(endings, ending);
        }
        text += helpLine(endings, namesOf(type.formats));
    }
    text += helpLine("-", forwardHelp());
    text.pop_back();
    return text;
}

std::vector<EndingWithFormat> recordFormats() {
    std::vector<EndingWithFormat> pairs;
    for (const auto& type : recordTypes()) {
        for (const auto& ending : type.endings) {
            for (const auto& format : type.formats) {
                pairs.push_back({ending, format.name});
            }
        }
    }
    return pairs;
}
