#include "BRAQAudio/platform/foundation/NSNotificationCenter.h"

#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

struct Unit {
    int number = 0;
};

NSNotificationCenter& center() { return NSNotificationCenter::defaultCenter(); }

void post(const std::string& name) { center().postNotification(NSNotification(name)); }

static_assert(!std::is_copy_constructible_v<NSObserverToken> && std::is_nothrow_move_constructible_v<NSObserverToken>);

} // namespace

TEST(Foundation_NSNotificationCenter, CallsAnObserverWithNameObjectAndDetailsOnThePostingThread) {
    const auto unit = std::make_shared<Unit>(Unit{7});
    int calls = 0;
    const auto token = center().addObserver("DidStart", nullptr, [&](const NSNotification& notification) {
        ++calls;
        EXPECT_EQ(notification.name(), "DidStart");
        EXPECT_EQ(notification.object<Unit>(), unit);
        EXPECT_EQ(notification.identity(), unit);
        EXPECT_EQ(std::get<std::int64_t>(notification.userInfo().at("key")), 3);
    });
    center().postNotification(NSNotification("DidStart", unit, {{"key", std::int64_t{3}}}));
    EXPECT_EQ(calls, 1); // it was synchronous
}

TEST(Foundation_NSNotificationCenter, AnObjectIsAnsweredOnlyUnderTheTypeItWasPostedAs) {
    const NSNotification notification("name", std::make_shared<Unit>());
    EXPECT_NE(notification.object<Unit>(), nullptr);
    EXPECT_EQ(notification.object<const Unit>(), nullptr);
    EXPECT_EQ(notification.object<int>(), nullptr);
    EXPECT_EQ(NSNotification("name").object<Unit>(), nullptr);
    EXPECT_EQ(NSNotification("name").identity(), nullptr);
}

TEST(Foundation_NSNotificationCenter, ANotificationKeepsItsObjectAlive) {
    auto unit = std::make_shared<Unit>(Unit{7});
    const NSNotification notification("name", unit);
    unit.reset();
    EXPECT_EQ(notification.object<Unit>()->number, 7);
}

TEST(Foundation_NSNotificationCenter, OnlyTheNameAskedForIsHeard) {
    std::vector<std::string> heard;
    const auto token = center().addObserver(
        "a", nullptr, [&](const NSNotification& notification) { heard.push_back(notification.name()); });
    post("b");
    post("");
    post("a");
    EXPECT_THAT(heard, ElementsAre("a"));
}

TEST(Foundation_NSNotificationCenter, OnlyTheObjectAskedForIsHeard) {
    const auto one = std::make_shared<Unit>(Unit{1});
    const auto two = std::make_shared<Unit>(Unit{2});
    std::vector<int> heard;
    const auto token = center().addObserver(
        "name", one, [&](const NSNotification& notification) { heard.push_back(notification.object<Unit>()->number); });
    center().postNotification(NSNotification("name", two));
    center().postNotification(NSNotification("name"));
    center().postNotification(NSNotification("name", std::shared_ptr<Unit>()));
    center().postNotification(NSNotification("name", one));
    EXPECT_THAT(heard, ElementsAre(1));
}

TEST(Foundation_NSNotificationCenter, ObservingAnObjectDoesNotKeepItAliveAndNoLaterObjectIsMistakenForIt) {
    alignas(Unit) unsigned char memory[sizeof(Unit)];
    const auto madeInThatMemory = [&] {
        return std::shared_ptr<Unit>(new (memory) Unit, [](Unit* unit) { unit->~Unit(); });
    };
    auto unit = madeInThatMemory();
    int calls = 0;
    const auto token = center().addObserver("name", unit, [&](const NSNotification&) { ++calls; });
    const std::weak_ptr<Unit> weak = unit;
    unit.reset();
    EXPECT_TRUE(weak.expired());
    unit = madeInThatMemory();
    center().postNotification(NSNotification("name", unit));
    center().postNotification(NSNotification("name"));
    EXPECT_EQ(calls, 0);
}

TEST(Foundation_NSNotificationCenter, ObserversAreCalledInTheOrderInWhichTheyWereAdded) {
    std::vector<int> heard;
    std::vector<NSObserverToken> tokens;
    tokens.reserve(5);
    for (int index = 0; index < 5; ++index) {
        tokens.push_back(
            center().addObserver("name", nullptr, [&heard, index](const auto&) { heard.push_back(index); }));
    }
    tokens.erase(tokens.begin() + 2);
    post("name");
    EXPECT_THAT(heard, ElementsAre(0, 1, 3, 4));
}

TEST(Foundation_NSNotificationCenter, TheObserverGoesWithItsToken) {
    int calls = 0;
    auto held = std::make_shared<int>();
    {
        const auto token = center().addObserver("name", nullptr, [&calls, held](const auto&) { ++calls; });
        post("name");
        EXPECT_EQ(held.use_count(), 2);
    }
    EXPECT_EQ(held.use_count(), 1);
    post("name");
    EXPECT_EQ(calls, 1);
}

TEST(Foundation_NSNotificationCenter, ATokenRemovesWhenToldToAndOnlyOnce) {
    int calls = 0;
    auto token = center().addObserver("name", nullptr, [&](const auto&) { ++calls; });
    token.remove();
    token.remove();
    post("name");
    EXPECT_EQ(calls, 0);
}

