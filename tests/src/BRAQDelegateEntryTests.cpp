#include "BRAQAudio/BRAQDelegateEntry.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct First {
    virtual ~First() = default;
    int one = 1;
};
struct Second {
    virtual ~Second() = default;
    int two = 2;
};
struct Both : First, Second {};
struct Plain {
    int one = 1;
};

TEST(DelegateEntry, HoldsItsObjectStrongly) {
    auto object = std::make_shared<Plain>();
    const std::weak_ptr<Plain> watched = object;
    {
        const BRAQDelegateEntry entry(object);
        EXPECT_EQ(entry.object().get(), object.get());
        object.reset();
        EXPECT_FALSE(watched.expired());
    }
    EXPECT_TRUE(watched.expired());
}

TEST(DelegateEntry, IsEqualToAnotherOfTheSameObjectOnly) {
    const auto object = std::make_shared<Plain>();
    const auto other = std::make_shared<Plain>();
    EXPECT_TRUE(BRAQDelegateEntry(object) == BRAQDelegateEntry(object));
    EXPECT_FALSE(BRAQDelegateEntry(object) == BRAQDelegateEntry(other));
    EXPECT_TRUE(BRAQDelegateEntry(object) == BRAQDelegateEntry(std::shared_ptr<const Plain>(object)));
}

TEST(DelegateEntry, KnowsAnObjectUnderEachOfItsBases) {
    const auto object = std::make_shared<Both>();
    const std::shared_ptr<Second> asSecond = object;
    ASSERT_NE(static_cast<const void*>(asSecond.get()), static_cast<const void*>(object.get()));
    EXPECT_TRUE(BRAQDelegateEntry(asSecond) == BRAQDelegateEntry(object));
    EXPECT_TRUE(BRAQDelegateEntry(asSecond) == BRAQDelegateEntry(std::shared_ptr<First>(object)));
}

TEST(DelegateEntry, TellsPartsOfOneObjectApart) {
    struct Owner {
        Plain one;
        Plain two;
    };
    const auto owner = std::make_shared<Owner>();
    EXPECT_FALSE(BRAQDelegateEntry(std::shared_ptr<Plain>(owner, &owner->one)) ==
                 BRAQDelegateEntry(std::shared_ptr<Plain>(owner, &owner->two)));
}

TEST(DelegateEntry, OfNoObjectHasNone) {
    EXPECT_EQ(BRAQDelegateEntry(std::shared_ptr<Plain>()).object(), nullptr);
    EXPECT_EQ(BRAQDelegateEntry(std::shared_ptr<Both>()).object(), nullptr);
}

} // namespace
