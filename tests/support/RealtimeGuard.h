#pragma once

#include <functional>

// Shows that code keeps the real-time rules: inside a marked scope an allocation, a free, a lock, or a system call other
// than waking a thread prints what it was and where, and ends the test.
//
// Allocator and lock functions are interposed in the test programs; system calls are caught by a seccomp filter on the
// guarded thread. Under a sanitizer, whose own runtime allocates and calls the system, marked scopes run unguarded.

namespace braq::tests {

/// Whether scopes are guarded in this build.
bool realtimeGuardIsActive();

/// Runs `body` in a marked scope on a thread of its own and returns when it is done. What it throws ends the test.
void runRealtime(const std::function<void()>& body);

/// Inside `runRealtime`: code that the body needs but that is not part of what is shown, such as a test's own checks.
class RealtimePause {
  public:
    RealtimePause();
    ~RealtimePause();
    RealtimePause(const RealtimePause&) = delete;
    RealtimePause& operator=(const RealtimePause&) = delete;

  private:
    bool mWasMarked;
};

} // namespace braq::tests
