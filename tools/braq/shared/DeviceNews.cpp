#include "tools/braq/shared/DeviceNews.h"

#include "tools/braq/shared/Text.h"
#include "tools/braq/shared/TimeText.h"

#include <utility>

std::vector<std::string> DeviceNews::take() { return std::exchange(mLines, {}); }

void DeviceNews::tellOf(const BRAQAudioDevice& device) {
    mLines.push_back("now on " + printable(device.deviceName().value_or("another device")));
}

void DeviceNews::tellOfNone() { mLines.emplace_back("the device is gone; waiting for another one"); }

void DeviceNews::audioUnitDeviceDidChange(const std::shared_ptr<BRAQAudioUnit>& /*unit*/,
                                          const std::shared_ptr<BRAQAudioDevice>& device) {
    tellOf(*device);
}

void DeviceNews::audioUnitDeviceIsGone(const std::shared_ptr<BRAQAudioUnit>& /*unit*/) { tellOfNone(); }

void DeviceNews::audioUnitDeviceIsBack(const std::shared_ptr<BRAQAudioUnit>& /*unit*/,
                                       const std::shared_ptr<BRAQAudioDevice>& device) {
    tellOf(*device);
}

void DeviceNews::audioFileRecorderDeviceDidChange(const std::shared_ptr<BRAQExtendedAudioFileRecorder>& /*recorder*/,
                                                  const std::shared_ptr<BRAQAudioDevice>& device) {
    tellOf(*device);
}

void DeviceNews::audioFileRecorderDeviceIsGone(const std::shared_ptr<BRAQExtendedAudioFileRecorder>& /*recorder*/) {
    tellOfNone();
}

void DeviceNews::audioFileRecorderDeviceIsBack(const std::shared_ptr<BRAQExtendedAudioFileRecorder>& /*recorder*/,
                                               const std::shared_ptr<BRAQAudioDevice>& device) {
    tellOf(*device);
}

void DeviceNews::audioFileRecorderDidLoseFrames(const std::shared_ptr<BRAQExtendedAudioFileRecorder>& recorder,
                                                const BRAQLostStretch& stretch) {
    const double rate = recorder->inputAudioUnit()->streamDescription()->sampleRate();
    mLines.push_back("dropout of " + secondsText(static_cast<double>(stretch.frames) / rate) + " at " +
                     timeText(static_cast<double>(stretch.frame) / rate) + ", filled with silence");
}
