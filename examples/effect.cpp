// Plays the default input on the default output through a tremolo for some seconds, and says how late. Use headphones.
#include <BRAQAudio/BRAQAudio.h>

#include <atomic>
#include <chrono>
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
    const auto ring = BRAQAudioFrameRing::initWithCapacity(16384, 1);
    const auto secondsOf = [](const AudioTimeStamp* time) { return static_cast<double>(time->mHostTime) * 1e-9; };

    std::atomic<double> origin{0.0}; // when the first frame was captured, by the clock of the latest cycle
    std::atomic<UInt32> captured{0}; // frames of that cycle
    double written = 0.0;
    const auto input = BRAQInputAudioUnit::initWithStreamDescription(format, nullptr, std::nullopt);
    input->setInputProcessingBlock(
        [&](auto*, const AudioTimeStamp* time, UInt32, UInt32 frames, AudioBufferList* list) {
            origin = secondsOf(time) - written / rate;
            captured = frames;
            written += ring->write(list, frames);
        });

    std::atomic<double> delay{0.0}; // between the cycle that captures a frame and the one that plays it
    double read = 0.0;
    const auto effect = [&](const AudioTimeStamp* time, UInt32 frames, AudioBufferList* list) {
        // Two devices have two clocks, and one may start long before the other: no more than a cycle of each is kept.
        const UInt32 held = ring->framesHeld();
        const UInt32 enough = frames + captured;
        read += ring->skip(held > enough ? held - enough : 0);
        if (held != 0) {
            delay = secondsOf(time) - origin - read / rate;
        }
        auto* const samples = static_cast<Float32*>(list->mBuffers[0].mData);
        read += ring->read(list, frames); // what is missing stays silent
        for (UInt32 frame = 0; frame < frames; ++frame) {
            samples[frame] *= static_cast<Float32>(0.6 + 0.4 * std::sin(35.0 * (time->mSampleTime + frame) / rate));
        }
    };
    const auto output = BRAQRenderAudioUnit::initWithStreamDescription(format, nullptr, effect);
    input->start();
    output->start();
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    const auto milliseconds = [](double time) { return static_cast<double>(std::lround(time * 1e4)) / 10.0; };
    const double in = input->latency();
    const double inside = delay;
    const double out = output->latency();
    output->stop();
    input->stop();
    std::cout << "latency: input " << milliseconds(in) << " ms, ring " << milliseconds(inside) << " ms, output "
              << milliseconds(out) << " ms, together " << milliseconds(in + inside + out) << " ms; " << ring->overruns()
              << " overruns, " << ring->underruns() << " underruns\n";
} catch (const NSException& failure) {
    std::cerr << "effect: " << failure.reason() << "\n";
    return 1;
}
