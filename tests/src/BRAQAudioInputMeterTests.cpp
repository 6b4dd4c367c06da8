#include "BRAQAudio/BRAQAudioInputMeter.h"

#include "tests/src/UnitFixture.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <thread>

namespace {

using unit_test::settle;

/// A meter that tells when it goes.
class WatchedMeter : public BRAQAudioInputMeter {
  public:
    static std::shared_ptr<WatchedMeter> on(const std::shared_ptr<BRAQAudioDevice>& device,
                                            const std::optional<std::vector<SInt32>>& channels,
                                            std::shared_ptr<std::promise<void>> gone = nullptr) {
        auto unit = makeUnit(device, channels);
        const auto meter = handOut(new WatchedMeter(unit, std::move(gone)));
        meter->unit = unit;
        return meter;
    }
    ~WatchedMeter() override {
        if (mGone != nullptr) {
            mGone->set_value();
        }
    }
    std::weak_ptr<BRAQInputAudioUnit> unit;

  private:
    WatchedMeter(std::shared_ptr<BRAQInputAudioUnit> of, std::shared_ptr<std::promise<void>> gone)
        : BRAQAudioInputMeter(std::move(of)), mGone(std::move(gone)) {}
    const std::shared_ptr<std::promise<void>> mGone;
};

class AudioInputMeterTest : public unit_test::UnitTest {
  protected:
    AudioInputMeterTest() : UnitTest({.record = {.streams = {{.channels = 4}}}, .sampleRate = 44100.0}) {}

    /// Captures frames of which `sample` makes those of each of the four channels.
    template <class Sample>
    void capture(UInt32 frames, Sample sample) {
        std::vector<std::vector<Float32>> samples(4, std::vector<Float32>(frames));
        std::vector<const Float32*> from;
        for (std::size_t channel = 0; channel < 4; ++channel) {
            for (UInt32 frame = 0; frame < frames; ++frame) {
                samples[channel][frame] = sample(channel, frame);
            }
            from.push_back(samples[channel].data());
        }
        EXPECT_TRUE(software->step(frames, from.data()));
    }

