#include "platform/hardware/drivers/pipewire/ApplicationName.h"

#include <cerrno>

namespace braq {

const char* pipewire::applicationName() { return program_invocation_short_name; }

} // namespace braq
