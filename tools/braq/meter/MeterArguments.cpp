#include "tools/braq/meter/MeterArguments.h"

#include "tools/braq/meter/MeterCommand.h"

#include <memory>

Run addMeter(CLI::App& meter) {
    const auto options = std::make_shared<MeterOptions>();
    meter.add_option("device", options->device, "Its UID, or its name or part of it; else the default one");
    meter.add_option("--channels", options->channels, "Those to show, such as 1,2; else all")->delimiter(',');
    return [options] {
        runMeter(*options);
        return true;
    };
}
