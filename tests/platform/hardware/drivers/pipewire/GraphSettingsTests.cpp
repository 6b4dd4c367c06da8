#include "platform/hardware/drivers/pipewire/GraphSettings.h"

#include <gmock/gmock.h>

using namespace braq::pipewire;
using testing::ElementsAre;

TEST(PipeWire_GraphSettings, TakesTheEntriesOfTheServersTable) {
    GraphSettings settings;
    settings.set("clock.rate", "44100");
    settings.set("clock.allowed-rates", "[ 96000 44100, 48000 44100 ]");
    settings.set("clock.quantum", "512");
    settings.set("clock.min-quantum", "64");
    settings.set("clock.max-quantum", "4096");
    EXPECT_EQ(settings.currentRate(), 44100U);
    EXPECT_EQ(settings.currentQuantum(), 512U);
    EXPECT_EQ(settings.smallestQuantum, 64U);
    EXPECT_EQ(settings.largestQuantum, 4096U);
    EXPECT_THAT(settings.rates(), ElementsAre(44100, 48000, 96000));
}

TEST(PipeWire_GraphSettings, PrefersWhatIsForcedAsLongAsItIs) {
    GraphSettings settings;
    settings.set("clock.force-rate", "96000");
    settings.set("clock.force-quantum", "128");
    EXPECT_EQ(settings.currentRate(), 96000U);
    EXPECT_EQ(settings.currentQuantum(), 128U);
    settings.set("clock.force-rate", "0");
    settings.set("clock.force-quantum", "0");
    EXPECT_EQ(settings.currentRate(), GraphSettings().rate);
    EXPECT_EQ(settings.currentQuantum(), GraphSettings().quantum);
}

TEST(PipeWire_GraphSettings, OffersItsOnlyRateWhenNoneIsListed) {
    GraphSettings settings;
    EXPECT_THAT(settings.rates(), ElementsAre(48000));
    settings.set("clock.allowed-rates", "[ ]");
    EXPECT_THAT(settings.rates(), ElementsAre(48000));
}

TEST(PipeWire_GraphSettings, IgnoresWhatIsUnknownRemovedOrNoNumber) {
    GraphSettings settings;
    settings.set("log.level", "2");
    settings.set("clock.rate", nullptr);
    settings.set("clock.rate", "fast");
    settings.set("clock.rate", "0");
    settings.set("clock.quantum", "-5");
    settings.set("clock.allowed-rates", "48000");
    EXPECT_EQ(settings, GraphSettings());
}

TEST(PipeWire_GraphSettings, FindTheNameOfADefaultNode) {
    EXPECT_EQ(nodeNamedBy(R"({"name":"alsa_output.usb-1"})"), "alsa_output.usb-1");
    EXPECT_EQ(nodeNamedBy(R"({ "priority": { "a": 1 }, "name": "with \"quotes\"" })"), "with \"quotes\"");
    EXPECT_EQ(nodeNamedBy(R"({ "title": "x" })"), "");
    EXPECT_EQ(nodeNamedBy(R"({ "name": )"), "");
    EXPECT_EQ(nodeNamedBy("alsa_output"), "");
    EXPECT_EQ(nodeNamedBy(""), "");
    EXPECT_EQ(nodeNamedBy(nullptr), "");
}
