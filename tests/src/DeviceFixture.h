#pragma once

#include "BRAQAudio/BRAQAudioDevice.h"
#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "BRAQAudio/platform/BRAQSoftwareDevice.h"
#include "platform/hardware/Hardware.h"
#include "tests/platform/foundation/MainQueueFixture.h"

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <optional>
#include <string>
#include <utility>

// As operations of a device take them.
constexpr SInt64 playbackDirection = 0;
constexpr SInt64 recordDirection = 1;

/// Each test begins, and ends, with nothing on its way to the main queue.
class DeviceTest : public MainQueueTest {
  protected:
    void SetUp() override {
        settle();
        MainQueueTest::SetUp();
    }
    void TearDown() override {
        settle();
        MainQueueTest::TearDown();
    }

    /// A stepped device.
    static std::shared_ptr<BRAQSoftwareDevice> makeDeviceWith(BRAQSoftwareDeviceOptions options) {
        options.clock = BRAQSoftwareClock::stepped;
        return BRAQSoftwareDevice::deviceWithOptions(options);
    }
    static std::shared_ptr<BRAQSoftwareDevice> makeDevice(const std::string& uid) {
        return makeDeviceWith({.uid = uid});
    }

    static BRAQSoftwareDirection streams(std::vector<BRAQSoftwareStream> streams) {
        return {.streams = std::move(streams)};
    }

    /// Runs what reaches the main queue because of what was notified before. A change that was asked for is notified later.
    void settle() {
        std::promise<void> isDelivered;
        braq::Hardware::instance().notifications().run([&] { isDelivered.set_value(); });
        isDelivered.get_future().wait();
        queue.drain();
    }

    /// Runs what reaches the main queue until `isDone`.
    void drainUntil(const std::function<bool()>& isDone) {
        while (!isDone()) {
            pollfd watched = {queue.fileDescriptor(), POLLIN, 0};
            ASSERT_EQ(::poll(&watched, 1, 60000), 1) << "it never came";
            queue.drain();
        }
    }
};

/// Expects that `operation` raises the error of a failed status check.
/// @param line the one that is reported; nothing: any
inline void expectRaised(const std::function<void()>& operation, OSStatus status, const std::string& file,
                         const std::string& method, const std::string& origin,
                         std::optional<std::int64_t> line = std::nullopt) {
    try {
        operation();
        ADD_FAILURE() << method << " did not raise";
    } catch (const NSException& raised) {
        EXPECT_EQ(raised.name(), NSXErrorExceptionName);
        const auto error = std::get<std::shared_ptr<NSError>>(raised.userInfo().at("error"));
        EXPECT_EQ(raised.reason(), error->description());
        EXPECT_EQ(error->domain(), NSMachErrorDomain);
        EXPECT_EQ(error->code(), status);
        EXPECT_EQ(std::get<std::string>(error->userInfo().at("reportingFile")), file);
        EXPECT_EQ(std::get<std::string>(error->userInfo().at("reportingMethod")), method);
        EXPECT_EQ(std::get<std::string>(error->userInfo().at("origin")), origin);
        const auto reported = std::get<std::int64_t>(error->userInfo().at("reportingLine"));
        EXPECT_GT(reported, 0);
        EXPECT_EQ(reported, line.value_or(reported)) << method;
    }
}
