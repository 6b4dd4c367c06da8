// A worker fills a ring with half a second of a tone while this thread acts as a device: every 10 ms it takes 480
// frames, without ever waiting for the worker.
#include <BRAQAudio/BRAQAudio.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iostream>
#include <memory>
#include <thread>

namespace {

constexpr UInt32 toneFrames = 24000;

class Tone : public BRAQAudioBufferQueue {
  public:
    explicit Tone(const std::shared_ptr<BRAQAudioStreamBasicDescription>& format)
        : BRAQAudioBufferQueue(8, 1024, format) {}
    ~Tone() override { teardownWorkerThread(); }

    // Runs on the worker's thread, which may block and allocate.
    void processBuffer(BQueueableAudioBuffer* queueable) override {
        BAudioBuffer* const buffer = &queueable->mAudioBuffer;
        AudioBufferList* const list = BAudioBufferAudioBufferList(buffer);
        const UInt32 room = BRAQAudioBufferListCapacityInFrames(list, sizeof(Float32));
        const UInt32 frames = std::min(room, toneFrames - mFramesMade);
        auto* const samples = static_cast<Float32*>(list->mBuffers[0].mData);
        for (UInt32 frame = 0; frame < frames; ++frame) {
            samples[frame] = 0.5F * std::sin(0.0576F * static_cast<Float32>(mFramesMade + frame)); // 440 Hz
        }
        mFramesMade += frames;
        BAudioBufferSetEmpty(buffer);
        BAudioBufferSetEndFrame(buffer, frames);
        BAudioBufferSetReachedEndOfStream(buffer, mFramesMade == toneFrames);
    }

  private:
    UInt32 mFramesMade = 0;
};

} // namespace

int main() {
    const auto format = BRAQAudioStreamBasicDescription::nativeStreamDescription();
    format->setIsInterleaved(false);
    format->setChannelsPerFrame(1);
    format->setSampleRate(48000);

    const auto tone = std::make_shared<Tone>(format);
    tone->prime();

    AudioBufferList* const cycle = BRAQAudioBufferListCreate(1, sizeof(Float32), 480, false);
    UInt32 framesPlayed = 0;
    while (!BRAQAudioBufferQueueReachedEndOfStream(tone.get())) {
        UInt32 frames = 480;
        BRAQAudioBufferQueueCopyInto(tone.get(), cycle, &frames); // real-time safe
        framesPlayed += frames;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    BRAQAudioBufferListDestroy(cycle);
    std::cout << framesPlayed << " frames played, " << tone->errorCount() << " underruns\n";
}
