#pragma once

#include "tools/braq/terminal/Interruption.h"
#include "tools/braq/terminal/JobControl.h"
#include "tools/braq/terminal/Keyboard.h"
#include "tools/braq/terminal/Keys.h"

#include <BRAQAudio/BRAQAudio.h>

#include <chrono>
#include <span>
#include <vector>

/// Everything that a command with a keyboard waits for. Create it before any thread of the library. Main thread.
class Attention {
  public:
    using Clock = std::chrono::steady_clock;
    /// To wait without a limit.
    static constexpr Clock::time_point forever = Clock::time_point::max();

    /// What the command needs besides its work.
    enum class Needs {
        output, ///< it ends when nobody reads its output any more, or when the terminal of its keys is closed
        nothing,
    };

    /// What ended the wait.
    struct Happened {
        bool isToEnd = false; ///< interrupted, or something that the command needs is gone
        bool isToSuspend = false;
        std::vector<Key> keys{};
    };

    explicit Attention(Keyboard::Suspending suspending, Keyboard::Source keys = Keyboard::Source::standardInput,
                       Needs needs = Needs::output);

    /// Waits for an event, at most until `until`, and runs closures pending in the main queue. A unit that stops is an
    /// event, too.
    /// @param readable descriptors that also end the wait, when they are
    Happened wait(Clock::time_point until, std::span<const int> readable = {});

    /// Restores the terminal, suspends the program, and returns when it continues.
    void suspend();

  private:
    void readKeys(Happened& happened);

    const Interruption mInterruption;
    const JobControl mJobControl;
    Keyboard mKeyboard;
    bool mHasKeyboard = true; // until its terminal is closed
    const Needs mNeeds;
    Keys mKeys;
    const NSObserverToken mStops;
};
