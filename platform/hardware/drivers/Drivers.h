#pragma once

#include "platform/hardware/drivers/Driver.h"

#include <functional>
#include <memory>
#include <vector>

namespace braq {

/// The drivers of the library. The default devices of earlier ones take precedence.
std::vector<std::unique_ptr<Driver>> makeDrivers();

/// Makes the hardware service start with these drivers instead, and without the loopback fallback. For tests; before
/// the first use of the service.
void replaceDrivers(std::function<std::vector<std::unique_ptr<Driver>>()> make);

} // namespace braq
