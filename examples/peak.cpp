// Finds the peak of an audio file of any format.
#include <BRAQAudio/BRAQAudio.h>

#include <algorithm>
#include <cmath>
#include <iostream>
#include <memory>
#include <vector>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: peak FILE\n";
        return 2;
    }
    std::shared_ptr<NSError> error;
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFileURL(NSURL::fileURLWithPath(argv[1]), &error);
    if (file == nullptr) {
        std::cerr << argv[1] << ": " << error->localizedDescription() << "\n";
        return 1;
    }
    constexpr UInt32 blockFrames = 4096;
    const UInt32 channels = file->streamDescription()->channelsPerFrame();
    AudioBufferList* const block = BRAQAudioBufferListCreate(channels, sizeof(Float32), blockFrames, false);
    std::vector<Float32> peaks(channels);
    UInt32 frames = blockFrames;
    while (frames == blockFrames) {
        file->readIntoAudioBufferList(block, 0, &frames); // continues where the last call ended
        for (UInt32 channel = 0; channel < channels; ++channel) {
            const auto* const samples = static_cast<const Float32*>(block->mBuffers[channel].mData);
            for (UInt32 frame = 0; frame < frames; ++frame) {
                peaks[channel] = std::max(peaks[channel], std::abs(samples[frame]));
            }
        }
    }
    BRAQAudioBufferListDestroy(block);
    for (UInt32 channel = 0; channel < channels; ++channel) {
        std::cout << "channel " << channel + 1 << ": " << peaks[channel] << "\n";
    }
}
