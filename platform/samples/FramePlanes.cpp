#include "platform/samples/FramePlanes.h"

namespace braq {
namespace {

const Float32* samples(const AudioBuffer& buffer) { return static_cast<const Float32*>(buffer.mData); }

} // namespace

void copyFrames(const AudioBufferList& list, std::size_t firstFrame, std::size_t frames, FramePlanes& planes) {
    planes.resize(frames);
    const std::size_t stride = list.mNumberBuffers == 1 ? planes.channels() : 1;
    for (UInt32 channel = 0; channel < planes.channels(); ++channel) {
        const Float32* const source = list.mNumberBuffers == 1
                                          ? samples(list.mBuffers[0]) + firstFrame * stride + channel
                                          : samples(list.mBuffers[channel]) + firstFrame;
        Float32* const plane = planes.channel(channel);
        for (std::size_t i = 0; i < frames; ++i) {
            plane[i] = source[i * stride];
        }
    }
}

} // namespace braq
