#include "library/src/BRAQLostStretches.h"

#include "tests/support/RealtimeGuard.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <utility>
#include <vector>

namespace {

using braq::tests::runRealtime;

std::vector<std::pair<UInt64, UInt64>> takeAll(BRAQLostStretches& stretches) {
    std::vector<std::pair<UInt64, UInt64>> all;
    for (auto first = stretches.first(); first; first = stretches.first()) {
        all.emplace_back(first->frame, first->frames);
        stretches.removeFirst();
    }
    return all;
}

TEST(LostStretches, AreTakenInTheOrderInWhichTheyWereAdded) {
    BRAQLostStretches stretches;
    EXPECT_FALSE(stretches.first());
    runRealtime([&] {
        stretches.add({100, 7});
        stretches.add({100, 8});
        stretches.add({300, 9});
    });
    EXPECT_EQ(stretches.first()->frame, 100U);
    EXPECT_EQ(stretches.first()->frames, 7U) << "it stays until it is removed";
    EXPECT_EQ(takeAll(stretches), (std::vector<std::pair<UInt64, UInt64>>{{100, 7}, {100, 8}, {300, 9}}));
    EXPECT_FALSE(stretches.first());
}

TEST(LostStretches, ThatFindNoRoomBecomeOneAndNoFrameIsForgotten) {
    BRAQLostStretches stretches;
    for (UInt64 i = 0; i < 70; ++i) {
        stretches.add({i * 10, 1});
    }
    auto taken = takeAll(stretches);
    ASSERT_EQ(taken.size(), 64U);
    EXPECT_EQ(taken.back(), (std::pair<UInt64, UInt64>{630, 1}));
    stretches.add({2000, 1});
    taken = takeAll(stretches);
    ASSERT_EQ(taken.size(), 1U);
    EXPECT_EQ(taken.front(), (std::pair<UInt64, UInt64>{640, 7})) << "six waited, and one is new";
}

TEST(LostStretches, AreAddedAndTakenByTwoThreads) {
    constexpr UInt64 all = 100'000;
    BRAQLostStretches stretches;
    std::atomic<bool> isDone{false};
    std::thread adding([&] {
        for (UInt64 i = 1; i <= all; ++i) {
            stretches.add({i, 1});
        }
        isDone = true;
    });
    UInt64 frames = 0;
    UInt64 last = 0;
    const auto take = [&] {
        for (const auto& [frame, lost] : takeAll(stretches)) {
            EXPECT_GT(frame, last);
            last = frame;
            frames += lost;
        }
    };
    while (!isDone) {
        take();
    }
    adding.join();
    take();
    stretches.add({all + 1, 1}); // brings along what waits
    take();
    EXPECT_EQ(frames, all + 1);
}

} // namespace
