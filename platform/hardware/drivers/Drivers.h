#pragma once

#include "platform/hardware/drivers/Driver.h"

#include <functional>
#include <memory>
#include <vector>

namespace braq {

/// The drivers of the library, those first whose default devices are preferred.
std::vector<std::unique_ptr<Driver>> makeDrivers();

/// Has the hardware service start with these drivers instead, and without a loopback device of its own. For tests; before
/// anything asks the service.
void replaceDrivers(std::function<std::vector<std::unique_ptr<Driver>>()> make);

} // namespace braq
