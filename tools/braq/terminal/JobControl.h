#pragma once

/// Ctrl-Z, and going on after it, as something to wait for. Made before any other thread is, so that none of them is stopped.
class JobControl {
  public:
    /// Throws std::system_error.
    JobControl();
    ~JobControl();
    JobControl(const JobControl&) = delete;
    JobControl& operator=(const JobControl&) = delete;

    /// Readable when the program is to be suspended, and when it goes on.
    int descriptor() const noexcept { return mDescriptor; }
    /// Takes what made the descriptor readable. @return whether the program is to be suspended
    bool isToSuspend() const;
    /// Suspends the program as Ctrl-Z does, and returns when it goes on.
    static void suspend();

  private:
    int mDescriptor;
};
