// braq: what the library can do, from the command line.
//
// It ends with 0, also when it is interrupted while it watches and when nobody reads its output any more; with 1 after a
// failure; with 2 when the command line is wrong.

#include "DevicesCommand.h"
#include "MeterCommand.h"
#include "Output.h"

#include <BRAQAudio/BRAQAudio.h>
#include <CLI/CLI.hpp>

#include <clocale>
#include <csignal>
#include <cstdio>
#include <exception>
#include <sstream>
#include <string>

namespace {

constexpr int succeeded = 0;
constexpr int failed = 1;
constexpr int misused = 2;

int answerInstead(const CLI::App& app, const CLI::ParseError& error) {
    std::ostringstream output;
    std::ostringstream complaint;
    const int status = app.exit(error, output, complaint);
    writeOutput(output.str());
    std::fputs(complaint.str().c_str(), stderr);
    return status == 0 ? succeeded : misused;
}

// What the library says besides its errors, such as how its threads are scheduled, is not what a user of the tool asked for.
void logErrorsOnly(const std::string& line) {
    if (line.starts_with("(ERROR)")) {
        std::fprintf(stderr, "braq: %s\n", line.c_str());
    }
}

int run(int argc, char** argv) {
    CLI::App app("Looks at the audio devices of this machine and listens to them.", "braq");
    app.set_version_flag("--version", "braq " BRAQ_TOOL_VERSION);
    app.require_subcommand(1);

    DevicesOptions options;
    CLI::App* const devices = app.add_subcommand("devices", "List the audio devices");
    CLI::Option* const json = devices->add_flag("--json", options.json, "As JSON, for programs");
    devices->add_flag("--watch", options.watch, "Then tell of each change, until Ctrl-C")->excludes(json);

    MeterOptions meterOptions;
    CLI::App* const meter = app.add_subcommand("meter", "Show how loud a device's input is, until Ctrl-C");
    meter->add_option("device", meterOptions.device, "Its UID, or its name or part of it; else the default one");
    meter->add_option("--channels", meterOptions.channels, "Those to show, such as 1,2; else all")->delimiter(',');

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return answerInstead(app, error);
    }
    if (meter->parsed()) {
        runMeter(meterOptions);
    } else {
        runDevices(options);
    }
    return succeeded;
}

} // namespace

int main(int argc, char** argv) {
    std::setlocale(LC_ALL, "");
    std::signal(SIGPIPE, SIG_IGN);
    NSLogSetSink(logErrorsOnly);
    try {
        return run(argc, argv);
    } catch (const ReaderIsGone&) {
        return succeeded;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "braq: %s\n", failure.what());
        return failed;
    }
}
