#pragma once

#include "BRAQAudio/BRAQExtendedAudioFileRecorder.h"
#include "tests/src/FileFixture.h"
#include "tests/support/FrameLists.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

// A recorder on a stepped device of 48 kHz that captures numbered frames. The main queue is drained by hand.
namespace recorder_test {

using Recorder = std::shared_ptr<BRAQExtendedAudioFileRecorder>;

constexpr UInt64 ringFrames = UInt64{3} * 32768;

/// What a delegate was told, and where.
struct Delegate {
    int stops = 0;
    const void* recorder = nullptr;
    std::thread::id thread;
    std::function<void(const Recorder&)> whenStopped;

    void audioFileRecorderDidStop(const Recorder& of) {
        ++stops;
        recorder = of.get();
        thread = std::this_thread::get_id();
        if (whenStopped) {
            whenStopped(of);
        }
    }
};

class RecorderTest : public FileTest {
  protected:
    void TearDown() override {
        if (recorder != nullptr) {
            recorder->invalidate();
            recorder.reset();
        }
        FileTest::TearDown();
    }

    std::shared_ptr<BRAQExtendedAudioFile> create(UInt32 channels = 2, Float64 rate = 48000.0) const {
        return BRAQExtendedAudioFile::initForRecordingWithFilename(path("a.wav"), kAudioFileWAVEType,
                                                                   float32(channels, rate), 0, nullptr);
    }

    /// Makes the recorder of a new file, with the delegate.
    void open(const std::optional<std::vector<SInt32>>& channels = std::nullopt) {
        recorder = BRAQExtendedAudioFileRecorder::initWithFile(create(), device, channels);
        recorder->setDelegate(delegate);
    }

    /// A cycle that captures the next frames. @return whether it ran
    bool capture(UInt32 frames) {
        const braq::tests::FrameList list(2, frames);
        braq::tests::number(list.get(), captured, frames);
        const Float32* const from[2]{static_cast<const Float32*>(list.get()->mBuffers[0].mData),
                                     static_cast<const Float32*>(list.get()->mBuffers[1].mData)};
        if (!software->step(frames, from)) {
            return false;
        }
        captured += frames;
        return true;
    }
    /// So many frames, at most as many as the ring takes.
    void captureAll(UInt64 frames) {
        for (UInt64 done = 0, part = 0; done < frames; done += part) {
            part = std::min<UInt64>(frames - done, 512);
            ASSERT_TRUE(capture(static_cast<UInt32>(part)));
        }
    }

    /// Lets everybody's hold of the file go, so that it is complete. @return the numbers of its frames
    std::vector<UInt64> closedFile() {
        recorder->invalidate();
        recorder.reset();
        settle();
        return braq::tests::framesOfFile(path("a.wav"));
    }

    static std::vector<UInt64> numbers(UInt64 first, UInt64 end) {
        std::vector<UInt64> all;
        for (UInt64 number = first; number < end; ++number) {
            all.push_back(number);
        }
        return all;
    }

    const std::shared_ptr<BRAQSoftwareDevice> software = makeDeviceWith({.uid = "recorder"});
    const std::shared_ptr<BRAQAudioDevice> device = BRAQAudioDevice::initWithDeviceID(software->deviceID());
    UInt64 captured = 0;
    std::shared_ptr<Delegate> delegate = std::make_shared<Delegate>();
    Recorder recorder;
};

} // namespace recorder_test
