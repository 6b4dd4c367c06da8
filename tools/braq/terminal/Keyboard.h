#pragma once

#include <termios.h>

#include <optional>
#include <string>

/// The keys of the controlling terminal, one by one and without echo; Ctrl-C stays a signal. There are none without a
/// terminal or in the background.
class Keyboard {
  public:
    /// What Ctrl-Z does.
    enum class Suspending { possible, impossible };

    explicit Keyboard(Suspending suspending) : mSuspending(suspending) { take(); }
    /// Restores the terminal.
    ~Keyboard() { release(); }
    Keyboard(const Keyboard&) = delete;
    Keyboard& operator=(const Keyboard&) = delete;

    /// Readable when a key was pressed; -1 without a keyboard.
    int descriptor() const noexcept { return mDescriptor; }
    /// The typed characters, without waiting; empty if they were discarded. @return nothing if the terminal was closed
    std::optional<std::string> read() const;

    /// Restore the terminal, and take it again, for example around a suspension. Idempotent.
    void release();
    void take();

  private:
    const Suspending mSuspending;
    int mDescriptor = -1;
    ::termios mBefore{}; // while taken
};
