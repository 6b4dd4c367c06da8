#pragma once

namespace braq {

/// While it lives on a thread's stack, this thread is calling `callback`.
class CallInProgress {
  public:
    explicit CallInProgress(const void* callback) noexcept;
    ~CallInProgress();
    CallInProgress(const CallInProgress&) = delete;
    CallInProgress& operator=(const CallInProgress&) = delete;

    /// Whether the calling thread is inside a call of `callback`, at any depth.
    static bool isInside(const void* callback) noexcept;

  private:
    const void* const mCallback;
    const CallInProgress* const mOuter;
};

} // namespace braq
