#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace braq::tests {

/// A program that a test runs. It dies with the thread that started it, and is killed when this object goes.
class ChildProcess {
  public:
    /// Starts `arguments[0]`, found along PATH, with what it writes appended to the file `log`.
    ChildProcess(const std::vector<std::string>& arguments, const std::string& log);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    void signal(int number) const;
    /// Waits until it has ended.
    /// @return its exit status; that of a program that a signal ended is 128 and the signal's number
    int wait();
    /// As the system numbers it, until it has ended.
    pid_t id() const noexcept { return mProcess; }
    /// Whether it runs.
    bool isRunning();

  private:
    pid_t mProcess = -1; // -1: has ended
    int mStatus = 0;
};

} // namespace braq::tests
