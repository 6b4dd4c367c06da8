#include "platform/foundation/RevocableCallback.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using braq::RevocableCallback;

TEST(Foundation_RevocableCallback, CallsItsClosureWithTheArguments) {
    std::string heard;
    RevocableCallback<const std::string&, int> callback(
        [&](const std::string& text, int number) { heard = text + std::to_string(number); });
    EXPECT_TRUE(callback.call("a", 1));
    EXPECT_EQ(heard, "a1");
}

TEST(Foundation_RevocableCallback, IsNotCalledAfterItWasRevoked) {
    int calls = 0;
    RevocableCallback<> callback([&] { ++calls; });
    callback.revoke();
    callback.revoke();
    EXPECT_FALSE(callback.call());
    EXPECT_EQ(calls, 0);
}

TEST(Foundation_RevocableCallback, WhatTheClosureThrowsComesOutAndTheCallIsOver) {
    RevocableCallback<> callback([] { throw std::runtime_error("thrown"); });
    EXPECT_THROW(callback.call(), std::runtime_error);
    callback.revoke(); // would wait for ever for a call that is still counted
    EXPECT_FALSE(callback.call());
}

TEST(Foundation_RevocableCallback, RevokeReturnsOnlyWhenTheCallOnAnotherThreadIsOver) {
    std::promise<void> isInside;
    std::promise<void> mayLeave;
    std::atomic<bool> isOver = false;
    RevocableCallback<> callback([&, leave = mayLeave.get_future().share()] {
        isInside.set_value();
        leave.wait();
        isOver = true;
    });
    std::thread calling([&] { callback.call(); });
    isInside.get_future().wait();
    auto revoking = std::async(std::launch::async, [&] {
        callback.revoke();
        return isOver.load();
    });
    EXPECT_EQ(revoking.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    mayLeave.set_value();
    EXPECT_TRUE(revoking.get());
    calling.join();
}

TEST(Foundation_RevocableCallback, RevokedFromInsideItReturnsAtOnceAndIsNotCalledAgain) {
    int calls = 0;
    RevocableCallback<>* self = nullptr;
    RevocableCallback<> callback([&] {
        ++calls;
        self->revoke();
        EXPECT_FALSE(self->call());
    });
    self = &callback;
    EXPECT_TRUE(callback.call());
    EXPECT_FALSE(callback.call());
    EXPECT_EQ(calls, 1);
}

TEST(Foundation_RevocableCallback, RevokedFromInsideByTwoThreadsAtOnceNeitherWaitsForTheOther) {
    std::promise<void> isInside[2];
    std::atomic<int> inside = 0;
    RevocableCallback<>* self = nullptr;
    RevocableCallback<> callback([&] {
        const int index = inside++;
        isInside[index].set_value();
        isInside[1 - index].get_future().wait();
        self->revoke();
    });
    self = &callback;
    std::thread other([&] { callback.call(); });
    callback.call();
    other.join();
    EXPECT_EQ(inside, 2);
    EXPECT_FALSE(callback.call());
}

TEST(Foundation_RevocableCallback, RevokedDeepInsideItsOwnNestedCallsAndThoseOfAnotherItReturnsAtOnce) {
    RevocableCallback<>* self = nullptr;
    RevocableCallback<> other([&] { self->revoke(); });
    int depth = 0;
    RevocableCallback<> callback([&] {
        if (++depth < 3) {
            self->call();
        } else {
            other.call();
        }
    });
    self = &callback;
    EXPECT_TRUE(callback.call());
    EXPECT_EQ(depth, 3);
    EXPECT_FALSE(callback.call());
}

TEST(Foundation_RevocableCallback, RevokedFromInsideAfterACallOfAnotherHasEndedItReturnsAtOnce) {
    RevocableCallback<>* self = nullptr;
    RevocableCallback<> other([] {});
    RevocableCallback<> callback([&] {
        EXPECT_TRUE(other.call());
        self->revoke();
    });
    self = &callback;
    EXPECT_TRUE(callback.call());
    EXPECT_FALSE(callback.call());
}

TEST(Foundation_RevocableCallback, RevokeDestroysTheClosure) {
    auto held = std::make_shared<int>(0);
    RevocableCallback<> callback([held] {});
    EXPECT_EQ(held.use_count(), 2);
    callback.revoke();
    EXPECT_EQ(held.use_count(), 1);
}

TEST(Foundation_RevocableCallback, RevokedFromInsideTheClosureIsDestroyedWhenItsCallEnds) {
    auto held = std::make_shared<int>(0);
    RevocableCallback<>* self = nullptr;
    RevocableCallback<> callback([&self, held] {
        self->revoke();
        EXPECT_EQ(held.use_count(), 2);
    });
    self = &callback;
    callback.call();
    EXPECT_EQ(held.use_count(), 1);
}

TEST(Foundation_RevocableCallback, RevokeOnAnotherThreadReturnsOnlyWhenTheClosureIsDestroyed) {
    std::atomic<bool> isDestroyed = false;
    std::shared_future<bool> revoking;
    struct Held {
        Held(std::shared_future<bool>& future, std::atomic<bool>& flag) : revoking(future), isDestroyed(flag) {}
        ~Held() {
            EXPECT_EQ(revoking.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
            isDestroyed = true;
        }
        std::shared_future<bool>& revoking;
        std::atomic<bool>& isDestroyed;
    };
    RevocableCallback<>* self = nullptr;
    RevocableCallback<> callback([&, held = std::make_shared<Held>(revoking, isDestroyed)] {
        self->revoke();
        const auto revoke = [&] {
            self->revoke();
            return isDestroyed.load();
        };
        held->revoking = std::async(std::launch::async, revoke).share();
    });
    self = &callback;
    callback.call();
    EXPECT_TRUE(revoking.get());
}

TEST(Foundation_RevocableCallback, WhatTheClosureHoldsMayRevokeItInItsDestructor) {
    struct Holder {
        explicit Holder(RevocableCallback<>*& of) : callback(of) {}
        ~Holder() { callback->revoke(); }
        RevocableCallback<>*& callback;
    };
    RevocableCallback<>* self = nullptr;
    auto holder = std::make_shared<Holder>(self);
    RevocableCallback<> callback([&self, holder] { self->revoke(); });
    self = &callback;
    holder.reset();
    EXPECT_TRUE(callback.call()); // the closure, and with it the holder, goes at the end of this call
    EXPECT_FALSE(callback.call());
}

TEST(Foundation_RevocableCallback, NoCallOutlivesRevokeHoweverManyThreadsCall) {
    for (int round = 0; round < 50; ++round) {
        auto counter = std::make_unique<std::atomic<int>>(0);
        RevocableCallback<> callback([&counted = *counter] { ++counted; });
        std::promise<void> hasBegun;
        std::vector<std::thread> threads;
        threads.emplace_back([&] {
            callback.call();
            hasBegun.set_value();
            while (callback.call()) {
            }
        });
        threads.emplace_back([&] {
            while (callback.call()) {
            }
        });
        hasBegun.get_future().wait();
        callback.revoke();
        EXPECT_GT(counter->load(), 0);
        counter.reset(); // a late call would write to freed memory
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
}
