// Plays the default input on the default output through a tremolo for some seconds, and says how late. Use headphones.
#include <BRAQAudio/BRAQAudio.h>

#include <cmath>
#include <cstdlib>
#include <iostream>
#include <thread>

int main(int argc, char** argv) try {
    constexpr double rate = 48000.0;
    const double seconds = argc == 2 ? std::strtod(argv[1], nullptr) : 0.0;
    if (!(seconds > 0.0 && seconds < 1e6)) {
        std::cerr << "usage: effect SECONDS\n";
        return 2;
    }
    const auto format = BRAQAudioStreamBasicDescription::planarStreamDescription(1, rate);
    const auto ring = BRAQAudioFrameRing::initWithCapacity(16384, 1, rate);
    const auto input = BRAQInputAudioUnit::initWithStreamDescription(format, nullptr, std::nullopt);
    input->setInputProcessingBlock(
        [&](auto*, const AudioTimeStamp* time, UInt32, UInt32 frames, auto* list) { ring->write(list, frames, time); });
    const auto tremolo = [&](const AudioTimeStamp* time, UInt32 frames, AudioBufferList* list) {
        auto* const samples = static_cast<Float32*>(list->mBuffers[0].mData);
        ring->readLatest(list, frames, time); // what is missing stays silent
        for (UInt32 frame = 0; frame < frames; ++frame) {
            samples[frame] *= static_cast<Float32>(0.6 + 0.4 * std::sin(35.0 * (time->mSampleTime + frame) / rate));
        }
    };
    const auto output = BRAQRenderAudioUnit::initWithStreamDescription(format, nullptr, tremolo);
    input->start();
    output->start();
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    const auto milliseconds = [](double time) { return std::round(1e4 * time) / 10.0; };
    std::cout << "latency: input " << milliseconds(input->latency()) << " ms, ring " << milliseconds(ring->delay())
              << " ms, output " << milliseconds(output->latency()) << " ms; " << ring->underruns() << " underruns\n";
    output->stop();
    input->stop();
} catch (const NSException& failure) {
    std::cerr << "effect: " << failure.reason() << "\n";
    return 1;
}
