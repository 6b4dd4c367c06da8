#pragma once

/// Ctrl-Z and continuing after it, as events to wait for. Create it before any other thread, so that none of them is
/// stopped.
class JobControl {
  public:
    /// Throws std::system_error.
    JobControl();
    ~JobControl();
    JobControl(const JobControl&) = delete;
    JobControl& operator=(const JobControl&) = delete;

    /// Readable when the program must be suspended, and when it continues.
    int descriptor() const noexcept { return mDescriptor; }
    /// Consumes the event. @return whether the program must be suspended
    bool isToSuspend() const;
    /// Suspends the program as Ctrl-Z does. Returns when it continues.
    static void suspend();

  private:
    int mDescriptor;
};
