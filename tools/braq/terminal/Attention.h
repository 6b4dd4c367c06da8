#pragma once

#include "tools/braq/terminal/Interruption.h"
#include "tools/braq/terminal/JobControl.h"
#include "tools/braq/terminal/Keyboard.h"
#include "tools/braq/terminal/Keys.h"

#include <chrono>
#include <vector>

/// Everything that a command with a keyboard waits for. Create it before any thread of the library. Main thread.
class Attention {
  public:
    using Clock = std::chrono::steady_clock;

    /// What ended the wait.
    struct Happened {
        bool isToEnd = false; ///< interrupted, or the terminal or the reader of the output is closed
        bool isToSuspend = false;
        std::vector<Key> keys{};
    };

    explicit Attention(Keyboard::Suspending suspending) : mKeyboard(suspending) {}

    /// Waits for an event, at most until `until`, and runs closures pending in the main queue.
    Happened wait(Clock::time_point until);

    /// Restores the terminal, suspends the program, and returns when it continues.
    void suspend();

  private:
    const Interruption mInterruption;
    const JobControl mJobControl;
    Keyboard mKeyboard;
    Keys mKeys;
};
