#include "BRAQAudio/BRAQAudioBuffer.h"

#include "BRAQAudio/platform/foundation.h"
#include "tests/support/FrameLists.h"
#include "tests/support/RealtimeGuard.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr UInt32 bytesPerFrame = sizeof(Float32);

class AudioBufferObject : public testing::Test {
  protected:
    void hold(UInt32 frames) {
        braq::tests::number(buffer->audioBufferList(), 0, frames);
        buffer->setEndFrame(frames);
    }
    bool copyInto(UInt32 wanted) {
        required = wanted;
        return buffer->copyFramesIntoAudioBufferList(list.get(), bytesPerFrame, &produced, &required);
    }
    bool copyFrom(UInt32 offered) {
        required = offered;
        return buffer->copyFramesFromAudioBufferList(list.get(), bytesPerFrame, &produced, &required);
    }

    std::shared_ptr<BRAQAudioBuffer> buffer = BRAQAudioBuffer::initWithNumberFrames(512, 2);
    braq::tests::FrameList list{2, 1024};
    UInt32 produced = 0;
    UInt32 required = 0;
};

TEST_F(AudioBufferObject, IsMadeEmptyWithOneChannelABuffer) {
    ASSERT_EQ(buffer->audioBufferList()->mNumberBuffers, 2U);
    EXPECT_EQ(buffer->audioBufferList()->mBuffers[1].mNumberChannels, 1U);
    EXPECT_EQ(buffer->audioBufferList()->mBuffers[1].mDataByteSize, 2048U);
    EXPECT_EQ(buffer->frameCount(), 0U);
    EXPECT_FALSE(buffer->endOfStream());
}

TEST_F(AudioBufferObject, KeepsItsPositions) {
    buffer->setStartFrame(3);
    buffer->setEndFrame(10);
    buffer->setEndOfStream(true);
    EXPECT_EQ(buffer->startFrame(), 3U);
    EXPECT_EQ(buffer->endFrame(), 10U);
    EXPECT_EQ(buffer->frameCount(), 7U);
    buffer->setEmpty();
    EXPECT_EQ(buffer->startFrame(), 0U);
    EXPECT_EQ(buffer->endFrame(), 0U);
    EXPECT_TRUE(buffer->endOfStream());
}

TEST_F(AudioBufferObject, CopiesOutInSeveralCalls) {
    hold(100);
    EXPECT_FALSE(copyInto(60));
    EXPECT_EQ(buffer->startFrame(), 60U);
    EXPECT_EQ(required, 0U);
    EXPECT_TRUE(copyInto(60));
    EXPECT_EQ(required, 20U);
    list.expectNumbered(0, 0, 100);
}

TEST_F(AudioBufferObject, NeverCallsTheLastBufferEmptied) {
    hold(100);
    buffer->setEndOfStream(true);
    EXPECT_FALSE(copyInto(60));
    EXPECT_FALSE(copyInto(60));
    EXPECT_EQ(produced, 100U);
}

TEST_F(AudioBufferObject, CopiesInWhatFits) {
    hold(500);
    braq::tests::number(list.get(), 500, 20);
    EXPECT_TRUE(copyFrom(20));
    EXPECT_EQ(produced, 12U);
    EXPECT_EQ(required, 8U);
    EXPECT_EQ(buffer->endFrame(), 512U);
    braq::tests::expectNumbered(buffer->audioBufferList(), 0, 0, 512);
}

TEST_F(AudioBufferObject, KeepsTheRealtimeRules) {
    braq::tests::number(list.get(), 0, 512);
    bool full = false;
    bool emptied = false;
    braq::tests::runRealtime([&] {
        full = copyFrom(512);
        produced = 0;
        emptied = copyInto(512);
    });
    EXPECT_TRUE(full);
    EXPECT_TRUE(emptied);
    list.expectNumbered(0, 0, 512);
}

class AudioBufferCounters : public AudioBufferObject {
  protected:
    class Handler : public NSAssertionHandler {
      public:
        void handleFailureInMethod(const std::string& method, const void* object, const std::string& file, int line,
                                   const std::string& description) override {
            last = method + "|" + file + "|" + std::to_string(line) + "|" + description;
            lastObject = object;
        }
        std::string last;
        const void* lastObject = nullptr;
    };

    AudioBufferCounters() { NSAssertionHandler::setCurrentHandler(handler); }
    ~AudioBufferCounters() override { NSAssertionHandler::setCurrentHandler(nullptr); }

    std::shared_ptr<Handler> handler = std::make_shared<Handler>();
};

TEST_F(AudioBufferCounters, AreAssertedWhenCopyingInto) {
    const std::string place =
        "-[BRAQAudioBuffer "
        "copyFramesIntoAudioBufferList:bytesPerFrame:framesProduced:framesRequired:]|BRAQAudioBuffer|";
    EXPECT_THROW(buffer->copyFramesIntoAudioBufferList(list.get(), 4, nullptr, nullptr), NSException);
    EXPECT_EQ(handler->last, place + "42|Invalid parameter not satisfying: framesRequired");
    EXPECT_EQ(handler->lastObject, buffer.get());
    EXPECT_THROW(buffer->copyFramesIntoAudioBufferList(list.get(), 4, nullptr, &required), NSException);
    EXPECT_EQ(handler->last, place + "43|Invalid parameter not satisfying: framesProduced");
}

TEST_F(AudioBufferCounters, AreAssertedWhenCopyingFrom) {
    const std::string place =
        "-[BRAQAudioBuffer "
        "copyFramesFromAudioBufferList:bytesPerFrame:framesProduced:framesRequired:]|BRAQAudioBuffer|";
    EXPECT_THROW(buffer->copyFramesFromAudioBufferList(list.get(), 4, &produced, nullptr), NSException);
    EXPECT_EQ(handler->last, place + "69|Invalid parameter not satisfying: framesRequired");
    EXPECT_THROW(buffer->copyFramesFromAudioBufferList(list.get(), 4, nullptr, &required), NSException);
    EXPECT_EQ(handler->last, place + "70|Invalid parameter not satisfying: framesProduced");
}

} // namespace
