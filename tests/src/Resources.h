#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <thread>

// What objects of the library take of the system.
namespace resource_test {

inline std::ptrdiff_t entriesOf(const char* folder) {
    const std::filesystem::directory_iterator entries(folder);
    return std::distance(begin(entries), end(entries));
}
inline std::ptrdiff_t threads() { return entriesOf("/proc/self/task"); }
inline std::ptrdiff_t descriptors() { return entriesOf("/proc/self/fd"); }

/// Waits for other threads, for a minute at most. @return whether it came true
template <class Condition>
bool comesTrue(Condition isTrue) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!isTrue()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

/// Expects at its end that there are no more threads and descriptors than at its beginning.
class NothingLeft {
  public:
    NothingLeft() = default;
    ~NothingLeft() {
        EXPECT_TRUE(comesTrue([this] { return threads() <= mThreads; })) << threads() - mThreads << " threads are left";
        EXPECT_LE(descriptors(), mDescriptors);
    }
    NothingLeft(const NothingLeft&) = delete;
    NothingLeft& operator=(const NothingLeft&) = delete;

  private:
    const std::ptrdiff_t mThreads = threads();
    const std::ptrdiff_t mDescriptors = descriptors();
};

} // namespace resource_test
