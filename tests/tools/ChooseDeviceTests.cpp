#include "tools/braq/shared/ChooseDevice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

namespace {

using testing::HasSubstr;

DeviceFacts device(const std::string& uid, const std::string& name, UInt32 channels, bool isDefault = false) {
    DeviceFacts facts;
    facts.uid = uid;
    facts.name = name;
    facts.recording.channels = channels;
    facts.recording.isDefault = isDefault;
    return facts;
}

std::string complaint(const std::vector<DeviceFacts>& devices, const std::string& meant) {
    try {
        chooseRecordDevice(devices, meant);
    } catch (const std::runtime_error& raised) {
        return raised.what();
    }
    return "none";
}

const std::vector<DeviceFacts> devices{device("out", "Speakers", 0), device("in.1", "USB Microphone", 1),
                                       device("in.2", "USB Microphone Pro", 2, true), device("in.3", "Line", 2)};

TEST(ChooseDevice, TakesTheDefaultOne) { EXPECT_EQ(chooseRecordDevice(devices, "").uid, "in.2"); }

TEST(ChooseDevice, FindsAUIDAndANameOrAPartOfIt) {
    EXPECT_EQ(chooseRecordDevice(devices, "in.1").uid, "in.1");
    EXPECT_EQ(chooseRecordDevice(devices, "line").uid, "in.3");
    EXPECT_EQ(chooseRecordDevice(devices, "pro").uid, "in.2");
    EXPECT_EQ(chooseRecordDevice(devices, "USB Microphone").uid, "in.1") << "its whole name";
}

TEST(ChooseDevice, TakesTheLoopbackOfAMachineWithoutASoundServerOnlyWhenItIsNamed) {
    const std::vector<DeviceFacts> without{device("BRAQAudio.loopback", "Loopback (no sound server)", 2, true)};
    EXPECT_EQ(complaint(without, ""),
              "there is no sound server; to record from the loopback device BRAQAudio.loopback all the same, name it");
    EXPECT_EQ(chooseRecordDevice(without, "BRAQAudio.loopback").uid, "BRAQAudio.loopback");
    EXPECT_EQ(chooseRecordDevice(without, "loopback").uid, "BRAQAudio.loopback");
}

TEST(ChooseDevice, SaysWhatThereIsInstead) {
    EXPECT_THAT(complaint(devices, "usb"), HasSubstr("several"));
    EXPECT_THAT(complaint(devices, "Speakers"), HasSubstr("no device to record from is called"));
    EXPECT_THAT(complaint(devices, "none"), HasSubstr("Line (in.3)"));
    EXPECT_THAT(complaint({device("out", "Speakers", 0)}, ""), HasSubstr("there is no device to record from"));
    EXPECT_THAT(complaint({device("in", "Line", 1)}, ""), HasSubstr("no default device"));
}

} // namespace
