// Plays keys on the default device, wherever that goes: c d e f g a b, in capitals half a tone higher, and spaces as rests.
#include <BRAQAudio/BRAQAudio.h>

#include <atomic>
#include <cmath>
#include <iostream>
#include <numbers>
#include <thread>

int main(int argc, char** argv) try {
    constexpr std::string_view keys = "cCdDefFgGaAb ";
    const std::string_view melody = argc == 2 ? argv[1] : "cegGg c";
    if (argc > 2 || melody.find_first_not_of(keys) != std::string_view::npos) {
        std::cerr << "usage: synthesiser [KEYS]\n";
        return 2;
    }
    constexpr double rate = 48000.0;
    std::atomic<double> frequency{0.0}; // written here, read on the device's thread
    std::atomic<double> loudness{0.0};
    const auto render = [&, phase = 0.0, level = 0.0](auto*, UInt32 frames, AudioBufferList* list) mutable {
        for (UInt32 frame = 0; frame < frames; ++frame) {
            level += (loudness - level) / 240.0; // within some milliseconds, so that nothing clicks
            phase = std::fmod(phase + 2.0 * std::numbers::pi * frequency / rate, 2.0 * std::numbers::pi);
            static_cast<Float32*>(list->mBuffers[0].mData)[frame] = static_cast<Float32>(level * std::sin(phase));
        }
    };
    const auto unit = BRAQRenderAudioUnit::initWithStreamDescription(
        BRAQAudioStreamBasicDescription::planarStreamDescription(1, rate), nullptr, render);
    unit->start();
    for (const char key : std::string(melody) + ' ') { // the last one fades, too
        frequency = key != ' ' ? 261.6256 * std::exp2(static_cast<double>(keys.find(key)) / 12.0) : frequency.load();
        loudness = key != ' ' ? 0.2 : 0.0;
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
    }
    unit->stop(); // from here on, render is not called any more
    std::cout << melody.size() << " keys played\n";
} catch (const NSException& failure) {
    std::cerr << "synthesiser: " << failure.reason() << "\n";
    return 1;
}
