#pragma once

#include "platform/hardware/drivers/Driver.h"

#include <memory>

namespace braq {

/// The sinks and sources of the desktop's sound server, and the monitors of its sinks.
///
/// A device's UID is the name of its node; that of a monitor ends in ".monitor". The server is found as its own
/// programs find it (PIPEWIRE_REMOTE, XDG_RUNTIME_DIR). If there is none, or it is gone, the driver retries until there
/// is one.
class PipeWireDriver final : public Driver {
  public:
    void start(DriverHost& host) override;
};

std::unique_ptr<Driver> makePipeWireDriver();

} // namespace braq
