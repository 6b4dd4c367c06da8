#pragma once

#include <chrono>
#include <cstdint>
#include <string>

/// A line on the terminal that says how far a long piece of work is, and is gone when that is done. Nothing if the standard
/// error is no terminal.
class Progress {
  public:
    /// @param of what is worked at; printable
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
