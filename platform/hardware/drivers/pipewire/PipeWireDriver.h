#pragma once

#include "platform/hardware/drivers/Driver.h"

#include <memory>

namespace braq {

/// The sinks and sources of the desktop's sound server, and the monitors of its sinks.
///
/// A device's UID is its node's name, that of a monitor ends in ".monitor". The server is sought as its own programs do
/// (PIPEWIRE_REMOTE, XDG_RUNTIME_DIR); where there is none, or none any more, it is sought again until there is one.
class PipeWireDriver final : public Driver {
  public:
    void start(DriverHost& host) override;
};

std::unique_ptr<Driver> makePipeWireDriver();

} // namespace braq
