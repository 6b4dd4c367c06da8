#include "BRAQAudio/BRAQAudioHardware.h"

#include "tests/src/DeviceFixture.h"
#include "tests/src/HardwareHook.h"

#include <gmock/gmock.h>

namespace {

using braq::tests::HardwareCall;
using braq::tests::HardwareHook;
using testing::ElementsAre;
using testing::IsEmpty;

class Hardware : public DeviceTest {
  protected:
    static std::vector<std::string> uidsOf(const std::vector<std::shared_ptr<BRAQAudioDevice>>& devices) {
        std::vector<std::string> uids;
        for (const auto& device : devices) {
            uids.push_back(device->deviceUID().value_or("?"));
        }
        return uids;
    }
};

TEST_F(Hardware, WithoutDevicesEveryListIsEmpty) {
    EXPECT_THAT(BRAQAudioHardware::allDeviceIDs(), IsEmpty());
    EXPECT_THAT(BRAQAudioHardware::allDevices(), IsEmpty());
    EXPECT_THAT(BRAQAudioHardware::playbackDevices(), IsEmpty());
    EXPECT_THAT(BRAQAudioHardware::recordingDevices(), IsEmpty());
    EXPECT_THAT(BRAQAudioHardware::stereoRecordingDevices(), IsEmpty());
}

TEST_F(Hardware, ListsEveryDeviceInThePlatformsOrder) {
    const auto second = makeDevice("b");
    const auto first = makeDevice("a");
    EXPECT_THAT(BRAQAudioHardware::allDeviceIDs(), ElementsAre(second->deviceID(), first->deviceID()));
    EXPECT_THAT(uidsOf(BRAQAudioHardware::allDevices()), ElementsAre("b", "a"));
}

TEST_F(Hardware, FiltersByWhatADeviceCanDoAndKeepsTheOrder) {
    const auto both = makeDevice("both");
    const auto speaker = makeDeviceWith({.uid = "speaker", .record = {}});
    const auto mono = makeDeviceWith({.uid = "mono", .playback = {}, .record = streams({{.channels = 1}})});
    const auto stereo =
        makeDeviceWith({.uid = "stereo", .playback = {}, .record = streams({{.channels = 1}, {.channels = 1}})});
    const auto nothing = makeDeviceWith({.uid = "nothing", .playback = {}, .record = {}});
    EXPECT_THAT(uidsOf(BRAQAudioHardware::playbackDevices()), ElementsAre("both", "speaker"));
    EXPECT_THAT(uidsOf(BRAQAudioHardware::recordingDevices()), ElementsAre("both", "mono", "stereo"));
    EXPECT_THAT(uidsOf(BRAQAudioHardware::stereoRecordingDevices()), ElementsAre("both", "stereo"));
    EXPECT_EQ(BRAQAudioHardware::allDevices().size(), 5U);
}

TEST_F(Hardware, LeavesOutADeviceThatGoesWhileTheListIsRead) {
    const auto stays = makeDevice("stays");
    const auto goes = makeDevice("goes");
    const HardwareHook atTheWrongTime(HardwareCall::getData, kAudioObjectSystemObject, kAudioHardwarePropertyDevices,
                                      [&](AudioObjectID&) {
                                          goes->remove();
                                          return kAudioHardwareNoError;
                                      });
    EXPECT_THAT(BRAQAudioHardware::allDeviceIDs(), ElementsAre(stays->deviceID()));
}

TEST_F(Hardware, FindsADeviceByItsUID) {
    const auto one = makeDevice("one");
    const auto other = makeDevice("ein Gerät 🔊");
    EXPECT_EQ(BRAQAudioHardware::deviceIDForDeviceUID("one"), one->deviceID());
    EXPECT_EQ(BRAQAudioHardware::deviceIDForDeviceUID("ein Gerät 🔊"), other->deviceID());
    one->remove();
    EXPECT_EQ(BRAQAudioHardware::deviceIDForDeviceUID("one"), 0U);
}

TEST_F(Hardware, AUIDThatNoDeviceHasHasTheIDOfNone) {
    const auto one = makeDevice("one");
    for (const std::string& uid : {std::string(), std::string("On"), std::string("ONE"), std::string("one "),
                                   std::string("one\0", 4), std::string("\0one", 4), std::string("\xFF\xFE")}) {
        EXPECT_EQ(BRAQAudioHardware::deviceIDForDeviceUID(uid), 0U) << uid;
    }
}

TEST_F(Hardware, DefaultsAreTheDevicesThatWereMadeSo) {
    EXPECT_EQ(BRAQAudioHardware::defaultInputDeviceID(), 0U);
    EXPECT_EQ(BRAQAudioHardware::defaultOutputDeviceID(), 0U);
    ASSERT_NE(BRAQAudioHardware::defaultInputDevice(), nullptr);
    EXPECT_EQ(BRAQAudioHardware::defaultInputDevice()->deviceID(), 0U);
    EXPECT_EQ(BRAQAudioHardware::defaultOutputDevice()->deviceID(), 0U);
    const auto input = makeDevice("input");
    const auto output = makeDevice("output");
    input->makeDefaultRecordDevice();
    output->makeDefaultPlaybackDevice();
    EXPECT_EQ(BRAQAudioHardware::defaultInputDeviceID(), input->deviceID());
    EXPECT_EQ(BRAQAudioHardware::defaultOutputDeviceID(), output->deviceID());
    EXPECT_EQ(BRAQAudioHardware::defaultInputDevice()->deviceUID(), "input");
    EXPECT_EQ(BRAQAudioHardware::defaultOutputDevice()->deviceUID(), "output");
}

// What raises, the call that fails, and what the error says of it.
TEST_F(Hardware, LookupsRaiseWhatThePlatformReports) {
    const struct {
        HardwareCall call;
        UInt32 selector;
        std::function<void()> operation;
        const char* method;
        const char* origin;
        std::int64_t line;
    } rows[] = {
        {HardwareCall::getData, kAudioHardwarePropertyDeviceForUID,
         [] { BRAQAudioHardware::deviceIDForDeviceUID("one"); }, "+[BRAQAudioHardware deviceIDForDeviceUID:]",
         "AudioObjectGetPropertyData( kAudioObjectSystemObject, &aopa, 0, ((void*)0), &size, &avt )", 58},
        {HardwareCall::getData, kAudioHardwarePropertyDeviceForUID, [] { BRAQAudioDevice::initWithDeviceUID("one"); },
         "+[BRAQAudioHardware deviceIDForDeviceUID:]",
         "AudioObjectGetPropertyData( kAudioObjectSystemObject, &aopa, 0, ((void*)0), &size, &avt )", 58},
        {HardwareCall::getData, kAudioHardwarePropertyDefaultInputDevice,
         [] { BRAQAudioHardware::defaultInputDeviceID(); }, "+[BRAQAudioHardware defaultInputDeviceID]",
         "AudioObjectGetPropertyData( kAudioObjectSystemObject, &aopa, 0, ((void*)0), &size, &deviceID )", 74},
        {HardwareCall::getData, kAudioHardwarePropertyDefaultOutputDevice,
         [] { BRAQAudioHardware::defaultOutputDeviceID(); }, "+[BRAQAudioHardware defaultOutputDeviceID]",
         "AudioObjectGetPropertyData( kAudioObjectSystemObject, &aopa, 0, ((void*)0), &size, &deviceID )", 93},
        {HardwareCall::getData, kAudioHardwarePropertyDefaultOutputDevice,
         [] { BRAQAudioHardware::defaultOutputDevice(); }, "+[BRAQAudioHardware defaultOutputDeviceID]",
         "AudioObjectGetPropertyData( kAudioObjectSystemObject, &aopa, 0, ((void*)0), &size, &deviceID )", 93},
        {HardwareCall::getSize, kAudioHardwarePropertyDevices, [] { BRAQAudioHardware::allDeviceIDs(); },
         "+[BRAQAudioHardware allDeviceIDs]",
         "AudioObjectGetPropertyDataSize( kAudioObjectSystemObject, &aopa, 0, ((void*)0), &size )", 112},
        {HardwareCall::getData, kAudioHardwarePropertyDevices, [] { BRAQAudioHardware::playbackDevices(); },
         "+[BRAQAudioHardware allDeviceIDs]",
         "AudioObjectGetPropertyData( kAudioObjectSystemObject, &aopa, 0, ((void*)0), &size, deviceIDArray )", 115},
        {HardwareCall::addListener, kAudioHardwarePropertyDevices, [] { BRAQAudioHardware::init(); },
         "-[BRAQAudioHardware init]",
         "AudioObjectAddPropertyListener( kAudioObjectSystemObject, &aopa, AudioHardwarePropertyListener, (__bridge "
         "void *)self )",
         168},
    };
    for (const auto& row : rows) {
        const HardwareHook fails(row.call, kAudioObjectSystemObject, row.selector, kAudioHardwareUnspecifiedError);
        expectRaised(row.operation, kAudioHardwareUnspecifiedError, "src/BRAQAudioHardware", row.method, row.origin,
                     row.line);
    }
}

} // namespace
