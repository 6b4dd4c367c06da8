#include "tools/braq/devices/DevicesArguments.h"

#include "tools/braq/devices/DevicesCommand.h"

#include <memory>

Run addDevices(CLI::App& devices) {
    const auto options = std::make_shared<DevicesOptions>();
    CLI::Option* const json = devices.add_flag("--json", options->json, "As JSON, for programs");
    devices.add_flag("--watch", options->watch, "Then report changes, until Ctrl-C")->excludes(json);
    return [options] {
        runDevices(*options);
        return true;
    };
}
