// Asks a player for its position while each read of its file takes longer than what is read lasts, and says how long that took.
#include <BRAQAudio/BRAQAudio.h>
#include <BRAQAudio/platform/BRAQSoftwareDevice.h>
#include <BRAQAudio/platform/files.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr std::chrono::milliseconds readTime{120};
constexpr std::chrono::seconds measured{5};
constexpr std::chrono::milliseconds betweenQuestions{5};

} // namespace

// The linker puts this in the place of the library's own calls.
extern "C" {
decltype(ExtAudioFileRead) __real_ExtAudioFileRead, __wrap_ExtAudioFileRead;

OSStatus __wrap_ExtAudioFileRead(ExtAudioFileRef file, UInt32* frames, AudioBufferList* list) {
    std::this_thread::sleep_for(readTime);
    return __real_ExtAudioFileRead(file, frames, list);
}
}

int main(int argc, char** argv) {
    if (argc != 2) {
        return 2;
    }
    BRAQSoftwareDeviceOptions options;
    options.uid = "slow reads";
    const auto device = BRAQSoftwareDevice::deviceWithOptions(options);
    const auto player =
        BRAQExtendedAudioFilePlayer::initWithFilename(argv[1], BRAQAudioDevice::initWithDeviceUID(options.uid));
    if (player == nullptr) {
        std::fprintf(stderr, "%s cannot be played\n", argv[1]);
        return 1;
    }
    player->startFilePlaying();
    std::vector<double> waits;
    double position = 0.0;
    for (const auto end = Clock::now() + measured; Clock::now() < end;) {
        const auto before = Clock::now();
        position = player->currentTime();
        waits.push_back(Milliseconds(Clock::now() - before).count());
        std::this_thread::sleep_for(betweenQuestions);
    }
    const bool hasPlayed = player->isPlaying() && player->errorCount() > 0 && position > 0.0;
    player->invalidate();
    if (!hasPlayed) {
        std::fprintf(stderr, "the reads were not slow, or nothing was played\n");
        return 1;
    }
    std::printf("at most %.3g ms in %zu times\n", *std::max_element(waits.begin(), waits.end()), waits.size());
}
