// Copies an audio file into another format, saying how far it is. The new file's name chooses its type.
#include <BRAQAudio/BRAQAudio.h>

#include <algorithm>
#include <charconv>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

struct Type {
    std::string_view extension;
    AudioFileTypeID type;
    std::string_view coding; // unless another one is asked for
};
constexpr Type types[] = {
    {".wav", kAudioFileWAVEType, "pcm16"},   {".rf64", kAudioFileRF64Type, "pcm16"},
    {".aif", kAudioFileAIFFType, "pcm16"},   {".aiff", kAudioFileAIFFType, "pcm16"},
    {".aifc", kAudioFileAIFCType, "pcm16"},  {".caf", kAudioFileCAFType, "pcm16"},
    {".m4a", kAudioFileM4AType, "aac"},      {".mp4", kAudioFileMPEG4Type, "aac"},
    {".aac", kAudioFileAAC_ADTSType, "aac"}, {".flac", kAudioFileFLACType, "flac"},
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
    const Type* type;
    const Coding* coding;
    UInt32 bitrate = 0; // 0 leaves it to the coding
};

volatile std::sig_atomic_t interrupted = 0;

int usage() {
    std::cerr << "usage: copy FROM TO [CODING [BITS-PER-SECOND]]\n  TO ends in";
    for (const auto& type : types) {
        std::cerr << " " << type.extension;
    }
    std::cerr << "\n  CODING is one of";
    for (const auto& coding : codings) {
        std::cerr << " " << coding.name;
    }
    std::cerr << "\n";
    return 2;
}

// @return whether the arguments make sense
bool parse(int argc, char** argv, Job& job) {
    if (argc < 3 || argc > 5) {
        return false;
    }
    job.from = argv[1];
    job.to = argv[2];
    job.type = std::ranges::find(types, std::filesystem::path(job.to).extension().string(), &Type::extension);
    if (job.type == std::end(types)) {
        return false;
    }
    const std::string_view coding = argc > 3 ? std::string_view(argv[3]) : job.type->coding;
    job.coding = std::ranges::find(codings, coding, &Coding::name);
    if (job.coding == std::end(codings)) {
        return false;
    }
    if (argc > 4) {
        const std::string_view text = argv[4];
        const auto [end, problem] = std::from_chars(text.begin(), text.end(), job.bitrate);
        return problem == std::errc() && end == text.end() && job.bitrate > 0;
    }
    return true;
}

// What the new file holds: the channels and the rate of the old one, coded as was asked for.
std::shared_ptr<BRAQAudioStreamBasicDescription> descriptionFor(const Job& job, const BRAQExtendedAudioFile& source) {
    const bool isUnsigned =
        job.coding->bits == 8 && (job.type->type == kAudioFileWAVEType || job.type->type == kAudioFileRF64Type);
    const auto format = source.streamDescription();
    auto made = BRAQAudioStreamBasicDescription::streamDescription();
    made->setFormatID(job.coding->formatID);
    made->setFormatFlags(isUnsigned ? kAudioFormatFlagIsPacked : job.coding->flags);
    made->setBitsPerChannel(job.coding->bits);
    made->setChannelsPerFrame(format->channelsPerFrame());
    made->setSampleRate(format->sampleRate());
    return made;
}

void showProgress(SInt64 done, SInt64 total) {
    std::cerr << "\r" << (total > 0 ? std::min(done * 100 / total, SInt64{100}) : 0) << " %" << std::flush;
}

// @return frames copied
SInt64 copyFrames(BRAQExtendedAudioFile& source, BRAQExtendedAudioFile& target) {
    constexpr UInt32 blockFrames = 16384;
    const std::unique_ptr<AudioBufferList, decltype(&BRAQAudioBufferListDestroy)> block(
        BRAQAudioBufferListCreate(source.streamDescription()->channelsPerFrame(), sizeof(Float32), blockFrames, false),
        &BRAQAudioBufferListDestroy);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    const SInt64 total = source.frameCount();
    SInt64 done = 0;
    for (UInt32 frames = blockFrames; frames == blockFrames && interrupted == 0; done += frames) {
        source.readIntoAudioBufferList(block.get(), 0, &frames); // the byte sizes become what was read
        target.writeAudioBufferList(block.get(), &frames);
        showProgress(done + frames, total);
    }
    std::cerr << "\n";
    return done;
}

int copy(const Job& job) {
    std::error_code ignored;
    if (std::filesystem::equivalent(job.from, job.to, ignored)) {
        throw std::runtime_error("both are the same file");
    }
    std::shared_ptr<NSError> error;
    const auto source = BRAQExtendedAudioFile::initForPlaybackWithFileURL(NSURL::fileURLWithPath(job.from), &error);
    if (source == nullptr) {
        throw std::runtime_error(job.from + ": " + error->localizedDescription());
    }
    const auto target = BRAQExtendedAudioFile::initForRecordingWithFilename(
        job.to, job.type->type, descriptionFor(job, *source), job.bitrate, nullptr);
    const SInt64 frames = copyFrames(*source, *target);
    target->closeFile();
    std::cerr << frames << " frames copied" << (interrupted != 0 ? ", then interrupted" : "") << "\n";
    return interrupted != 0 ? 130 : 0;
}

} // namespace

int main(int argc, char** argv) try {
    Job job{};
    if (!parse(argc, argv, job)) {
        return usage();
    }
    std::signal(SIGINT, [](int) { interrupted = 1; });
    return copy(job);
} catch (const std::exception& failure) {
    std::cerr << "copy: " << failure.what() << "\n";
    return 1;
}
