#pragma once

#include <memory>

namespace braq {

class SoftwareDevice;

/// The fallback device of a system without a sound server, so that everything works there: what is played on it is
/// recorded from it. One thread at a time.
class LoopbackFallback {
  public:
    static constexpr const char* uid = "BRAQAudio.loopback";

    /// Adds or removes the device. Idempotent.
    void setIsNeeded(bool isNeeded);

  private:
    std::shared_ptr<SoftwareDevice> mDevice;
};

} // namespace braq
