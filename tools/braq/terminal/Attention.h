#pragma once

#include "tools/braq/terminal/Interruption.h"
#include "tools/braq/terminal/JobControl.h"
#include "tools/braq/terminal/Keyboard.h"
#include "tools/braq/terminal/Keys.h"

#include <chrono>
#include <vector>

/// Everything that a command with a keyboard waits for. Made before any thread of the library is. Main thread.
class Attention {
  public:
    using Clock = std::chrono::steady_clock;

    /// What happened while it waited.
    struct Happened {
        bool isToEnd = false; ///< interrupted, or the terminal or who reads the output is gone
        bool isToSuspend = false;
        std::vector<Key> keys{};
    };

    explicit Attention(Keyboard::Suspending suspending) : mKeyboard(suspending) {}

    /// Waits until something happens or `until` is there, and runs what waits in the main queue.
    Happened wait(Clock::time_point until);

    /// Suspends the program, its terminal given back, and returns when it goes on.
    void suspend();

  private:
    const Interruption mInterruption;
    const JobControl mJobControl;
    Keyboard mKeyboard;
    Keys mKeys;
};
