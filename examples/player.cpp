// Plays an audio file on the default device to its end.
#include <BRAQAudio/BRAQAudio.h>

#include <iostream>

// Any object can be a delegate. It is called on the thread that runs the main queue.
struct Listener {
    void audioFilePlayerDidReachEndOfFile(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player) {
        std::cout << "played to " << player->currentTime() / 1000.0 << " s, " << player->errorCount() << " underruns\n";
        BRAQMainQueue::mainQueue().stop();
    }
};

int main(int argc, char** argv) {
    const auto player = BRAQExtendedAudioFilePlayer::initWithFilename(argc == 2 ? argv[1] : "", nullptr);
    if (player == nullptr) {
        std::cerr << "usage: player FILE\n"; // the log on the terminal says what is wrong with the file
        return 1;
    }
    Listener listener;
    player->setDelegate(&listener);
    player->startFilePlaying();
    const bool isPlaying = player->isPlaying(); // false if the device refuses
    if (isPlaying) {
        BRAQMainQueue::mainQueue().run(); // or any event loop; returns when everything was heard
    }
    player->invalidate();
    return isPlaying ? 0 : 1;
}
