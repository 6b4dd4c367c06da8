// Plays a file on a device until it is interrupted: what a player of this library costs, and nothing else.
#include <BRAQAudio/BRAQAudio.h>

#include <unistd.h>

int main(int argc, char** argv) {
    if (argc != 3) {
        return 2;
    }
    const auto player =
        BRAQExtendedAudioFilePlayer::initWithFilename(argv[1], BRAQAudioDevice::initWithDeviceUID(argv[2]));
    if (player == nullptr) {
        return 1;
    }
    player->startFilePlaying();
    ::pause();
}
