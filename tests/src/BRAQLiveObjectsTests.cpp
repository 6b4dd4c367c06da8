#include "library/src/BRAQLiveObjects.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

// Asks for itself while it is destroyed.
struct Thing {
    ~Thing() {
        wasFoundInDestructor = braq::LiveObjects<Thing>::all().find(this) != nullptr;
        braq::LiveObjects<Thing>::all().remove(this);
    }
    static inline std::atomic<bool> wasFoundInDestructor = false;
};

braq::LiveObjects<Thing>& things() { return braq::LiveObjects<Thing>::all(); }

TEST(LiveObjects, FindsAnObjectUnderItsAddressAsLongAsItLives) {
    auto thing = std::make_shared<Thing>();
    const void* const address = thing.get();
    EXPECT_EQ(things().find(address), nullptr);
    things().add(thing);
    EXPECT_EQ(things().find(address), thing);
    EXPECT_EQ(things().find(nullptr), nullptr);
    thing.reset();
    EXPECT_EQ(things().find(address), nullptr);
}

TEST(LiveObjects, FindsNothingWhileTheObjectIsDestroyed) {
    Thing::wasFoundInDestructor = true;
    things().add(std::make_shared<Thing>());
    EXPECT_FALSE(Thing::wasFoundInDestructor);
}

TEST(LiveObjects, KeepsWhatItFoundAliveUntilTheFinderLetsGo) {
    auto thing = std::make_shared<Thing>();
    const std::weak_ptr<Thing> watched = thing;
    things().add(thing);
    auto found = things().find(thing.get());
    thing.reset();
    EXPECT_FALSE(watched.expired());
    found.reset();
    EXPECT_TRUE(watched.expired());
}

TEST(LiveObjects, FindsTheWholeObjectOrNothingWhileOthersComeAndGo) {
    std::atomic<const void*> address = nullptr;
    std::atomic<bool> isDone = false;
    std::atomic<int> wrong = 0;
    std::thread finding([&] {
        while (!isDone) {
            const void* const asked = address;
            if (const auto found = things().find(asked); found != nullptr && found.get() != asked) {
                ++wrong;
            }
        }
    });
    for (int round = 0; round < 2000; ++round) {
        const auto thing = std::make_shared<Thing>();
        things().add(thing);
        address = thing.get();
    }
    isDone = true;
    finding.join();
    EXPECT_EQ(wrong, 0);
}

} // namespace
