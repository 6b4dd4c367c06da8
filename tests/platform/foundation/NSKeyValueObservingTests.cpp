#include "BRAQAudio/platform/foundation/NSKeyValueObserving.h"

#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Dependencies = std::map<std::string, std::vector<std::string>>;

/// An object with any properties and any dependencies.
class Thing : public NSKeyValueObserving {
  public:
    explicit Thing(Dependencies affecting = {}) : mAffecting(std::move(affecting)) {}

    void set(const std::string& key, int value) {
        values[key] = value;
        didChangeValueForKey(key);
    }

    std::map<std::string, int> values;

  protected:
    std::vector<std::string> keyPathsForValuesAffectingValueForKey(const std::string& key) const override {
        const auto found = mAffecting.find(key);
        return found != mAffecting.end() ? found->second : std::vector<std::string>();
    }

  private:
    const Dependencies mAffecting;
};

class Foundation_NSKeyValueObserving : public testing::Test {
  protected:
    std::function<void(const std::string&)> hear() {
        return [this](const std::string& key) { heard.push_back(key); };
    }
    std::vector<std::string> heard;
};

} // namespace

TEST_F(Foundation_NSKeyValueObserving, AnObserverIsToldOfItsKeyOfItsObjectAfterTheChange) {
    Thing thing;
    Thing other;
    int value = 0;
    const auto token = thing.addObserver("level", [&](const std::string& key) { value = thing.values.at(key); });
    other.set("level", 1);
    thing.set("rate", 2);
    EXPECT_EQ(value, 0);
    thing.set("level", 3);
    EXPECT_EQ(value, 3);
}

TEST_F(Foundation_NSKeyValueObserving, ObserversOfADependentKeyAreToldUnderThatKey) {
    Thing thing(Dependencies{{"currentTime", {"currentFrame"}}});
    const auto time = thing.addObserver("currentTime", hear());
    thing.set("currentFrame", 1);
    EXPECT_THAT(heard, ElementsAre("currentTime"));
}

TEST_F(Foundation_NSKeyValueObserving, AKeyThatAnotherDependsOnIsNotToldOfIt) {
    Thing thing(Dependencies{{"currentTime", {"currentFrame"}}});
    const auto frame = thing.addObserver("currentFrame", hear());
    thing.set("currentTime", 1);
    EXPECT_THAT(heard, IsEmpty());
}

TEST_F(Foundation_NSKeyValueObserving, DependenciesChainAndEachObserverIsToldOnce) {
    // c depends on a through b, d both directly and so; a circle closes the chain.
    Thing thing(Dependencies{{"a", {"c"}}, {"b", {"a"}}, {"c", {"b"}}, {"d", {"a", "c", "a"}}});
    const auto d = thing.addObserver("d", hear());
    const auto c = thing.addObserver("c", hear());
    const auto a = thing.addObserver("a", hear());
    const auto b = thing.addObserver("b", hear());
    thing.set("a", 1);
    EXPECT_THAT(heard, ElementsAre("d", "c", "a", "b"));
}

TEST_F(Foundation_NSKeyValueObserving, SeveralObserversOfOneKeyAreToldInTheirOrder) {
    Thing thing;
    std::string order;
    const auto one = thing.addObserver("k", [&](const auto&) { order += '1'; });
    const auto two = thing.addObserver("k", [&](const auto&) { order += '2'; });
    thing.set("k", 0);
    EXPECT_EQ(order, "12");
}

TEST_F(Foundation_NSKeyValueObserving, NothingIsToldWithoutATokenAnyMore) {
    Thing thing;
    auto token = thing.addObserver("k", hear());
    token.remove();
    thing.set("k", 0);
    EXPECT_THAT(heard, IsEmpty());
}

TEST_F(Foundation_NSKeyValueObserving, ATokenMayOutliveTheObject) {
    auto thing = std::make_unique<Thing>();
    auto held = std::make_shared<int>();
    auto token = thing->addObserver("k", [held](const auto&) {});
    thing.reset();
    token.remove();
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(Foundation_NSKeyValueObserving, AnObserverMayLetTheObjectGoAndTheOthersAreStillTold) {
    auto thing = std::make_unique<Thing>();
    const auto first = thing->addObserver("k", [&](const auto&) { thing.reset(); });
    const auto second = thing->addObserver("k", hear());
    thing->set("k", 1);
    EXPECT_EQ(thing, nullptr);
    EXPECT_THAT(heard, ElementsAre("k"));
}

TEST_F(Foundation_NSKeyValueObserving, ObserversMaySetAddAndRemove) {
    Thing thing;
    NSObserverToken added;
    NSObserverToken first;
    first = thing.addObserver("a", [&](const std::string& key) {
        heard.push_back(key);
        first.remove();
        added = thing.addObserver("b", hear());
        thing.set("b", 1);
    });
    thing.set("a", 1);
    thing.set("a", 2);
    EXPECT_THAT(heard, ElementsAre("a", "b"));
}

TEST_F(Foundation_NSKeyValueObserving, WhatAnObserverThrowsIsLoggedAndTheOthersAreTold) {
    const braq::tests::CapturedLog log;
    Thing thing;
    const auto first = thing.addObserver("k", [](const auto&) { throw std::runtime_error("broken"); });
    const auto second = thing.addObserver("k", hear());
    thing.set("k", 1);
    EXPECT_THAT(heard, ElementsAre("k"));
    EXPECT_THAT(log.lines(), ElementsAre("(ERROR) NSKeyValueObserving : broken"));
}

TEST_F(Foundation_NSKeyValueObserving, ObserversComeAndGoWhileAnotherThreadSets) {
    Thing thing;
    std::atomic<bool> isDone = false;
    std::thread setting([&] {
        while (!isDone) {
            thing.set("k", 1);
        }
    });
    for (int round = 0; round < 300; ++round) {
        auto counter = std::make_unique<std::atomic<int>>(0);
        auto token = thing.addObserver("k", [&counted = *counter](const auto&) { ++counted; });
        token.remove();
        counter.reset(); // a late call would write to freed memory
    }
    isDone = true;
    setting.join();
}