TEST(Foundation_NSNotificationCenter, AMovedTokenKeepsItsObserverAndAssigningRemovesTheOldOne) {
    std::string heard;
    auto token = center().addObserver("name", nullptr, [&](const auto&) { heard += 'a'; });
    NSObserverToken moved(std::move(token));
    post("name");
    EXPECT_EQ(heard, "a");
    moved = center().addObserver("name", nullptr, [&](const auto&) { heard += 'b'; });
    post("name");
    EXPECT_EQ(heard, "ab");
    moved = NSObserverToken();
    post("name");
    EXPECT_EQ(heard, "ab");
}

TEST(Foundation_NSNotificationCenter, AnObserverMayRemoveItself) {
    int calls = 0;
    NSObserverToken token;
    token = center().addObserver("name", nullptr, [&](const auto&) {
        ++calls;
        token.remove();
    });
    post("name");
    post("name");
    EXPECT_EQ(calls, 1);
}

TEST(Foundation_NSNotificationCenter, OneThatIsRemovedBeforeItsTurnIsNotCalled) {
    std::string heard;
    NSObserverToken second;
    const auto first = center().addObserver("name", nullptr, [&](const auto&) {
        heard += 'a';
        second.remove();
    });
    second = center().addObserver("name", nullptr, [&](const auto&) { heard += 'b'; });
    post("name");
    EXPECT_EQ(heard, "a");
}

TEST(Foundation_NSNotificationCenter, OneThatIsAddedWhilePostingHearsTheNextPost) {
    std::string heard;
    NSObserverToken added;
    const auto token = center().addObserver("name", nullptr, [&](const auto&) {
        heard += 'a';
        added = center().addObserver("name", nullptr, [&](const auto&) { heard += 'b'; });
    });
    post("name");
    EXPECT_EQ(heard, "a");
    post("name");
    EXPECT_EQ(heard, "aa"); // the second post replaced the one it was about to call
    added.remove();
    heard.clear();
    const auto late = center().addObserver("name", nullptr, [&](const auto&) { heard += 'c'; });
    post("name");
    EXPECT_EQ(heard, "ac");
}

TEST(Foundation_NSNotificationCenter, AnObserverMayPost) {
    std::string heard;
    const auto outer = center().addObserver("outer", nullptr, [&](const auto&) {
        heard += '(';
        post("inner");
        heard += ')';
    });
    const auto inner = center().addObserver("inner", nullptr, [&](const auto&) { heard += 'i'; });
    post("outer");
    EXPECT_EQ(heard, "(i)");
}

TEST(Foundation_NSNotificationCenter, WhatAnObserverThrowsIsLoggedAndTheOthersAreCalled) {
    const braq::tests::CapturedLog log;
    int calls = 0;
    const auto first = center().addObserver("name", nullptr, [](const auto&) { throw std::runtime_error("broken"); });
    const auto second = center().addObserver("name", nullptr, [](const auto&) { throw 1; });
    const auto third = center().addObserver("name", nullptr, [&](const auto&) { ++calls; });
    EXPECT_NO_THROW(post("name"));
    EXPECT_EQ(calls, 1);
    EXPECT_THAT(log.lines(),
                ElementsAre("(ERROR) NSNotificationCenter : broken",
                            "(ERROR) NSNotificationCenter : something that is no std::exception was thrown"));
}

TEST(Foundation_NSNotificationCenter, NoLockIsHeldWhileAnObserverRuns) {
    const braq::tests::CapturedLog log;
    const auto token = center().addObserver("name", nullptr, [&](const auto&) {
        std::async(std::launch::async, [] {
            const auto other = center().addObserver("name", nullptr, [](const auto&) {});
            post("another name");
        }).get(); // would wait for ever for a lock that this thread holds
    });
    post("name");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Foundation_NSNotificationCenter, RemovalWaitsForACallOnAnotherThread) {
    std::promise<void> isInside;
    std::promise<void> mayLeave;
    std::atomic<bool> isOver = false;
    auto token = center().addObserver("name", nullptr, [&](const auto&) {
        isInside.set_value();
        mayLeave.get_future().wait();
        isOver = true;
    });
    std::thread posting([] { post("name"); });
    isInside.get_future().wait();
    auto removing = std::async(std::launch::async, [&] {
        token.remove();
        return isOver.load();
    });
    EXPECT_EQ(removing.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    mayLeave.set_value();
    EXPECT_TRUE(removing.get());
    posting.join();
}

TEST(Foundation_NSNotificationCenter, ThreadsMayPostAddAndRemoveAtOnce) {
    std::atomic<bool> isDone = false;
    std::vector<std::thread> posting;
    posting.reserve(2);
    for (int index = 0; index < 2; ++index) {
        posting.emplace_back([&] {
            while (!isDone) {
                post("name");
            }
        });
    }
    for (int round = 0; round < 300; ++round) {
        auto counter = std::make_unique<std::atomic<int>>(0);
        auto token = center().addObserver("name", nullptr, [&counted = *counter](const auto&) { ++counted; });
        post("name");
        EXPECT_GE(counter->load(), 1);
        token.remove();
        counter.reset(); // a late call would write to freed memory
    }
    isDone = true;
    for (std::thread& thread : posting) {
        thread.join();
    }
}
