#pragma once

#include <memory>

namespace braq {

class SoftwareDevice;

/// The device that a system without a sound server has, so that everything works there: what is played on it is
/// recorded from it. One thread at a time.
class LoopbackFallback {
  public:
    static constexpr const char* uid = "BRAQAudio.loopback";

    /// Has the device be there or not. Harmless when repeated.
    void setIsNeeded(bool isNeeded);

  private:
    std::shared_ptr<SoftwareDevice> mDevice;
};

} // namespace braq
