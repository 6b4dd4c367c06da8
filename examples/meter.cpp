// Shows the level of the default input, five times a second, until Ctrl-C.
#include <BRAQAudio/BRAQAudio.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <iomanip>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

volatile std::sig_atomic_t interrupted = 0;

} // namespace

int main() try {
    const auto device = BRAQAudioDevice::defaultRecordDevice();
    std::vector<SInt32> channels{0, 1}; // a meter has one or two
    channels.resize(std::min<std::size_t>(channels.size(), device->numberOfRecordChannels()));
    const auto meter = BRAQAudioInputMeter::initWithDevice(device, channels);

    std::atomic<bool> hasStopped{false}; // the device was unplugged
    const auto token = NSNotificationCenter::defaultCenter().addObserver(
        kAudioUnitDidStopNotification, nullptr, [&](const NSNotification&) { hasStopped = true; });
    std::signal(SIGINT, [](int) { interrupted = 1; });

    meter->start();
    while (interrupted == 0 && !hasStopped) {
        std::this_thread::sleep_for(std::chrono::milliseconds(200)); // a level covers the last eighth of a second
        const std::atomic<double>* levels = meter->levels();
        for (std::size_t channel = 0; channel < channels.size(); ++channel) {
            std::cout << std::fixed << std::setprecision(1) << std::setw(8) << levels[channel].load() << " dB";
        }
        std::cout << std::endl;
    }
    meter->invalidate();
    if (interrupted == 0) {
        throw std::runtime_error("the device is gone");
    }
} catch (const std::exception& failure) {
    std::cerr << "meter: " << failure.what() << "\n";
    return 1;
}
