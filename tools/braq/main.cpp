// braq: what the library can do, from the command line.
//
// It ends with 0, also when it is interrupted and when nobody reads its output any more; with 1 after a
// failure; with 2 when the command line is wrong.

#include "tools/braq/Arguments.h"
#include "tools/braq/devices/DevicesCommand.h"
#include "tools/braq/info/InfoCommand.h"
#include "tools/braq/meter/MeterCommand.h"
#include "tools/braq/play/PlayCommand.h"
#include "tools/braq/record/RecordCommand.h"
#include "tools/braq/shared/Trouble.h"
#include "tools/braq/terminal/Output.h"

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

std::string problemOfSize(const std::string& text) {
    return pictureSizeFrom(text) ? "" : "a size is written like 1200x400, from 320x120 to 20000x20000";
}

// What does not end so is rather a file that the user wants to know of.
std::string problemOfPictureName(const std::string& text) {
    return text.ends_with(".png") ? "" : "the name of a picture ends in .png";
}

CLI::App* addInfo(CLI::App& app, InfoOptions& options) {
    CLI::App* const info = app.add_subcommand("info", "Show what is in audio files, and how loud it is");
    info->add_option("files", options.files, "Audio files")->required();
    info->add_flag("--json", options.json, "As JSON, for programs");
    CLI::Option* const waveform =
        info->add_option("--waveform", options.waveform, "Draw the waveform of the file into this PNG file")
            ->check(problemOfPictureName);
    info->add_option_function<std::string>(
            "--size", [&options](const std::string& text) { options.size = pictureSizeFrom(text); },
            "Width and height of the picture, such as 1200x400")
        ->check(problemOfSize)
        ->needs(waveform);
    info->callback([&options] {
        if (!options.waveform.empty() && options.files.size() > 1) {
            throw CLI::ValidationError("--waveform", "is for one file at a time");
        }
    });
    return info;
}

/// From version 2.5 on, CLI11 would break the lines of tables in the help anew.
template <class Formatter>
void keepLines(Formatter& formatter) {
    if constexpr (requires { formatter.enable_footer_formatting(false); }) {
        formatter.enable_footer_formatting(false);
        formatter.enable_description_formatting(false);
    }
}

int run(int argc, char** argv) {
    CLI::App app("Plays and records audio files, and looks at files and audio devices.", "braq");
    keepLines(*app.get_formatter());
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

    PlayOptions playOptions;
    CLI::App* const play = app.add_subcommand("play", "Play audio files");
    addPlayArguments(*play, playOptions);

    RecordOptions recordOptions;
    CLI::App* const record = app.add_subcommand("record", "Record a device's input into an audio file");
    addRecordArguments(*record, recordOptions);

    InfoOptions infoOptions;
    const CLI::App* const info = addInfo(app, infoOptions);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return answerInstead(app, error);
    }
    if (info->parsed()) {
        return runInfo(infoOptions) ? succeeded : failed;
    }
    if (play->parsed()) {
        return runPlay(playOptions) ? succeeded : failed;
    }
    if (record->parsed()) {
        runRecord(recordOptions);
    } else if (meter->parsed()) {
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
    } catch (const WrongUsage& misuse) {
        std::fprintf(stderr, "braq: %s\nRun with --help for more information.\n", misuse.what());
        return misused;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "braq: %s\n", reasonOf(failure).c_str());
        return failed;
    }
}
