#include "platform/hardware/drivers/pipewire/ApplicationName.h"

#include <cerrno>

const char* braq::pipewire::applicationName() { return program_invocation_short_name; }
