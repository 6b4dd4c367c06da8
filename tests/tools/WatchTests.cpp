#include "tests/src/DeviceFixture.h"
#include "tools/braq/devices/Watch.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Tool_Watch : public DeviceTest {
  protected:
    std::unique_ptr<Watch> makeWatch() {
        return std::make_unique<Watch>([this](const std::string& line) { told.push_back(line); });
    }
    std::vector<std::string> takeTold() { return std::exchange(told, {}); }

    std::vector<std::string> told;
};

TEST_F(Tool_Watch, BeginsWithWhatIsThereAndTellsNothing) {
    const auto device = makeDevice("here");
    settle();
    const auto watch = makeWatch();
    ASSERT_EQ(watch->devices().size(), 1U);
    EXPECT_EQ(watch->devices()[0].uid, "here");
    watch->look();
    settle();
    EXPECT_THAT(told, IsEmpty());
}

TEST_F(Tool_Watch, TellsOfDevicesThatComeAndGo) {
    const auto watch = makeWatch();
    const auto device = makeDeviceWith({.uid = "new", .name = "Neues Gerät"});
    settle();
    EXPECT_THAT(takeTold(), ElementsAre("appeared: Neues Gerät (new)\n"));
    device->remove();
    settle();
    EXPECT_THAT(takeTold(), ElementsAre("vanished: Neues Gerät (new)\n"));
}

TEST_F(Tool_Watch, ADeviceThatIsPluggedInAgainIsANewOne) {
    auto device = makeDevice("again");
    settle();
    const auto watch = makeWatch();
    device->remove();
    device = makeDevice("again");
    settle();
    EXPECT_THAT(takeTold(), ElementsAre("vanished: Software device (again)\n", "appeared: Software device (again)\n"));
    device->changeSampleRate(96000.0);
    settle();
    EXPECT_THAT(takeTold(), ElementsAre("rate: Software device (again): 96000\n")) << "it is listened to";
}

TEST_F(Tool_Watch, TellsOfRatesOfDevicesOldAndNew) {
    const auto old = makeDevice("old");
    settle();
    const auto watch = makeWatch();
    const auto added = makeDevice("added");
    settle();
    takeTold();
    old->changeSampleRate(44100.0);
    settle();
    EXPECT_THAT(takeTold(), ElementsAre("rate: Software device (old): 44100\n"));
    added->changeSampleRate(96000.0);
    settle();
    EXPECT_THAT(takeTold(), ElementsAre("rate: Software device (added): 96000\n"));
}

TEST_F(Tool_Watch, TellsOfNewDefaultsAtTheNextLook) {
    auto one = makeDevice("one");
    const auto other = makeDevice("other");
    one->makeDefaultPlaybackDevice();
    settle();
    const auto watch = makeWatch();
    other->makeDefaultPlaybackDevice();
    other->makeDefaultRecordDevice();
    settle();
    watch->look();
    EXPECT_THAT(takeTold(), ElementsAre("default for playback: Software device (other)\n",
                                        "default for recording: Software device (other)\n"));
    watch->look();
    EXPECT_THAT(takeTold(), IsEmpty());
    other->remove();
    settle();
    watch->look();
    const auto lines = takeTold();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front(), "vanished: Software device (other)\n");
    EXPECT_THAT(lines, testing::Contains("default for recording: none\n"));
}

TEST_F(Tool_Watch, ShowsNamesAsTheyCanBePrinted) {
    const auto watch = makeWatch();
    const auto device = makeDeviceWith({.uid = "u\x1B", .name = "n\nm"});
    settle();
    EXPECT_THAT(takeTold(), ElementsAre("appeared: n\uFFFDm (u\uFFFD)\n"));
}

TEST_F(Tool_Watch, HearsNothingWhenItIsGone) {
    const auto device = makeDevice("here");
    settle();
    auto watch = makeWatch();
    device->changeSampleRate(44100.0);
    const auto another = makeDevice("another");
    watch.reset();
    settle();
    EXPECT_THAT(told, IsEmpty());
    EXPECT_THAT(BRAQAudioHardware::sharedInstance()->delegates(), IsEmpty());
}

} // namespace
