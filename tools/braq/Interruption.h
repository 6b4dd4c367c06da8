#pragma once

/// Ctrl-C, SIGTERM and a terminal that is closed, as something to wait for. Made before any other thread is, so that none of
/// them is interrupted.
class Interruption {
  public:
    /// Throws std::system_error.
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// Readable once the program is to end.
    int descriptor() const noexcept { return mDescriptor; }

  private:
    int mDescriptor;
};
