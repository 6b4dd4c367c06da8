#pragma once

namespace braq {

/// What an observer's token owns.
class Registration {
  public:
    Registration() = default;
    virtual ~Registration() = default;
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;

    /// Ends the observation. When this returns, the closure is not running on another thread and is not called again.
    virtual void end() = 0;
};

} // namespace braq
