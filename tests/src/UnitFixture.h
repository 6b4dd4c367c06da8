#pragma once

#include "BRAQAudio/BRAQAudioDevice.h"
#include "BRAQAudio/platform/BRAQSoftwareDevice.h"
#include "BRAQAudio/platform/foundation.h"
#include "platform/hardware/Hardware.h"
#include "tests/src/Resources.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

// What tests of units have in common.
namespace unit_test {

/// Returns when everything that was to be notified has been.
inline void settle() {
    std::promise<void> isDelivered;
    braq::Hardware::instance().notifications().run([&] { isDelivered.set_value(); });
    isDelivered.get_future().wait();
}

/// A stepped device of its own for each test.
class UnitTest : public testing::Test {
  protected:
    explicit UnitTest(BRAQSoftwareDeviceOptions options = {}) {
        static int number = 0;
        options.uid = "unit test " + std::to_string(++number);
        options.clock = BRAQSoftwareClock::stepped;
        software = BRAQSoftwareDevice::deviceWithOptions(options);
        device = BRAQAudioDevice::initWithDeviceID(software->deviceID());
        inputs.resize(2);
        outputs.resize(2);
    }
    ~UnitTest() override { settle(); }

    /// A cycle. @return what was played, channel by channel
    const std::vector<std::vector<Float32>>& step(UInt32 frames) {
        const Float32* from[2];
        Float32* to[2];
        for (std::size_t channel = 0; channel < 2; ++channel) {
            inputs[channel].resize(frames);
            outputs[channel].assign(frames, 99.0F);
            from[channel] = inputs[channel].data();
            to[channel] = outputs[channel].data();
        }
        EXPECT_TRUE(software->step(frames, from, to));
        return outputs;
    }

    /// Makes cycles until `isTold` is true: an end is signalled in every one, because the thread that tells it may not have
    /// been waiting for the first.
    template <class Condition>
    void stepUntil(Condition isTold) {
        EXPECT_TRUE(resource_test::comesTrue([&] {
            software->step(16);
            return isTold();
        })) << "it never came";
    }

    std::shared_ptr<BRAQSoftwareDevice> software;
    std::shared_ptr<BRAQAudioDevice> device;
    std::vector<std::vector<Float32>> inputs; ///< what the next cycle captures
    std::vector<std::vector<Float32>> outputs;
};

/// Names of the notifications that are posted about units while it lives.
class PostedNotifications {
  public:
    explicit PostedNotifications(const std::shared_ptr<const void>& object)
        : mTokens{NSNotificationCenter::defaultCenter().addObserver("AudioUnitDidStartNotification", object, keep()),
                  NSNotificationCenter::defaultCenter().addObserver("AudioUnitDidStopNotification", object, keep())} {}

    std::vector<std::string> take() {
        const std::lock_guard lock(mMutex);
        return std::exchange(mNames, {});
    }

  private:
    std::function<void(const NSNotification&)> keep() {
        return [this](const NSNotification& notification) {
            const std::lock_guard lock(mMutex);
            mNames.push_back(notification.name());
        };
    }

    std::mutex mMutex;
    std::vector<std::string> mNames; // under the mutex
    NSObserverToken mTokens[2];
};

} // namespace unit_test
