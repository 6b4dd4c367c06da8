#pragma once

#include "BRAQAudio/BRAQAudioStreamBasicDescription.h"
#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "BRAQAudio/platform/files.h"
#include "tests/src/DeviceFixture.h"
#include "tests/support/NumberedFiles.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

/// Each test has a folder of its own.
class FileTest : public DeviceTest {
  protected:
    std::filesystem::path path(const std::string& name) const { return folder.path() / name; }
    std::shared_ptr<NSURL> url(const std::string& name) const { return NSURL::fileURLWithPath(path(name)); }

    /// Makes a device what is recorded from by default.
    std::shared_ptr<BRAQSoftwareDevice> makeRecorder(Float64 rate) const {
        auto device = makeDeviceWith({.uid = "recorder", .sampleRate = rate, .sampleRates = {rate}});
        device->makeDefaultRecordDevice();
        return device;
    }

    /// A numbered file of that many frames.
    std::string numbered(UInt64 frames, UInt32 channels = 2, UInt32 rate = 48000) const {
        braq::tests::writeNumberedFile(path("numbered.wav"), frames, channels, rate);
        return path("numbered.wav");
    }

    braq::tests::TemporaryFolder folder;
};

/// Expects the error of a failed status check in a file class.
inline void expectFileError(const std::shared_ptr<NSError>& error, OSStatus status, const std::string& file,
                            const std::string& method, const std::string& origin) {
    ASSERT_NE(error, nullptr) << method;
    EXPECT_EQ(error->domain(), NSOSStatusErrorDomain);
    EXPECT_EQ(error->code(), status);
    EXPECT_EQ(std::get<std::string>(error->userInfo().at("reportingFile")), file);
    EXPECT_EQ(std::get<std::string>(error->userInfo().at("reportingMethod")), method);
    EXPECT_EQ(std::get<std::string>(error->userInfo().at("origin")), origin);
    EXPECT_GT(std::get<std::int64_t>(error->userInfo().at("reportingLine")), 0);
}

/// Expects that `operation` raises it.
inline void expectFileRaised(const std::function<void()>& operation, OSStatus status, const std::string& file,
                             const std::string& method, const std::string& origin) {
    try {
        operation();
        ADD_FAILURE() << method << " did not raise for " << origin;
    } catch (const NSException& raised) {
        EXPECT_EQ(raised.name(), NSXErrorExceptionName);
        const auto error = std::get<std::shared_ptr<NSError>>(raised.userInfo().at("error"));
        EXPECT_EQ(raised.reason(), error->description());
        expectFileError(error, status, file, method, origin);
    }
}

inline std::shared_ptr<BRAQAudioStreamBasicDescription> description(UInt32 formatID, UInt32 channels, Float64 rate,
                                                                    UInt32 bits = 0) {
    auto made = BRAQAudioStreamBasicDescription::streamDescription();
    made->setFormatID(formatID);
    made->setChannelsPerFrame(channels);
    made->setSampleRate(rate);
    made->setBitsPerChannel(bits);
    return made;
}

inline std::shared_ptr<BRAQAudioStreamBasicDescription> pcm16(UInt32 channels = 2, Float64 rate = 44100) {
    auto made = BRAQAudioStreamBasicDescription::pcm16StreamDescription();
    made->setChannelsPerFrame(channels);
    made->setBytesPerFrame(2 * channels);
    made->setBytesPerPacket(2 * channels);
    made->setSampleRate(rate);
    return made;
}

/// 32-bit float, as `writeNumberedFile` writes it.
inline std::shared_ptr<BRAQAudioStreamBasicDescription> float32(UInt32 channels = 2, Float64 rate = 48000) {
    auto made = BRAQAudioStreamBasicDescription::nativeStreamDescription();
    made->setChannelsPerFrame(channels);
    made->setNativeFormat();
    made->setSampleRate(rate);
    return made;
}
