#include "tools/braq/info/InfoCommand.h"

#include "tools/braq/info/AudioFileFacts.h"
#include "tools/braq/info/FileListing.h"
#include "tools/braq/info/WaveformPicture.h"
#include "tools/braq/shared/PipedFile.h"
#include "tools/braq/shared/ReplaceFile.h"
#include "tools/braq/shared/Text.h"
#include "tools/braq/shared/Trouble.h"
#include "tools/braq/terminal/Interruption.h"
#include "tools/braq/terminal/Output.h"
#include "tools/braq/terminal/Progress.h"

#include <poll.h>

#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <system_error>

namespace {

using File = std::shared_ptr<BRAQExtendedAudioFile>;
using Block = std::unique_ptr<AudioBufferList, decltype(&BRAQAudioBufferListDestroy)>;

constexpr UInt32 blockFrames = 16384;

/// Ends the work on a file.
class Interrupted : public std::runtime_error {
  public:
    Interrupted() : std::runtime_error("interrupted before its end") {}
};

void throwIfInterrupted(const Interruption& interruption) {
    if (interruption.isRequested()) {
        throw Interrupted();
    }
}

void complain(const std::string& path, const char* problem) {
    std::fprintf(stderr, "braq: %s: %s\n", printable(path).c_str(), problem);
}

File openFile(const std::string& path) {
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) {
        throw std::runtime_error("it is a folder");
    }
    std::shared_ptr<NSError> error;
    auto file = BRAQExtendedAudioFile::initForPlaybackWithFileURL(NSURL::fileURLWithPath(path), &error);
    if (file == nullptr) {
        throw std::runtime_error(error->localizedDescription());
    }
    return file;
}

/// Waits until all of it has come out of its pipe.
void await(PipedFile& file, const Interruption& interruption) {
    while (!file.isComplete()) {
        pollfd watched[] = {{interruption.descriptor(), POLLIN, 0}, {file.descriptor(), POLLIN, 0}};
        ::poll(watched, std::size(watched), -1);
        throwIfInterrupted(interruption);
        file.take();
    }
}

/// Reads the whole file.
/// @param waveform receives the same frames; may be null
void measure(BRAQExtendedAudioFile& file, AudioFileFacts& facts, Waveform* waveform, const Interruption& interruption) {
    const Block block(BRAQAudioBufferListCreate(facts.channels, sizeof(Float32), blockFrames, false),
                      &BRAQAudioBufferListDestroy);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    std::vector<const float*> planes;
    for (UInt32 channel = 0; channel < facts.channels; ++channel) {
        planes.push_back(static_cast<const float*>(block->mBuffers[channel].mData));
    }
    FileLevels levels(facts.channels);
    Progress progress(printable(facts.path), facts.frames);
    for (UInt32 frames = blockFrames; frames == blockFrames; facts.framesRead += frames) {
        throwIfInterrupted(interruption);
        file.readIntoAudioBufferList(block.get(), 0, &frames); // sets the byte sizes to what was read
        levels.add(planes.data(), frames);
        if (waveform != nullptr) {
            waveform->add(planes.data(), frames);
        }
        progress.show(facts.framesRead + frames);
    }
    facts.levels = levels.levels();
    facts.samplesLeftOut = levels.samplesLeftOut();
}

WaveformCaption captionFor(const AudioFileFacts& facts) {
    WaveformCaption caption{.title = printable(std::filesystem::path(facts.path).filename().string()),
                            .facts = summaryOf(facts),
                            .channels = {},
                            .seconds = facts.seconds()};
    for (UInt32 channel = 0; channel < facts.channels; ++channel) {
        caption.channels.push_back(channelName(facts, channel));
    }
    return caption;
}

void checkTarget(const std::string& target, const std::string& path) {
    std::error_code ignored;
    if (std::filesystem::equivalent(path, target, ignored)) {
        throw std::runtime_error("the picture would take its place");
    }
    checkReplaceable(target);
}

AudioFileFacts inspect(const std::string& argument, const InfoOptions& options, const Interruption& interruption) {
    const std::string path = argument == "-" ? standardInputPath : argument;
    std::optional<PipedFile> piped;
    if (PipedFile::isAt(path)) {
        await(piped.emplace(path), interruption);
    }
    const std::string place = piped ? piped->path() : path;
    const File file = openFile(place);
    AudioFileFacts facts = factsOf(place, *file);
    facts.path = path;
    if (options.waveform.empty()) {
        measure(*file, facts, nullptr, interruption);
        return facts;
    }
    checkTarget(options.waveform, path);
    const PictureLayout layout(options.size, facts.channels);
    Waveform waveform(facts.channels, static_cast<std::uint64_t>(facts.frames),
                      static_cast<std::size_t>(layout.columns()));
    measure(*file, facts, &waveform, interruption);
    replaceFile(options.waveform, waveformAsPNG(waveform, captionFor(facts), layout));
    return facts;
}

} // namespace

bool runInfo(const InfoOptions& options) {
    const Interruption interruption;
    std::vector<AudioFileFacts> inspected;
    bool isGood = true;
    for (const std::string& path : options.files) {
        try {
            inspected.push_back(inspect(path, options, interruption));
        } catch (const Interrupted& interrupted) {
            complain(path, interrupted.what());
            break;
        } catch (const std::exception&) {
            complain(path, reasonOfCaughtException().c_str());
            isGood = false;
            continue;
        }
        const AudioFileFacts& facts = inspected.back();
        if (!options.json) {
            writeOutput((inspected.size() > 1 ? "\n" : "") + fileAsText(facts));
        }
        if (facts.framesRead < facts.frames) {
            complain(path, "it is damaged: not all of its frames can be read");
            isGood = false;
        }
    }
    if (options.json) {
        writeOutput(filesAsJSON(inspected));
    }
    return isGood;
}
