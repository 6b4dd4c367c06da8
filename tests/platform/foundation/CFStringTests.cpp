#include "BRAQAudio/platform/foundation/CFString.h"

#include "tests/platform/foundation/AllocatedBytes.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <memory>
#include <thread>
#include <vector>

namespace {

using Text = std::unique_ptr<const CFString, decltype(&CFRelease)>;

Text owned(CFStringRef string) { return {string, &CFRelease}; }

std::u16string unitsOf(const Text& text) {
    std::u16string units(static_cast<std::size_t>(CFStringGetLength(text.get())), u'\0');
    const CFIndex copied = CFStringGetCharacters(text.get(), 0, CFStringGetLength(text.get()), units.data());
    EXPECT_EQ(copied, CFStringGetLength(text.get()));
    return units;
}

constexpr CFIndex largeLength = 1 << 20;

/// Uninitialised characters from `malloc`, as many as `largeLength`.
UniChar* largeAllocation() {
    auto* characters = static_cast<UniChar*>(std::calloc(largeLength, sizeof(UniChar)));
    EXPECT_NE(characters, nullptr);
    return characters;
}

} // namespace

TEST(Foundation_CFString, MadeFromUTF8ReadsAsBoth) {
    const Text text = owned(CFStringCreateWithCString("Ger\u00e4t \U0001F3B5"));
    EXPECT_EQ(CFStringGetLength(text.get()), 8);
    EXPECT_EQ(unitsOf(text), u"Ger\u00e4t \U0001F3B5");
    EXPECT_EQ(CFStringCopyUTF8(text.get()), "Ger\u00e4t \U0001F3B5");
}

TEST(Foundation_CFString, MadeFromUTF16CopiesTheCharacters) {
    std::u16string characters = u"Ger\u00e4t";
    const Text text = owned(CFStringCreateWithCharacters(characters.data(), 5));
    characters = u"xxxxx";
    EXPECT_EQ(unitsOf(text), u"Ger\u00e4t");
    EXPECT_EQ(CFStringCopyUTF8(text.get()), "Ger\u00e4t");
}

TEST(Foundation_CFString, MadeFromUTF8CopiesTheText) {
    std::string bytes = "name";
    const Text text = owned(CFStringCreateWithCString(bytes.c_str()));
    bytes = "xxxx";
    EXPECT_EQ(CFStringCopyUTF8(text.get()), "name");
}

TEST(Foundation_CFString, EmptyTextsAreTexts) {
    EXPECT_EQ(CFStringGetLength(owned(CFStringCreateWithCString("")).get()), 0);
    const Text text = owned(CFStringCreateWithCharacters(nullptr, 0));
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(CFStringCopyUTF8(text.get()), "");
    EXPECT_NE(owned(CFStringCreateWithCharactersNoCopy(nullptr, 0, kCFAllocatorDefault)), nullptr);
}

TEST(Foundation_CFString, WhatCannotBeAStringIsNull) {
    EXPECT_EQ(CFStringCreateWithCString(nullptr), nullptr);
    EXPECT_EQ(CFStringCreateWithCharacters(nullptr, 1), nullptr);
    EXPECT_EQ(CFStringCreateWithCharacters(u"a", -1), nullptr);
    EXPECT_EQ(CFStringCreateWithCharactersNoCopy(nullptr, 1, kCFAllocatorNull), nullptr);
    EXPECT_EQ(CFStringCreateWithCharactersNoCopy(u"a", -1, kCFAllocatorNull), nullptr);
    EXPECT_EQ(CFStringCreateWithCharacters(u"a", std::numeric_limits<CFIndex>::max()), nullptr);
}

TEST(Foundation_CFString, NullIsAnEmptyTextThatNeedsNoRelease) {
    EXPECT_EQ(CFRetain(nullptr), nullptr);
    CFRelease(nullptr);
    EXPECT_EQ(CFStringGetLength(nullptr), 0);
    UniChar unit = u'x';
    EXPECT_EQ(CFStringGetCharacters(nullptr, 0, 1, &unit), 0);
    EXPECT_EQ(unit, u'x');
    EXPECT_EQ(CFStringCopyUTF8(nullptr), "");
}

