// Plays part of an audio file three times at half speed on the default device.
#include <BRAQAudio/BRAQAudio.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <thread>

int main(int argc, char** argv) try {
    if (argc != 4) {
        std::cerr << "usage: loop FILE FIRST-FRAME FRAMES\n";
        return 2;
    }
    const BRAQFrameRange range{std::strtoull(argv[2], nullptr, 10), std::strtoull(argv[3], nullptr, 10)};
    std::shared_ptr<NSError> error;
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFileURL(NSURL::fileURLWithPath(argv[1]), &error);
    if (file == nullptr) {
        std::cerr << argv[1] << ": " << error->localizedDescription() << "\n";
        return 1;
    }
    // The reader's worker reads ahead; the unit pulls frames from the reader in the device's cycles.
    const auto reader = BRAQAudioFileReader::initWithBufferCount(3, 4096, file->streamDescription());
    reader->setAudioFile(file);
    reader->setCurrentFrame(static_cast<SInt64>(range.location));
    reader->enableLoopingInRange(range);
    reader->start();

    const auto device = BRAQAudioDevice::defaultPlaybackDevice();
    const auto unit = BRAQOutputAudioUnit::initWithStreamDescription(file->streamDescription(), device);
    unit->setAudioBufferQueue(reader);
    unit->setPlaybackRate(0.5);
    unit->start();
    if (!unit->isRunning()) {
        std::cerr << device->deviceName().value_or("The device") << " does not play\n";
        return 1;
    }
    const double seconds = 3 * static_cast<double>(range.length) / file->streamDescription()->sampleRate() / 0.5;
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    unit->stop(); // returns when everything pulled was heard
    reader->stop();
    std::cout << "stopped at frame " << reader->currentFrame() << "\n";
} catch (const NSException& failure) {
    std::cerr << "loop: " << failure.reason() << "\n";
    return 1;
}
