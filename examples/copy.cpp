// Copies an audio file into another format and shows the progress. The new file's name selects its type.
#include <BRAQAudio/BRAQAudio.h>

#include <algorithm>
#include <charconv>
#include <csignal>
#include <exception>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace {

struct Type {
    std::string_view extension;
    AudioFileTypeID type;
    std::string_view coding; // unless another one is requested
};
constexpr Type types[] = {
    {".wav", kAudioFileWAVEType, "pcm16"},    {".wave", kAudioFileWAVEType, "pcm16"},
    {".rf64", kAudioFileRF64Type, "pcm16"},   {".aif", kAudioFileAIFFType, "pcm16"},
    {".aiff", kAudioFileAIFFType, "pcm16"},   {".aifc", kAudioFileAIFCType, "pcm16"},
    {".caf", kAudioFileCAFType, "pcm16"},     {".au", kAudioFileNextType, "pcm16"},
    {".snd", kAudioFileNextType, "pcm16"},    {".m4a", kAudioFileM4AType, "aac"},
    {".mp4", kAudioFileMPEG4Type, "aac"},     {".aac", kAudioFileAAC_ADTSType, "aac"},
    {".adts", kAudioFileAAC_ADTSType, "aac"}, {".flac", kAudioFileFLACType, "flac"},
};

struct Coding {
    std::string_view name;
    UInt32 formatID;
    UInt32 bits;
    UInt32 flags;
};
constexpr UInt32 integerFlags = kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked;
constexpr UInt32 floatFlags = kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked;
constexpr Coding codings[] = {
    {"pcm8", kAudioFormatLinearPCM, 8, integerFlags},
    {"pcm16", kAudioFormatLinearPCM, 16, integerFlags},
    {"pcm24", kAudioFormatLinearPCM, 24, integerFlags},
    {"pcm32", kAudioFormatLinearPCM, 32, integerFlags},
    {"float", kAudioFormatLinearPCM, 32, floatFlags},
    {"double", kAudioFormatLinearPCM, 64, floatFlags},
    {"alac", kAudioFormatAppleLossless, 16, 0},
    {"alac24", kAudioFormatAppleLossless, 24, 0},
    {"flac", kAudioFormatFLAC, 16, 0},
    {"flac24", kAudioFormatFLAC, 24, 0},
    {"aac", kAudioFormatMPEG4AAC, 0, 0},
};

struct Job {
    std::string from;
    std::string to;
    Type type{};
    Coding coding{};
    UInt32 bitrate = 0; // 0 leaves it to the coding
};

volatile std::sig_atomic_t interrupted = 0; // the signal's number

int usage(const std::string& problem) {
    std::cerr << "copy: " << problem
              << "\nusage: copy FROM TO [CODING [BITS-PER-SECOND]]\n  TO, which is replaced if it is there, "
              << "ends in";
    for (const auto& type : types) {
        std::cerr << " " << type.extension;
    }
    std::cerr << "\n  CODING, by default of 16 bits or aac, is one of";
    for (const auto& coding : codings) {
        std::cerr << " " << coding.name;
    }
    std::cerr << "\n";
    return 2;
}

// In lower case, with its dot.
std::string extensionOf(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::ranges::transform(extension, extension.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return extension;
}

// @return what is wrong; empty if everything is right
std::string parse(int argc, char** argv, Job& job) {
    if (argc < 3 || argc > 5) {
        return "two to four arguments are needed";
    }
    job.from = argv[1];
    job.to = argv[2];
    const auto* const type = std::ranges::find(types, extensionOf(job.to), &Type::extension);
    if (type == std::end(types)) {
        return job.to + " has no extension that says what to write";
    }
    job.type = *type;
    const std::string_view name = argc > 3 ? std::string_view(argv[3]) : type->coding;
    const auto* const coding = std::ranges::find(codings, name, &Coding::name);
    if (coding == std::end(codings)) {
        return std::string(name) + " is not a coding";
    }
    job.coding = *coding;
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
    const bool isUnsigned =
        job.coding.bits == 8 && (job.type.type == kAudioFileWAVEType || job.type.type == kAudioFileRF64Type);
    const auto format = source.streamDescription();
    auto made = BRAQAudioStreamBasicDescription::streamDescription();
    made->setFormatID(job.coding.formatID);
    made->setFormatFlags(isUnsigned ? kAudioFormatFlagIsPacked : job.coding.flags);
    made->setBitsPerChannel(job.coding.bits);
    made->setChannelsPerFrame(format->channelsPerFrame());
    made->setSampleRate(format->sampleRate());
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
            job.to, job.type.type, descriptionFor(job, *source), job.bitrate, nullptr);
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
