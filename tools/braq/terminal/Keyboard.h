#pragma once

#include <termios.h>

#include <optional>
#include <string>

/// The keys of the terminal that the program was started from, one by one and without showing them; Ctrl-C stays a signal.
/// Without a terminal, or in its background, there are none.
class Keyboard {
  public:
    /// What Ctrl-Z does.
    enum class Suspending { possible, impossible };

    explicit Keyboard(Suspending suspending) : mSuspending(suspending) { take(); }
    /// Gives the terminal back as it was found.
    ~Keyboard() { release(); }
    Keyboard(const Keyboard&) = delete;
    Keyboard& operator=(const Keyboard&) = delete;

    /// Readable when a key was pressed; -1 without a keyboard.
    int descriptor() const noexcept { return mDescriptor; }
    /// What was typed, without waiting; empty when it has been taken back since. @return nothing when the terminal is closed
    std::optional<std::string> read() const;

    /// Gives the terminal back, and takes it again, as when the program is suspended and goes on. Harmless when repeated.
    void release();
    void take();

  private:
    const Suspending mSuspending;
    int mDescriptor = -1;
    ::termios mBefore{}; // while taken
};
