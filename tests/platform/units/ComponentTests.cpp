#include "tests/platform/units/UnitHelpers.h"

#include <gmock/gmock.h>

namespace {

using namespace braq::tests;
using testing::ElementsAre;

std::vector<UInt32> subTypesFound(const AudioComponentDescription& sought) {
    std::vector<UInt32> found;
    for (AudioComponent one = AudioComponentFindNext(nullptr, &sought); one != nullptr;
         one = AudioComponentFindNext(one, &sought)) {
        AudioUnit unit = nullptr;
        EXPECT_EQ(AudioComponentInstanceNew(one, &unit), 0);
        UInt32 value = 0;
        UInt32 size = sizeof(value);
        const bool isDeviceUnit =
            AudioUnitGetProperty(unit, kAudioOutputUnitProperty_IsRunning, global, 0, &value, &size) == 0;
        found.push_back(isDeviceUnit ? kAudioUnitType_Output : kAudioUnitType_FormatConverter);
        EXPECT_EQ(AudioComponentInstanceDispose(unit), 0);
    }
    return found;
}

TEST(Units_Components, AreFoundByWhatIsNotZero) {
    EXPECT_THAT(subTypesFound({}),
                ElementsAre(kAudioUnitType_Output, kAudioUnitType_Output, kAudioUnitType_FormatConverter));
    EXPECT_THAT(subTypesFound({kAudioUnitType_Output, 0, 0, 0, 0}),
                ElementsAre(kAudioUnitType_Output, kAudioUnitType_Output));
    EXPECT_THAT(subTypesFound({0, kAudioUnitSubType_DefaultOutput, 0, 0, 0}), ElementsAre(kAudioUnitType_Output));
    EXPECT_THAT(subTypesFound({0, kAudioUnitSubType_Varispeed, kAudioUnitManufacturer_Platform, 0, 0}),
                ElementsAre(kAudioUnitType_FormatConverter));
    EXPECT_THAT(subTypesFound(deviceDescription), ElementsAre(kAudioUnitType_Output));
    EXPECT_THAT(subTypesFound({0, 0, 0, 1, 0}).size(), 3U) << "flags count as far as the mask has them";
    EXPECT_THAT(subTypesFound({0, 0, 0, 1, 1}).size(), 0U);
}

TEST(Units_Components, AreNotFoundWhereThereAreNone) {
    EXPECT_THAT(subTypesFound({kAudioUnitType_Output, kAudioUnitSubType_Varispeed, 0, 0, 0}).size(), 0U);
    EXPECT_THAT(subTypesFound({BRAQFourCharCode("none"), 0, 0, 0, 0}).size(), 0U);
    EXPECT_THAT(subTypesFound({0, 0, BRAQFourCharCode("none"), 0, 0}).size(), 0U);
    EXPECT_EQ(AudioComponentFindNext(nullptr, nullptr), nullptr);
    const auto unknown = reinterpret_cast<AudioComponent>(&deviceDescription);
    EXPECT_EQ(AudioComponentFindNext(unknown, &deviceDescription), nullptr);
    AudioUnit unit = nullptr;
    EXPECT_EQ(AudioComponentInstanceNew(nullptr, &unit), kAudio_ParamError);
    EXPECT_EQ(AudioComponentInstanceNew(unknown, &unit), kAudio_ParamError);
    const AudioComponentDescription any{};
    EXPECT_EQ(AudioComponentInstanceNew(AudioComponentFindNext(nullptr, &any), nullptr), kAudio_ParamError);
    EXPECT_EQ(unit, nullptr);
}

} // namespace
