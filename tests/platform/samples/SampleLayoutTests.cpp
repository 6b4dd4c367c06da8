#include "platform/samples/SampleLayout.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

namespace {

using braq::SampleLayout;
using Sort = SampleLayout::Sort;
using testing::ElementsAre;

std::vector<int> bytesOf(Float32 sample, const SampleLayout& layout) {
    std::vector<std::byte> bytes(layout.bytes);
    braq::convertSamples(&sample, 1, layout, bytes.data(), layout.bytes);
    std::vector<int> numbers;
    for (const std::byte each : bytes) {
        numbers.push_back(std::to_integer<int>(each));
    }
    return numbers;
}

template <class T>
T convert(Float32 sample, UInt32 bits) {
    T value{};
    braq::convertSamples(&sample, 1, {Sort::signedInteger, bits, sizeof(T), false},
                         reinterpret_cast<std::byte*>(&value), sizeof(T));
    return value;
}

TEST(Files_Samples, GiveBackEach16BitSample) {
    for (int sample = -32768; sample <= 32767; ++sample) {
        ASSERT_EQ(convert<std::int16_t>(static_cast<Float32>(sample) / 32768, 16), sample);
    }
}

TEST(Files_Samples, GiveBackEach24BitSample) {
    for (int sample = -8388608; sample <= 8388607; ++sample) {
        ASSERT_EQ(convert<std::int32_t>(static_cast<Float32>(sample) / 8388608, 24), sample * 256);
    }
}

TEST(Files_Samples, AreRoundedToTheNearestAndHalvesToEven) {
    const auto at = [](Float32 sixteenth) { return convert<std::int16_t>(sixteenth / 32768, 16); };
    EXPECT_EQ(at(1.4375F), 1);
    EXPECT_EQ(at(1.5F), 2);
    EXPECT_EQ(at(2.5F), 2);
    EXPECT_EQ(at(2.5625F), 3);
    EXPECT_EQ(at(-1.4375F), -1);
    EXPECT_EQ(at(-1.5F), -2);
    EXPECT_EQ(at(-2.5625F), -3);
    EXPECT_EQ(at(0.25F), 0);
    EXPECT_EQ(at(-0.25F), 0);
}

TEST(Files_Samples, AreClippedBeyondFullScale) {
    constexpr Float32 infinite = std::numeric_limits<Float32>::infinity();
    for (const Float32 loud : {1.0F, 1.0001F, 2.0F, 1e30F, infinite}) {
        EXPECT_EQ(convert<std::int16_t>(loud, 16), 32767);
        EXPECT_EQ(convert<std::int32_t>(loud, 24), 8388607 * 256);
        EXPECT_EQ(convert<std::int32_t>(loud, 32), std::numeric_limits<std::int32_t>::max());
        EXPECT_EQ(convert<std::int16_t>(-loud, 16), -32768);
        EXPECT_EQ(convert<std::int32_t>(-loud, 24), -8388608 * 256);
        EXPECT_EQ(convert<std::int32_t>(-loud, 32), std::numeric_limits<std::int32_t>::min());
    }
    EXPECT_EQ(convert<std::int16_t>(32767.6F / 32768, 16), 32767);
}

TEST(Files_Samples, AreSilentWhereTheyAreNoNumbers) {
    const Float32 none = std::numeric_limits<Float32>::quiet_NaN();
    EXPECT_EQ(convert<std::int8_t>(none, 8), 0);
    EXPECT_EQ(convert<std::int16_t>(none, 16), 0);
    EXPECT_EQ(convert<std::int32_t>(-none, 24), 0);
    EXPECT_EQ(convert<std::int32_t>(none, 32), 0);
}

TEST(Files_Samples, HaveTheBytesInTheOrderOfTheFile) {
    const Float32 sample = static_cast<Float32>(0x123456) / 0x800000;
    EXPECT_THAT(bytesOf(sample, {Sort::signedInteger, 24, 3, false}), ElementsAre(0x56, 0x34, 0x12));
    EXPECT_THAT(bytesOf(sample, {Sort::signedInteger, 24, 3, true}), ElementsAre(0x12, 0x34, 0x56));
    EXPECT_THAT(bytesOf(sample, {Sort::signedInteger, 24, 4, false}), ElementsAre(0, 0x56, 0x34, 0x12));
    EXPECT_THAT(bytesOf(sample, {Sort::signedInteger, 32, 4, true}), ElementsAre(0x12, 0x34, 0x56, 0));
    EXPECT_THAT(bytesOf(sample, {Sort::signedInteger, 16, 2, true}), ElementsAre(0x12, 0x34));
    EXPECT_THAT(bytesOf(0.5F, {Sort::floating, 32, 4, false}), ElementsAre(0, 0, 0, 0x3F));
    EXPECT_THAT(bytesOf(0.5F, {Sort::floating, 32, 4, true}), ElementsAre(0x3F, 0, 0, 0));
    EXPECT_THAT(bytesOf(0.5F, {Sort::floating, 64, 8, true}), ElementsAre(0x3F, 0xE0, 0, 0, 0, 0, 0, 0));
}

TEST(Files_Samples, OfEightBitsAreCountedFromTheMiddleWhereTheyAreUnsigned) {
    const SampleLayout layout{Sort::unsignedInteger, 8, 1, false};
    EXPECT_THAT(bytesOf(0, layout), ElementsAre(128));
    EXPECT_THAT(bytesOf(-1, layout), ElementsAre(0));
    EXPECT_THAT(bytesOf(1, layout), ElementsAre(255));
    EXPECT_THAT(bytesOf(1.0F / 128, layout), ElementsAre(129));
    EXPECT_THAT(bytesOf(-1.0F / 128, {Sort::signedInteger, 8, 1, false}), ElementsAre(255));
}

TEST(Files_Samples, StayAsTheyAreInFloat) {
    for (const Float32 sample : {1.5F, -0.0F, 1e-30F, std::numeric_limits<Float32>::denorm_min()}) {
        Float32 copy = 0;
        braq::convertSamples(&sample, 1, {Sort::floating, 32, 4, false}, reinterpret_cast<std::byte*>(&copy), 4);
        EXPECT_EQ(std::memcmp(&copy, &sample, sizeof(copy)), 0);
    }
}

TEST(Files_Samples, LeaveWhatIsBetweenThemAlone) {
    const Float32 source[] = {1, 1, 1};
    std::vector<std::int16_t> destination(6, 7);
    braq::convertSamples(source, 3, {Sort::signedInteger, 16, 2, false},
                         reinterpret_cast<std::byte*>(destination.data()), 4);
    EXPECT_THAT(destination, ElementsAre(32767, 7, 32767, 7, 32767, 7));
}

} // namespace