TEST(Foundation_CFString, MadeOfTheCreatorsCharactersReadsAsBoth) {
    const UniChar characters[] = {u'U', u'I', u'D', 0xD83C, 0xDFB5};
    const Text text = owned(CFStringCreateWithCharactersNoCopy(characters, 5, kCFAllocatorNull));
    EXPECT_EQ(unitsOf(text), u"UID\U0001F3B5");
    EXPECT_EQ(CFStringCopyUTF8(text.get()), "UID\U0001F3B5");
}

TEST(Foundation_CFString, ItsTextIsReadInPlaceForAsLongAsItLives) {
    const CFStringRef string = CFStringCreateWithCString("Ger\u00e4t \xFF");
    const char* const text = CFStringGetCStringPtr(CFRetain(string));
    EXPECT_STREQ(text, "Ger\u00e4t \uFFFD");
    CFRelease(string);
    EXPECT_STREQ(text, "Ger\u00e4t \uFFFD");
    EXPECT_EQ(CFStringGetCStringPtr(string), text);
    CFRelease(string);
    EXPECT_EQ(CFStringGetCStringPtr(nullptr), nullptr);
}

TEST(Foundation_CFString, TheNullAllocatorLeavesTheCharactersToTheirMaker) {
    UniChar* characters = largeAllocation();
    const std::size_t before = allocatedBytes();
    CFRelease(CFStringCreateWithCharactersNoCopy(characters, largeLength, kCFAllocatorNull));
    EXPECT_GT(allocatedBytes() + largeLength, before);
    EXPECT_EQ(characters[largeLength - 1], u'\0'); // an address sanitizer sees it if they are gone
    std::free(characters);
    EXPECT_LT(allocatedBytes() + largeLength, before); // so the measure shows what it should
}

TEST(Foundation_CFString, TheDefaultAllocatorFreesTheCharactersWithTheLastReference) {
    UniChar* characters = largeAllocation();
    const CFStringRef string = CFStringCreateWithCharactersNoCopy(characters, largeLength, kCFAllocatorDefault);
    CFRetain(string);
    const std::size_t before = allocatedBytes();
    CFRelease(string);
    EXPECT_GT(allocatedBytes() + largeLength, before);
    CFRelease(string);
    EXPECT_LT(allocatedBytes() + largeLength, before);
}

TEST(Foundation_CFString, ReferencesMayBeTakenAndGivenUpOnManyThreads) {
    const Text text = owned(CFStringCreateWithCString("shared between threads"));
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back([string = CFRetain(text.get())] {
            for (int round = 0; round < 1000; ++round) {
                CFRelease(CFRetain(string));
            }
            EXPECT_EQ(CFStringCopyUTF8(string), "shared between threads");
            CFRelease(string);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(CFStringCopyUTF8(text.get()), "shared between threads");
}

TEST(Foundation_CFString, PartsAreCopiedAsFarAsThereAreAny) {
    const Text text = owned(CFStringCreateWithCString("abcdef"));
    UniChar units[8] = {};
    EXPECT_EQ(CFStringGetCharacters(text.get(), 2, 3, units), 3);
    EXPECT_EQ(std::u16string(units), u"cde");
    EXPECT_EQ(CFStringGetCharacters(text.get(), 4, 8, units), 2);
    EXPECT_EQ(std::u16string(units), u"efe");
    for (const CFIndex outside : {CFIndex{-1}, CFIndex{6}, std::numeric_limits<CFIndex>::max()}) {
        EXPECT_EQ(CFStringGetCharacters(text.get(), outside, 1, units), 0);
    }
    EXPECT_EQ(CFStringGetCharacters(text.get(), 0, 0, nullptr), 0);
    EXPECT_EQ(CFStringGetCharacters(text.get(), 0, -1, units), 0);
    EXPECT_EQ(CFStringGetCharacters(text.get(), 1, std::numeric_limits<CFIndex>::max(), units), 5);
}

TEST(Foundation_CFString, IllFormedInputBecomesReplacements) {
    EXPECT_EQ(CFStringCopyUTF8(owned(CFStringCreateWithCString("a\xFFz")).get()), "a\uFFFDz");
    const UniChar unpaired[] = {u'a', 0xD83C};
    const Text text = owned(CFStringCreateWithCharacters(unpaired, 2));
    EXPECT_EQ(CFStringCopyUTF8(text.get()), "a\uFFFD");
    EXPECT_EQ(unitsOf(text), u"a\uFFFD");
}
