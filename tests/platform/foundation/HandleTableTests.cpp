#include "platform/foundation/HandleTable.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

namespace {

using braq::HandleTable;

TEST(Foundation_HandleTable, FindsAnObjectByItsNumberUntilItIsTaken) {
    HandleTable<int> table;
    const auto one = table.add(std::make_shared<int>(1));
    const auto two = table.add(std::make_shared<int>(2));
    EXPECT_EQ(*table.find(one), 1);
    EXPECT_EQ(*table.find(two), 2);
    EXPECT_EQ(*table.take(one), 1);
    EXPECT_EQ(table.find(one), nullptr);
    EXPECT_EQ(table.take(one), nullptr);
    EXPECT_EQ(*table.find(two), 2);
}

TEST(Foundation_HandleTable, KnowsNoNumberThatItDidNotGive) {
    HandleTable<int> table;
    EXPECT_EQ(table.find(0), nullptr);
    EXPECT_EQ(table.find(1), nullptr);
    const auto number = table.add(std::make_shared<int>(1));
    EXPECT_NE(number, 0U);
    EXPECT_EQ(table.find(number + 1), nullptr);
    EXPECT_EQ(table.take(0), nullptr);
}

TEST(Foundation_HandleTable, UsesNoNumberAgain) {
    HandleTable<int> table;
    std::set<std::uintptr_t> numbers;
    for (int i = 0; i < 100; ++i) {
        const auto number = table.add(std::make_shared<int>(i));
        EXPECT_TRUE(numbers.insert(number).second);
        table.take(number);
    }
}

TEST(Foundation_HandleTable, KeepsAnObjectThatSomebodyUsesWhenItIsTaken) {
    HandleTable<int> table;
    const auto number = table.add(std::make_shared<int>(7));
    const auto used = table.find(number);
    table.take(number);
    EXPECT_EQ(*used, 7);
    EXPECT_EQ(used.use_count(), 1);
}

TEST(Foundation_HandleTable, GivesEachThreadNumbersOfItsOwn) {
    HandleTable<int> table;
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int id = 0; id < 4; ++id) {
        threads.emplace_back([&, id] {
            for (int i = 0; i < 1000; ++i) {
                const auto number = table.add(std::make_shared<int>(id));
                const auto found = table.find(number);
                wrong += found == nullptr || *found != id ? 1 : 0;
                wrong += table.take(number) == found ? 0 : 1;
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

} // namespace
