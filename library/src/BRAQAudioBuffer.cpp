#include "BRAQAudio/BRAQAudioBuffer.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "library/core/BSamples.h"

#include <new>

namespace {

constexpr const char* file = "BRAQAudioBuffer";

// Separate from the copies, so that these create no text on an I/O thread unless the call is wrong.
void assertCounters(const UInt32* framesProduced, const UInt32* framesRequired, const char* method, const void* object,
                    int line) {
    NSXAssertParameter(framesRequired != nullptr, "framesRequired", method, object, file, line);
    NSXAssertParameter(framesProduced != nullptr, "framesProduced", method, object, file, line + 1);
}

} // namespace

std::shared_ptr<BRAQAudioBuffer> BRAQAudioBuffer::initWithNumberFrames(UInt32 numberFrames, UInt32 channels) try {
    return std::shared_ptr<BRAQAudioBuffer>(new BRAQAudioBuffer(numberFrames, channels));
} catch (const std::bad_alloc&) {
    return nullptr;
}

BRAQAudioBuffer::BRAQAudioBuffer(UInt32 numberFrames, UInt32 channels)
    : mAudioBufferList(nullptr), mByteSize(numberFrames * UInt32{sizeof(Float32)}) {
    mAudioBufferList = braq::createSamples(channels, 1, mByteSize);
    if (mAudioBufferList == nullptr) {
        throw std::bad_alloc();
    }
}

BRAQAudioBuffer::~BRAQAudioBuffer() { braq::destroySamples(mAudioBufferList); }

bool BRAQAudioBuffer::copyFramesIntoAudioBufferList(AudioBufferList* list, UInt32 bytesPerFrame, UInt32* framesProduced,
                                                    UInt32* framesRequired) {
    assertCounters(framesProduced, framesRequired,
                   "-[BRAQAudioBuffer copyFramesIntoAudioBufferList:bytesPerFrame:framesProduced:framesRequired:]",
                   this, 42);
    return braq::drainFrames(mAudioBufferList, mStartFrame, mEndFrame, mEndOfStream, list, bytesPerFrame,
                             {*framesProduced, *framesRequired});
}

bool BRAQAudioBuffer::copyFramesFromAudioBufferList(const AudioBufferList* list, UInt32 bytesPerFrame,
                                                    UInt32* framesProduced, UInt32* framesRequired) {
    assertCounters(framesProduced, framesRequired,
                   "-[BRAQAudioBuffer copyFramesFromAudioBufferList:bytesPerFrame:framesProduced:framesRequired:]",
                   this, 69);
    const auto [frames, full] = braq::fillFrames(mAudioBufferList, frameCount(), mByteSize, list, bytesPerFrame,
                                                 {*framesProduced, *framesRequired});
    mEndFrame += frames;
    return full;
}

void BRAQAudioBuffer::setEmpty() noexcept {
    mStartFrame = 0;
    mEndFrame = 0;
}
