#pragma once

#include <chrono>
#include <cstdint>
#include <string>

/// A progress line on the terminal, erased at the end. Nothing if the standard error is not a terminal.
class Progress {
  public:
    /// @param of name of the work; printable
    Progress(std::string of, std::int64_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void show(std::int64_t done);

  private:
    using Clock = std::chrono::steady_clock;

    const std::string mOf;
    const std::int64_t mTotal;
    const bool mIsTerminal;
    Clock::time_point mNext; // not again before
    bool mIsShown = false;
};
