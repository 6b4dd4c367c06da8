#pragma once

#include <termios.h>

#include <optional>
#include <string>

/// The keys of the terminal, one by one and without echo; Ctrl-C stays a signal. There are none without a terminal or in
/// the background, or if the output goes elsewhere.
class Keyboard {
  public:
    /// What Ctrl-Z does.
    enum class Suspending { possible, impossible };

    /// Whose keys they are.
    enum class Source {
        standardInput,
        controllingTerminal, ///< because something else comes from the standard input
    };

    explicit Keyboard(Suspending suspending, Source source = Source::standardInput);
    /// Restores the terminal.
    ~Keyboard();
    Keyboard(const Keyboard&) = delete;
    Keyboard& operator=(const Keyboard&) = delete;

    /// Readable when a key was pressed; -1 without a keyboard.
    int descriptor() const noexcept { return mIsTaken ? mTerminal : -1; }
    /// The typed characters, without waiting; empty if they were discarded. @return nothing if the terminal was closed
    std::optional<std::string> read() const;

    /// Restore the terminal, and take it again, for example around a suspension. Idempotent.
    void release();
    void take();

  private:
    const Suspending mSuspending;
    const int mTerminal;
    bool mIsTaken = false;
    ::termios mBefore{}; // while taken
};
