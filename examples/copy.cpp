// Copies an audio file into another format and shows the progress. The new file's name selects its type.
#include <BRAQAudio/BRAQAudio.h>

#include <algorithm>
#include <charconv>
#include <csignal>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

struct Job {
    std::string from;
    std::string to;
    AudioFileTypeID type = 0;
    AudioStreamBasicDescription coding{}; // without rate and channels
    UInt32 bitrate = 0;                   // 0 leaves it to the coding
};

volatile std::sig_atomic_t interrupted = 0; // the signal's number

// What the library can write, an extension or a coding only once.
std::vector<std::string> extensions() {
    std::vector<std::string> found;
    for (const BRAQAudioFileFormat& format : BRAQAudioFileFormats()) {
        for (const std::string& extension : format.extensions) {
            if (format.canBeWritten && std::ranges::find(found, extension) == found.end()) {
                found.push_back(extension);
            }
        }
    }
    return found;
}

std::vector<std::string> codings() {
    std::vector<std::string> found;
    for (const BRAQAudioFileFormat& format : BRAQAudioFileFormats()) {
        for (const BRAQAudioFileSample& sample : format.samples) {
            if (format.canBeWritten && std::ranges::find(found, sample.name) == found.end()) {
                found.emplace_back(sample.name);
            }
        }
    }
    return found;
}

int usage(const std::string& problem) {
    std::cerr << "copy: " << problem
              << "\nusage: copy FROM TO [CODING [BITS-PER-SECOND]]\n  TO, which is replaced if it is there, "
              << "ends in";
    for (const auto& extension : extensions()) {
        std::cerr << " ." << extension;
    }
    std::cerr << "\n  CODING, by default of 16 bits or aac, is one of";
    for (const auto& coding : codings()) {
        std::cerr << " " << coding;
    }
    std::cerr << "\n";
    return 2;
}

// In lower case, without its dot.
std::string extensionOf(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::ranges::transform(extension, extension.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return extension.empty() ? extension : extension.substr(1);
}

// The first format of the type that an extension selects; null if no such file can be written.
const BRAQAudioFileFormat* formatFor(const std::string& extension) {
    for (const BRAQAudioFileFormat& format : BRAQAudioFileFormats()) {
        if (format.canBeWritten && std::ranges::find(format.extensions, extension) != format.extensions.end()) {
            return &format;
        }
    }
    return nullptr;
}

// A coding as the type describes it, else as another one does: the library says then why that cannot be written. Null if
// there is no such coding.
const BRAQAudioFileSample* codingNamed(std::string_view name, AudioFileTypeID type) {
    const BRAQAudioFileSample* found = nullptr;
    for (const BRAQAudioFileFormat& format : BRAQAudioFileFormats()) {
        const BRAQAudioFileSample* const sample = format.canBeWritten ? format.sampleNamed(name) : nullptr;
        if (sample != nullptr && (found == nullptr || format.fileType == type)) {
            found = sample;
        }
    }
    return found;
}

// @return what is wrong; empty if everything is right
std::string parse(int argc, char** argv, Job& job) {
    if (argc < 3 || argc > 5) {
        return "two to four arguments are needed";
    }
    job.from = argv[1];
    job.to = argv[2];
    const BRAQAudioFileFormat* const format = formatFor(extensionOf(job.to));
    if (format == nullptr) {
        return job.to + " has no extension that says what to write";
    }
    job.type = format->fileType;
    const bool isLinear = format->sampleNamed("pcm16") != nullptr;
    const std::string_view name = argc > 3 ? argv[3] : isLinear ? "pcm16" : format->samples.front().name;
    const BRAQAudioFileSample* const coding = codingNamed(name, job.type);
    if (coding == nullptr) {
        return std::string(name) + " is not a coding";
    }
    job.coding = coding->description;
    if (argc > 4) {
        const std::string_view text = argv[4];
        const auto [end, problem] = std::from_chars(text.begin(), text.end(), job.bitrate);
        if (problem != std::errc() || end != text.end() || job.bitrate == 0) {
            return std::string(text) + " is not a number of bits per second";
        }
    }
    return {};
}

// The format of the new file: the channels and the rate of the old one, with the requested coding.
std::shared_ptr<BRAQAudioStreamBasicDescription> descriptionFor(const Job& job, const BRAQExtendedAudioFile& source) {
    auto made = BRAQAudioStreamBasicDescription::streamDescriptionWithAudioStreamBasicDescription(&job.coding);
    made->setChannelsPerFrame(source.streamDescription()->channelsPerFrame());
    made->setSampleRate(source.streamDescription()->sampleRate());
    return made;
}

// One line, rewritten whenever the number changes.
class Progress {
  public:
    explicit Progress(SInt64 total) : mTotal(total) {}
    ~Progress() { std::cerr << "\n"; }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void show(SInt64 done) {
        const SInt64 percent = mTotal > 0 ? std::min(done * 100 / mTotal, SInt64{100}) : 0;
        if (std::exchange(mShown, percent) != percent) {
            std::cerr << "\r" << percent << " %" << std::flush;
        }
    }

  private:
    const SInt64 mTotal;
    SInt64 mShown = -1;
};

// @return frames copied
SInt64 copyFrames(BRAQExtendedAudioFile& source, BRAQExtendedAudioFile& target) {
    constexpr UInt32 blockFrames = 16384;
    const std::unique_ptr<AudioBufferList, decltype(&BRAQAudioBufferListDestroy)> block(
        BRAQAudioBufferListCreate(source.streamDescription()->channelsPerFrame(), sizeof(Float32), blockFrames, false),
        &BRAQAudioBufferListDestroy);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    Progress progress(source.frameCount());
    SInt64 done = 0;
    for (UInt32 frames = blockFrames; frames == blockFrames && interrupted == 0; done += frames) {
        source.readIntoAudioBufferList(block.get(), 0, &frames); // sets the byte sizes to what was read
        target.writeAudioBufferList(block.get(), &frames);
        progress.show(done + frames);
    }
    return done;
}

// @return the exit status
int copy(const Job& job) {
    std::error_code ignored;
    if (std::filesystem::equivalent(job.from, job.to, ignored)) {
        throw std::runtime_error(job.from + " and " + job.to + " are the same file");
    }
    std::shared_ptr<NSError> error;
    const auto source = BRAQExtendedAudioFile::initForPlaybackWithFileURL(NSURL::fileURLWithPath(job.from), &error);
    if (source == nullptr) {
        throw std::runtime_error(job.from + ": " + error->localizedDescription());
    }
    SInt64 frames = 0;
    try {
        const auto target = BRAQExtendedAudioFile::initForRecordingWithFilename(
            job.to, job.type, descriptionFor(job, *source), job.bitrate, nullptr);
        frames = copyFrames(*source, *target);
    } catch (const NSException&) {
        throw std::runtime_error(job.to + ": " +
                                 NSXErrorFromException(std::current_exception())->localizedDescription());
    }
    std::cerr << frames << " frames copied" << (interrupted != 0 ? ", then interrupted" : "") << "\n";
    return interrupted != 0 ? 128 + interrupted : 0;
}

} // namespace

int main(int argc, char** argv) try {
    Job job{};
    if (const std::string problem = parse(argc, argv, job); !problem.empty()) {
        return usage(problem);
    }
    // The new file is completed before the program ends.
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        std::signal(signal, [](int which) { interrupted = which; });
    }
    return copy(job);
} catch (const std::exception& failure) {
    std::cerr << "copy: " << failure.what() << "\n";
    return 1;
}
