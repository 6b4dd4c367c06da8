#include "tools/braq/meter/MeterArguments.h"

#include "tools/braq/meter/MeterCommand.h"

#include <memory>

Run addMeter(CLI::App& meter) {
    const auto options = std::make_shared<MeterOptions>();
    meter.add_option("device", options->device, "UID or part of the name; else the default device");
    meter.add_option("--channels", options->channels, "Channels to show, such as 1,2; else all")->delimiter(',');
    return [options] {
        runMeter(*options);
        return true;
    };
}
