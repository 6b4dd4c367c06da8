// Plays an audio file on the default device, to its end.
#include <BRAQAudio/BRAQAudio.h>

#include <iostream>
#include <memory>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: play FILE\n";
        return 2;
    }
    std::shared_ptr<NSError> error;
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFileURL(NSURL::fileURLWithPath(argv[1]), &error);
    if (file == nullptr) {
        std::cerr << argv[1] << ": " << error->localizedDescription() << "\n";
        return 1;
    }
    // The reader's worker reads ahead; the unit takes frames from the reader in the device's cycles.
    const auto reader = BRAQAudioFileReader::initWithBufferCount(3, 4096, file->streamDescription());
    reader->setAudioFile(file);
    reader->start();

    const auto device = BRAQAudioDevice::defaultPlaybackDevice();
    const auto unit = BRAQOutputAudioUnit::initWithStreamDescription(file->streamDescription(), device);
    unit->setAudioBufferQueue(reader);
    unit->setEndOfStreamNotificationBlock([](BQueueableAudioNotification*) { BRAQMainQueue::mainQueue().stop(); });
    unit->start();
    if (!unit->isRunning()) {
        std::cerr << device->deviceName().value_or("The device") << " does not play\n";
        return 1;
    }
    BRAQMainQueue::mainQueue().run(); // or any event loop
    unit->stop();                     // what was read is heard
    std::cout << "played to frame " << reader->currentFrame() << ", " << reader->errorCount() << " underruns\n";
}
