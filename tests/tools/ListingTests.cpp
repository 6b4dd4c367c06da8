#include "tests/src/DeviceFixture.h"
#include "tests/support/SoftwareDriversOnly.h"
#include "tools/braq/devices/Listing.h"

#include <gmock/gmock.h>

namespace {

const braq::tests::SoftwareDriversOnly softwareDriversOnly;

using testing::HasSubstr;

class Tool_Listing : public DeviceTest {};

TEST_F(Tool_Listing, SaysThatThereAreNoDevices) {
    EXPECT_EQ(devicesAsTable(lookAtDevices()), "There are no audio devices.\n");
    EXPECT_EQ(devicesAsJSON(lookAtDevices()), "{\n  \"devices\": []\n}\n");
}

TEST_F(Tool_Listing, ShowsWhatTheDevicesSay) {
    const auto both =
        makeDeviceWith({.uid = "both",
                        .name = "Karte",
                        .transportType = kAudioDeviceTransportTypePCI,
                        .playback = {.streams = {{.channels = 6}}, .latencyFrames = 36, .safetyOffsetFrames = 12},
                        .record = {.streams = {{.channels = 2}}, .latencyFrames = 96},
                        .bufferFrames = 256});
    const auto microphone = makeDeviceWith({.uid = "mic",
                                            .name = "マイク",
                                            .transportType = kAudioDeviceTransportTypeUSB,
                                            .playback = {},
                                            .record = streams({{.channels = 1}}),
                                            .sampleRate = 44100.0});
    both->makeDefaultPlaybackDevice();
    microphone->makeDefaultRecordDevice();
    EXPECT_EQ(devicesAsTable(lookAtDevices()),
              "DEFAULT  KIND         OUT  IN      RATE  BUFFER  LATENCY                CONNECTION  NAME    UID\n"
              "play     play+record    6   2  48000 Hz     256  out 6.3 ms, in 7.3 ms  PCI         Karte   both\n"
              "record   record         0   1  44100 Hz     512  in 11.6 ms             USB         マイク  mic\n");
    EXPECT_EQ(devicesAsTable(lookAtDevices(), 99), devicesAsTable(lookAtDevices()));
    EXPECT_EQ(devicesAsTable(lookAtDevices(), 80), R"(Karte  (default: play)
  both
  6 out, 2 in, 48000 Hz, PCI
  256 frames a cycle, latency out 6.3 ms, in 7.3 ms
マイク  (default: record)
  mic
  1 in, 44100 Hz, USB
  512 frames a cycle, latency in 11.6 ms
)");
    EXPECT_EQ(devicesAsJSON(lookAtDevices()), R"({
  "devices": [
    {
      "uid": "both",
      "name": "Karte",
      "connection": "PCI",
      "rate": 48000,
      "bufferFrames": 256,
      "playback": {"channels": 6, "latencyFrames": 36, "safetyOffsetFrames": 12, "isDefault": true},
      "recording": {"channels": 2, "latencyFrames": 96, "safetyOffsetFrames": 0, "isDefault": false}
    },
    {
      "uid": "mic",
      "name": "マイク",
      "connection": "USB",
      "rate": 44100,
      "bufferFrames": 512,
      "playback": null,
      "recording": {"channels": 1, "latencyFrames": 0, "safetyOffsetFrames": 0, "isDefault": true}
    }
  ]
}
)");
}

TEST_F(Tool_Listing, OneDeviceCanBeTheDefaultForBothOrDoNeither) {
    const auto both = makeDevice("both");
    both->makeDefaultPlaybackDevice();
    both->makeDefaultRecordDevice();
    const auto neither = makeDeviceWith({.uid = "neither", .playback = {}, .record = {}});
    const std::string table = devicesAsTable(lookAtDevices());
    EXPECT_THAT(table, HasSubstr("\nplay+record  play+record    2   2  "));
    EXPECT_THAT(table, HasSubstr("\n                            0   0  "));
}

TEST_F(Tool_Listing, EscapesWhatADeviceMayCallItself) {
    DeviceFacts device;
    device.uid = "a\"b\\c";
    device.name = std::string("tab\t nul\0 escape\x1B[31m ü \x7F", 22);
    const std::string json = devicesAsJSON({device});
    EXPECT_THAT(json, HasSubstr(R"("uid": "a\"b\\c")"));
    EXPECT_THAT(json, HasSubstr(R"("name": "tab\u0009 nul\u0000 escape\u001b[31)"));
    EXPECT_THAT(devicesAsTable({device}), testing::Not(testing::AnyOf(HasSubstr("\x1B"), HasSubstr("\t"))));
}

TEST_F(Tool_Listing, SaysHowADeviceIsConnected) {
    EXPECT_EQ(connectionName(kAudioDeviceTransportTypeBuiltIn), "built-in");
    EXPECT_EQ(connectionName(kAudioDeviceTransportTypeBluetooth), "Bluetooth");
    EXPECT_EQ(connectionName(kAudioDeviceTransportTypeHDMI), "HDMI");
    EXPECT_EQ(connectionName(kAudioDeviceTransportTypeDisplayPort), "DisplayPort");
    EXPECT_EQ(connectionName(kAudioDeviceTransportTypeAggregate), "aggregate");
    EXPECT_EQ(connectionName(kAudioDeviceTransportTypeUnknown), "unknown");
    EXPECT_EQ(connectionName(BRAQFourCharCode("odd!")), "unknown");
}

TEST_F(Tool_Listing, WritesRatesWithoutALocale) {
    EXPECT_EQ(rateText(44100.0), "44100");
    EXPECT_EQ(rateText(22050.5), "22050.5");
    EXPECT_EQ(rateText(0.0), "0");
}

} // namespace
