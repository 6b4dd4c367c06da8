#pragma once

namespace braq {

/// Marks, while it lives on a thread's stack, that this thread is in the middle of calling `callback`.
class CallInProgress {
  public:
    explicit CallInProgress(const void* callback) noexcept;
    ~CallInProgress();
    CallInProgress(const CallInProgress&) = delete;
    CallInProgress& operator=(const CallInProgress&) = delete;

    /// Whether the calling thread is in the middle of calling `callback`, at whatever depth.
    static bool isInside(const void* callback) noexcept;

  private:
    const void* const mCallback;
    const CallInProgress* const mOuter;
};

} // namespace braq
