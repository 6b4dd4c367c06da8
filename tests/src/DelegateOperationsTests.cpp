// A delegate with an operation of the right name that cannot be called is no delegate: the program is not compiled.

#include "BRAQAudio/BRAQAudioHardware.h"
#include "BRAQAudio/BRAQExtendedAudioFilePlayer.h"
#include "BRAQAudio/BRAQExtendedAudioFileRecorder.h"

#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

namespace {

using Device = std::shared_ptr<BRAQAudioDevice>;
using Player = std::shared_ptr<BRAQExtendedAudioFilePlayer>;
using Recorder = std::shared_ptr<BRAQExtendedAudioFileRecorder>;

template <class Delegate>
constexpr bool mayBeOfADevice = std::is_constructible_v<BRAQAudioDeviceDelegateEntry, std::shared_ptr<Delegate>>;
template <class Delegate>
constexpr bool mayBeOfTheHardware = std::is_constructible_v<BRAQAudioHardwareDelegateEntry, std::shared_ptr<Delegate>>;
template <class Delegate>
constexpr bool mayBeOfAPlayer = std::is_constructible_v<BRAQExtendedAudioFilePlayerDelegateEntry, Delegate*>;
template <class Delegate>
constexpr bool mayBeOfARecorder =
    std::is_constructible_v<BRAQExtendedAudioFileRecorderDelegateEntry, std::shared_ptr<Delegate>>;

struct NoOperations {};
struct AsStated {
    void audioDeviceNominalSampleRateDidChange(const Device&) {}
    void audioHardwareDeviceListDidChange() {}
    void audioHardwareDefaultInputDeviceDidChange() {}
    void audioHardwareDefaultOutputDeviceDidChange() {}
    void audioHardwareDefaultSystemOutputDeviceDidChange() {}
    void audioFilePlayerDidReachEndOfFile(const Player&) {}
    void audioFilePlayerDidStop(const Player&) {}
    void audioFilePlayerDidBeginNextFile(const Player&) {}
    void audioFilePlayerDidLoseFrames(const Player&, UInt64) {}
    void audioFileRecorderDidLoseFrames(const Recorder&, const BRAQLostStretch&) {}
    void audioFilePlayerDeviceDidChange(const Player&, const Device&) {}
    void audioFilePlayerDeviceIsGone(const Player&) {}
    void audioFilePlayerDeviceIsBack(const Player&, const Device&) {}
    void audioFileRecorderDidStop(const Recorder&) {}
    void audioFileRecorderDeviceDidChange(const Recorder&, const Device&) {}
    void audioFileRecorderDeviceIsGone(const Recorder&) {}
    void audioFileRecorderDeviceIsBack(const Recorder&, const Device&) {}
};
struct DerivedDelegate : AsStated {};
struct FinalDelegate final : AsStated {};
/// What can be called as stated, in another way.
struct Similar {
    int audioFilePlayerDidReachEndOfFile(Player) { return 0; }
    template <class Of>
    void audioFilePlayerDidStop(const Of&) {}
    void audioFileRecorderDidStop(const Recorder&) {}
    void audioFileRecorderDidStop() {}
};
struct AbstractDelegate {
    virtual ~AbstractDelegate() = default;
    virtual void audioFileRecorderDidStop(const Recorder&) = 0;
};

TEST(DelegateOperations, AreTakenAsStated) {
    const auto expectAnywhere = [](bool device, bool hardware, bool player, bool recorder) {
        EXPECT_TRUE(device);
        EXPECT_TRUE(hardware);
        EXPECT_TRUE(player);
        EXPECT_TRUE(recorder);
    };
    expectAnywhere(mayBeOfADevice<NoOperations>, mayBeOfTheHardware<NoOperations>, mayBeOfAPlayer<NoOperations>,
                   mayBeOfARecorder<NoOperations>);
    expectAnywhere(mayBeOfADevice<AsStated>, mayBeOfTheHardware<AsStated>, mayBeOfAPlayer<AsStated>,
                   mayBeOfARecorder<AsStated>);
    expectAnywhere(mayBeOfADevice<DerivedDelegate>, mayBeOfTheHardware<DerivedDelegate>,
                   mayBeOfAPlayer<DerivedDelegate>, mayBeOfARecorder<DerivedDelegate>);
    expectAnywhere(mayBeOfADevice<FinalDelegate>, mayBeOfTheHardware<FinalDelegate>, mayBeOfAPlayer<FinalDelegate>,
                   mayBeOfARecorder<FinalDelegate>);
    EXPECT_TRUE(mayBeOfAPlayer<Similar>);
    EXPECT_TRUE(mayBeOfARecorder<Similar>);
    EXPECT_TRUE(mayBeOfARecorder<AbstractDelegate>);
}

struct WithoutParameters {
    void audioDeviceNominalSampleRateDidChange() {}
    void audioFilePlayerDidReachEndOfFile() {}
    void audioFileRecorderDidStop() {}
};
struct WithAnotherParameter final {
    void audioDeviceNominalSampleRateDidChange(BRAQAudioDevice&) {}
    void audioHardwareDefaultOutputDeviceDidChange(const Device&) {}
    void audioFilePlayerDidStop(BRAQExtendedAudioFilePlayer*) {}
    void audioFileRecorderDidStop(Recorder&) {}
};
struct WithOverloads {
    void audioHardwareDeviceListDidChange(int) {}
    void audioHardwareDeviceListDidChange(const Device&) {}
    void audioFilePlayerDidStop(int) {}
    void audioFilePlayerDidStop(const Recorder&) {}
};
class WithAPrivateOne {
    void audioHardwareDefaultInputDeviceDidChange() {}
    void audioFileRecorderDidStop(const Recorder&) {}
};
struct WithStaticOnes {
    static void audioHardwareDefaultSystemOutputDeviceDidChange(int) {}
    static void audioFilePlayerDidReachEndOfFile(int) {}
};

struct WithoutADevice {
    void audioFilePlayerDeviceDidChange(const Player&) {}
    void audioFileRecorderDeviceIsBack(const Recorder&) {}
};
struct WithADeviceTooMany {
    void audioFilePlayerDeviceIsGone(const Player&, const Device&) {}
    void audioFileRecorderDeviceIsGone(const Recorder&, const Device&) {}
};
struct OfAnotherKind {
    void audioFilePlayerDeviceIsBack(const Recorder&, const Device&) {}
    void audioFileRecorderDeviceDidChange(const Player&, const Device&) {}
};
struct WithoutFrames {
    void audioFilePlayerDidLoseFrames(const Player&) {}
    void audioFileRecorderDidLoseFrames(const Recorder&, UInt64) {}
};
struct WithoutAFile {
    void audioFilePlayerDidBeginNextFile() {}
};

TEST(DelegateOperations, OfDevicesAndFilesThatFollowAreRefusedLikewise) {
    EXPECT_FALSE(mayBeOfAPlayer<WithoutADevice>);
    EXPECT_FALSE(mayBeOfAPlayer<WithADeviceTooMany>);
    EXPECT_FALSE(mayBeOfAPlayer<OfAnotherKind>);
    EXPECT_FALSE(mayBeOfAPlayer<WithoutAFile>);
    EXPECT_FALSE(mayBeOfAPlayer<WithoutFrames>);
    EXPECT_FALSE(mayBeOfARecorder<WithoutFrames>);
    EXPECT_FALSE(mayBeOfARecorder<WithoutADevice>);
    EXPECT_FALSE(mayBeOfARecorder<WithADeviceTooMany>);
    EXPECT_FALSE(mayBeOfARecorder<OfAnotherKind>);
    EXPECT_TRUE(mayBeOfARecorder<WithoutAFile>);
}

TEST(DelegateOperations, AreRefusedWhereTheyCannotBeCalledAsStated) {
    EXPECT_FALSE(mayBeOfADevice<WithoutParameters>);
    EXPECT_FALSE(mayBeOfADevice<WithAnotherParameter>);
    EXPECT_FALSE(mayBeOfTheHardware<WithAnotherParameter>);
    EXPECT_FALSE(mayBeOfTheHardware<WithOverloads>);
    EXPECT_FALSE(mayBeOfTheHardware<WithAPrivateOne>);
    EXPECT_FALSE(mayBeOfTheHardware<WithStaticOnes>);
    EXPECT_FALSE(mayBeOfAPlayer<WithoutParameters>);
    EXPECT_FALSE(mayBeOfAPlayer<WithAnotherParameter>);
    EXPECT_FALSE(mayBeOfAPlayer<WithOverloads>);
    EXPECT_FALSE(mayBeOfAPlayer<WithStaticOnes>);
    EXPECT_FALSE(mayBeOfAPlayer<const AsStated>) << "its operations change it";
    EXPECT_FALSE(mayBeOfARecorder<WithoutParameters>);
    EXPECT_FALSE(mayBeOfARecorder<WithAnotherParameter>);
    EXPECT_FALSE(mayBeOfARecorder<WithAPrivateOne>);
}

struct WithAField {
    int audioHardwareDeviceListDidChange = 0;
};

TEST(DelegateOperations, OfOtherObjectsAndFieldsDoNotMatter) {
    EXPECT_TRUE(mayBeOfARecorder<WithOverloads>);
    EXPECT_TRUE(mayBeOfADevice<WithOverloads>);
    EXPECT_TRUE(mayBeOfTheHardware<WithoutParameters>);
    EXPECT_TRUE(mayBeOfTheHardware<WithAField>);
}

} // namespace
