// Plays an audio file on the default device, to its end.
#include <BRAQAudio/BRAQAudio.h>

#include <iostream>
#include <memory>

namespace {

// Any object can be a delegate; it is called on the thread that runs the main queue.
struct Listener {
    void audioFilePlayerDidReachEndOfFile(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player) {
        std::cout << "played to " << player->currentTime() / 1000.0 << " s, " << player->errorCount() << " underruns\n";
        BRAQMainQueue::mainQueue().stop();
    }
};

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: player FILE\n";
        return 2;
    }
    const auto device = BRAQAudioDevice::defaultPlaybackDevice();
    const auto player = BRAQExtendedAudioFilePlayer::initWithFilename(argv[1], device);
    if (player == nullptr) {
        return 1; // the log, which is on the terminal, says why
    }
    Listener listener;
    player->setDelegate(&listener);
    player->startFilePlaying();
    const bool isPlaying = player->isPlaying(); // unless the device refuses
    if (isPlaying) {
        BRAQMainQueue::mainQueue().run(); // or any event loop; returns when everything is heard
    }
    player->invalidate();
    return isPlaying ? 0 : 1;
}