    /// A slice of one channel as the unit's processing block is given it.
    static void process(const WatchedMeter& meter, const std::vector<Float32>& samples, UInt32 bytes) {
        AudioBufferList list{1, {{1, bytes, const_cast<Float32*>(samples.data())}}};
        AudioUnitRenderActionFlags flags = 0;
        const AudioTimeStamp time{};
        meter.unit.lock()->inputProcessingBlock()(&flags, &time, 1, static_cast<UInt32>(samples.size()), &list);
    }
};

constexpr UInt32 eighth = 5513; // frames of an eighth of a second at 44.1 kHz

TEST_F(AudioInputMeterTest, MeasuresASquareASineAndSilence) {
    const auto meter = BRAQAudioInputMeter::initWithDevice(device, {{0, 2}});
    meter->start();
    capture(eighth, [](std::size_t channel, UInt32 frame) {
        const double phase = 2.0 * std::numbers::pi * frame / eighth * 10;
        return channel == 0 ? (frame % 2 == 0 ? 1.0F : -1.0F) : static_cast<Float32>(std::sin(phase));
    });
    const auto* levels = meter->levels();
    EXPECT_EQ(levels[0], 0.0);
    EXPECT_NEAR(levels[1], -3.0103, 0.001);
    capture(eighth, [](std::size_t, UInt32) { return 0.0F; });
    meter->levels();
    EXPECT_EQ(levels[0], -std::numeric_limits<double>::infinity());
    EXPECT_EQ(levels[1], -std::numeric_limits<double>::infinity());
    meter->invalidate();
}

TEST_F(AudioInputMeterTest, MeasuresTheLatestEighthOfASecond) {
    const auto meter = BRAQAudioInputMeter::initWithDevice(device, {{1}});
    meter->start();
    capture(eighth, [](std::size_t, UInt32) { return 1.0F; });
    capture(eighth / 2, [](std::size_t, UInt32) { return 0.0F; });
    EXPECT_NEAR(meter->levels()[0], 20.0 * std::log10(std::sqrt((eighth - eighth / 2) / double{eighth})), 0.0001);
    meter->invalidate();
}

TEST_F(AudioInputMeterTest, GoesRoundAfterExactlyAnEighthOfASecond) {
    const auto meter = WatchedMeter::on(device, {{0}});
    process(*meter, std::vector<Float32>(eighth, 1.0F), eighth * sizeof(Float32));
    EXPECT_EQ(meter->levels()[0], 0.0);
    process(*meter, {0.0F}, sizeof(Float32)); // the place of the very first sample
    EXPECT_NEAR(meter->levels()[0], 20.0 * std::log10(std::sqrt((eighth - 1) / double{eighth})), 0.0001);
    process(*meter, std::vector<Float32>(eighth, 1.0F), eighth * sizeof(Float32));
    EXPECT_EQ(meter->levels()[0], 0.0);
    meter->invalidate();
}

TEST_F(AudioInputMeterTest, ASliceOfLessThanASampleChangesNothing) {
    const auto meter = WatchedMeter::on(device, {{0}});
    process(*meter, std::vector<Float32>(eighth, 1.0F), eighth * sizeof(Float32));
    process(*meter, {0.0F}, 3);
    EXPECT_EQ(meter->levels()[0], 0.0);
    meter->invalidate();
}

TEST_F(AudioInputMeterTest, MeasuresTheChannelsThatAreAskedFor) {
    const auto meter = BRAQAudioInputMeter::initWithDevice(device, {{2, 3}});
    meter->start();
    capture(eighth, [](std::size_t channel, UInt32) { return channel == 2 ? 1.0F : channel == 3 ? 0.1F : 0.5F; });
    EXPECT_EQ(meter->levels()[0], 0.0);
    EXPECT_NEAR(meter->levels()[1], -20.0, 0.0001);
    meter->invalidate();
}

TEST_F(AudioInputMeterTest, MeasuresTheDefaultDeviceWithoutOne) {
    software->makeDefaultRecordDevice();
    const auto meter = BRAQAudioInputMeter::initWithDevice(nullptr, {{1}});
    meter->start();
    capture(eighth, [](std::size_t channel, UInt32) { return channel == 1 ? 1.0F : 0.0F; });
    EXPECT_EQ(meter->levels()[0], 0.0);
    meter->invalidate();
}

TEST_F(AudioInputMeterTest, RefusesMoreThanTwoChannels) {
    for (const auto& channels : {std::optional<std::vector<SInt32>>{{0, 1, 2}}, std::optional<std::vector<SInt32>>{}}) {
        try {
            BRAQAudioInputMeter::initWithDevice(device, channels);
            ADD_FAILURE() << "nothing was raised";
        } catch (const NSException& raised) {
            EXPECT_EQ(raised.name(), NSInternalInconsistencyException);
        }
    }
}

TEST_F(AudioInputMeterTest, BeginsWithLevelsOfZero) {
    const auto meter = WatchedMeter::on(device, {{0}});
    EXPECT_EQ(meter->levels()[1], 0.0) << "of a channel that is not measured";
    meter->invalidate();
}

TEST_F(AudioInputMeterTest, KeepsItsLevelsWithoutItsRings) {
    const auto meter = WatchedMeter::on(device, {{0}});
    process(*meter, std::vector<Float32>(eighth, 1.0F), eighth * sizeof(Float32));
    meter->levels();
    meter->destroyBuffers();
    meter->destroyBuffers();
    process(*meter, std::vector<Float32>(eighth, 0.1F), eighth * sizeof(Float32));
    EXPECT_EQ(meter->levels()[0], 0.0);
    meter->createBuffers();
    process(*meter, std::vector<Float32>(eighth, 0.1F), eighth * sizeof(Float32));
    EXPECT_NEAR(meter->levels()[0], -20.0, 0.0001);
    meter->invalidate();
}

TEST_F(AudioInputMeterTest, KeepsItselfAliveUntilItIsInvalidated) {
    const auto gone = std::make_shared<std::promise<void>>();
    auto isGone = gone->get_future();
    auto meter = WatchedMeter::on(device, {{0}}, gone);
    const auto unit = meter->unit;
    const std::weak_ptr<WatchedMeter> watched = meter;
    meter->start();
    meter.reset();
    EXPECT_FALSE(watched.expired());
    capture(64, [](std::size_t, UInt32) { return 0.0F; });
    meter = watched.lock();
    meter->invalidate();
    meter->invalidate();
    EXPECT_FALSE(software->step(16)) << "nothing runs on the device any more";
    meter->start();
    meter->stop();
    EXPECT_FALSE(software->step(16)) << "it is not started again";
    EXPECT_FALSE(watched.expired()) << "it has a user";
    meter.reset();
    isGone.wait();
    settle(); // who is told about the unit holds it meanwhile
    EXPECT_TRUE(unit.expired());
}

TEST_F(AudioInputMeterTest, MayBeInvalidatedWhileItIsNotifiedThatItRuns) {
    const auto gone = std::make_shared<std::promise<void>>();
    auto isGone = gone->get_future();
    auto meter = WatchedMeter::on(device, {{0}}, gone);
    const auto unit = meter->unit.lock();
    const auto token = NSNotificationCenter::defaultCenter().addObserver("AudioUnitDidStartNotification", unit,
                                                                         [&](const NSNotification&) {
                                                                             meter->invalidate();
                                                                             meter.reset();
                                                                         });
    meter->start();
    settle();
    isGone.wait();
    EXPECT_FALSE(software->step(16));
}

TEST_F(AudioInputMeterTest, TellsLevelsWhileItCaptures) {
    const auto meter = BRAQAudioInputMeter::initWithDevice(device, {{0, 1}});
    meter->start();
    capture(eighth, [](std::size_t, UInt32) { return 1.0F; });
    std::atomic<bool> isDone{false};
    const auto watch = [&] {
        while (!isDone) {
            const auto* levels = meter->levels();
            EXPECT_EQ(levels[0], 0.0);
            EXPECT_EQ(levels[1], 0.0);
        }
    };
    std::thread one(watch);
    std::thread other(watch);
    for (int i = 0; i < 100; ++i) {
        capture(480, [](std::size_t, UInt32) { return 1.0F; });
    }
    isDone = true;
    one.join();
    other.join();
    meter->invalidate();
}

} // namespace
