#pragma once

#include <sys/types.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tool_test {

/// A program on a terminal of its own, with keys to press. It is killed when this object goes.
class TerminalProcess {
  public:
    explicit TerminalProcess(const std::vector<std::string>& arguments);
    ~TerminalProcess();
    TerminalProcess(const TerminalProcess&) = delete;
    TerminalProcess& operator=(const TerminalProcess&) = delete;

    void press(const std::string& keys) const;
    void signal(int number) const;
    /// What it has written so far.
    std::string written() const;
    /// Waits until it has ended.
    /// @return its exit status; 128 and the signal's number if a signal ended it
    int wait();

  private:
    void keepReading();

    int mTerminal = -1;
    pid_t mProcess = -1; // -1: has ended
    int mStatus = 0;
    mutable std::mutex mMutex;
    std::string mWritten; // under mMutex
    std::thread mReading;
};

} // namespace tool_test
