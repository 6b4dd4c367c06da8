// Records the default input into a WAVE file, for some seconds or until Ctrl-C, and shows time and level.
#include <BRAQAudio/BRAQAudio.h>

#include <poll.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <csignal>
#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

volatile std::sig_atomic_t interrupted = 0;

// Notified when recording stops for any reason, for example because the device was unplugged.
struct Listener {
    void audioFileRecorderDidStop(const std::shared_ptr<BRAQExtendedAudioFileRecorder>& /*recorder*/) {
        hasStopped = true;
    }
    bool hasStopped = false;
};

// 16 bits, with all channels of the device at its rate.
std::shared_ptr<BRAQExtendedAudioFile> makeFile(const std::string& path,
                                                const std::shared_ptr<BRAQAudioDevice>& device) {
    const auto format = BRAQAudioStreamBasicDescription::streamDescription();
    format->setFormatFlags(kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked);
    format->setBitsPerChannel(16);
    format->setChannelsPerFrame(device->numberOfRecordChannels());
    format->setSampleRate(device->recordingNominalSampleRate());
    return BRAQExtendedAudioFile::initForRecordingWithFilename(path, kAudioFileWAVEType, format, 0, device);
}

// Waits for so long, and calls delegates meanwhile.
void wait(double milliseconds) {
    auto& queue = BRAQMainQueue::mainQueue();
    pollfd watched{queue.fileDescriptor(), POLLIN, 0};
    ::poll(&watched, 1, static_cast<int>(milliseconds)); // a signal ends it early
    queue.drain();
}

void showProgress(double seconds, const std::atomic<double>* levels, UInt32 channels) {
    std::cerr << "\r" << std::fixed << std::setprecision(1) << std::setw(7) << seconds << " s";
    for (UInt32 channel = 0; channel < channels; ++channel) {
        std::cerr << std::setw(8) << levels[channel].load() << " dB";
    }
    std::cerr << std::flush;
}

void record(double seconds, const std::string& path) {
    const auto device = BRAQAudioDevice::defaultRecordDevice();
    const auto recorder = BRAQExtendedAudioFileRecorder::initWithFile(makeFile(path, device), device, std::nullopt);
    const UInt32 metered = std::min(device->numberOfRecordChannels(), UInt32{2});
    const auto meter =
        BRAQAudioInputMeter::initWithDevice(device, metered == 1 ? std::vector<SInt32>{0} : std::vector<SInt32>{0, 1});
    // Both keep themselves alive until they are invalidated. The recorder holds the last reference to the file, which
    // is complete when the recorder is destroyed.
    const std::shared_ptr<void> atTheEnd(nullptr, [&](void*) {
        recorder->invalidate();
        meter->invalidate();
    });
    const auto listener = std::make_shared<Listener>();
    recorder->setDelegate(listener);

    meter->start();
    recorder->startRecording();
    constexpr double untilNextLine = 200.0; // a level covers the last eighth of a second
    while (interrupted == 0 && !listener->hasStopped && recorder->currentTime() < seconds * 1000.0) {
        wait(std::clamp(seconds * 1000.0 - recorder->currentTime(), 1.0, untilNextLine));
        showProgress(recorder->currentTime() / 1000.0, meter->levels(), metered);
    }
    std::cerr << "\n";
    const bool isGone = listener->hasStopped;
    recorder->stopRecording(); // returns when all captured frames are in the file
    std::cout << recorder->currentFrame() << " frames recorded, " << recorder->errorCount() << " overruns\n";
    if (isGone) {
        throw std::runtime_error("the device is gone");
    }
}

} // namespace

int main(int argc, char** argv) try {
    double seconds = 0.0;
    const std::string_view duration = argc == 3 ? argv[1] : "";
    if (std::from_chars(duration.begin(), duration.end(), seconds).ptr != duration.end() || !(seconds > 0.0)) {
        std::cerr << "usage: recorder SECONDS FILE.wav\n";
        return 2;
    }
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        std::signal(signal, [](int) { interrupted = 1; });
    }
    record(seconds, argv[2]);
} catch (const std::exception& failure) {
    std::cerr << "recorder: " << failure.what() << "\n";
    return 1;
}
