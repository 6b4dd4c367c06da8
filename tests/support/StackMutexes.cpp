// Tests that share a process put their objects on the same stretch of stack. The standard library's mutexes end without a
// word, so that the thread sanitizer takes one test's for another's that lay there before, and finds that they are taken in
// different orders. After each test it is told that all of them are gone.

#include <gtest/gtest.h>
#include <sanitizer/tsan_interface.h>

#include <cstddef>

namespace {

class StackMutexes : public testing::EmptyTestEventListener {
  private:
    // What calls the tests, and lies on the stack above all that is theirs.
    void OnTestIterationStart(const testing::UnitTest& /*all*/, int /*iteration*/) override {
        mTop = static_cast<std::byte*>(__builtin_frame_address(0));
    }

    void OnTestEnd(const testing::TestInfo& /*test*/) override {
        constexpr std::size_t deepest = 256 * 1024; // of what tests put there
        for (std::size_t below = 0; below < deepest; below += sizeof(void*)) {
            __tsan_mutex_destroy(mTop - below, 0);
        }
    }

    std::byte* mTop = nullptr;
};

const bool isListening = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new StackMutexes);
    return true;
}();

} // namespace
