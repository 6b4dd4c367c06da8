// braq: the command-line program of the library.
//
// Exit status: 0 on success, also if interrupted or if the reader closes the pipe; 1 after a failure; 2 if the command
// line is wrong.

#include "tools/braq/devices/DevicesArguments.h"
#include "tools/braq/info/InfoArguments.h"
#include "tools/braq/meter/MeterArguments.h"
#include "tools/braq/play/PlayArguments.h"
#include "tools/braq/record/RecordArguments.h"
#include "tools/braq/shared/Nearest.h"
#include "tools/braq/shared/Text.h"
#include "tools/braq/shared/Trouble.h"
#include "tools/braq/terminal/Output.h"

#include <BRAQAudio/BRAQAudio.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <exception>
#include <iterator>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int succeeded = 0;
constexpr int failed = 1;
constexpr int misused = 2;

struct Subcommand {
    const char* name;
    const char* purpose;
    Run (*add)(CLI::App& command);
};
// In the order in which the help lists them.
constexpr Subcommand subcommands[] = {
    {"devices", "List the audio devices", addDevices},
    {"meter", "Show the input level of a device, until Ctrl-C", addMeter},
    {"play", "Play audio files", addPlay},
    {"record", "Record a device's input into an audio file", addRecord},
    {"info", "Show the format and levels of audio files", addInfo},
};

// What CLI11 says of such a word is that a subcommand is missing.
void refuseOtherSubcommand(int argc, char** argv) {
    if (argc < 2 || argv[1][0] == '-') {
        return;
    }
    std::vector<std::string> names;
    std::ranges::transform(subcommands, std::back_inserter(names), &Subcommand::name);
    if (std::ranges::count(names, argv[1]) != 0) {
        return;
    }
    const std::string unknown = "there is no subcommand '" + printable(argv[1]) + "'";
    if (const auto meant = nearest(argv[1], names)) {
        throw WrongUsage(unknown + "; did you mean '" + *meant + "'?");
    }
    std::string all;
    for (const std::string& name : names) {
        all += (all.empty() ? "" : ", ") + name;
    }
    throw WrongUsage(unknown + "; there are: " + all);
}

int answerInstead(const CLI::App& app, const CLI::ParseError& error) {
    std::ostringstream output;
    std::ostringstream complaint;
    const int status = app.exit(error, output, complaint);
    writeOutput(output.str());
    std::fputs(complaint.str().c_str(), stderr);
    return status == 0 ? succeeded : misused;
}

// Users of the tool want errors only, not the library's other messages, such as how its threads are scheduled.
void logErrorsOnly(const std::string& line) {
    if (line.starts_with("(ERROR)")) {
        std::fprintf(stderr, "braq: %s\n", line.c_str());
    }
}

/// From version 2.5 on, CLI11 would rewrap the lines of tables in the help.
template <class Formatter>
void keepLines(Formatter& formatter) {
    if constexpr (requires { formatter.enable_footer_formatting(false); }) {
        formatter.enable_footer_formatting(false);
        formatter.enable_description_formatting(false);
    }
}

int run(int argc, char** argv) {
    CLI::App app("Plays and records audio files, and inspects files and audio devices.", "braq");
    keepLines(*app.get_formatter());
    app.set_version_flag("--version", "braq " BRAQ_TOOL_VERSION);
    app.require_subcommand(1);

    std::vector<std::pair<const CLI::App*, Run>> added;
    for (const Subcommand& each : subcommands) {
        CLI::App* const command = app.add_subcommand(each.name, each.purpose);
        added.emplace_back(command, each.add(*command));
    }
    refuseOtherSubcommand(argc, argv);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return answerInstead(app, error);
    }
    const auto asked = std::ranges::find_if(added, [](const auto& one) { return one.first->parsed(); });
    return asked->second() ? succeeded : failed;
}

} // namespace

int main(int argc, char** argv) {
    holdClosedStreams();
    std::setlocale(LC_ALL, "");
    std::signal(SIGPIPE, SIG_IGN);
    NSLogSetSink(logErrorsOnly);
    try {
        return run(argc, argv);
    } catch (const ReaderIsGone&) {
        return succeeded;
    } catch (const WrongUsage& misuse) {
        std::fprintf(stderr, "braq: %s\nRun with --help for more information.\n", misuse.what());
        return misused;
    } catch (const std::exception&) {
        std::fprintf(stderr, "braq: %s\n", reasonOfCaughtException().c_str());
        return failed;
    }
}
