#include "tools/braq/Arguments.h"

#include "tools/braq/play/PlayControls.h"
#include "tools/braq/record/RecordFormats.h"
#include "tools/braq/shared/TimeText.h"

#include <cmath>
#include <optional>
#include <string>

namespace {

/// A number for which `isAllowed`; the words say which ones that are.
template <class IsAllowed>
CLI::Validator numbers(const std::string& words, IsAllowed isAllowed) {
    return {[=](const std::string& text) {
                double value = 0.0;
                const bool isNumber = CLI::detail::lexical_cast(text, value);
                return isNumber && isAllowed(value) ? std::string() : "'" + text + "' is not " + words;
            },
            ""};
}

void addTime(CLI::App& command, const std::string& name, std::optional<double>& seconds, const std::string& words) {
    const auto refuse = [](const std::string& text) {
        return secondsIn(text) ? std::string() : "'" + text + "' is not a time, such as 90, 1:30 or 1:02:03.5";
    };
    command
        .add_option_function<std::string>(
            name, [&seconds](const std::string& text) { seconds = secondsIn(text); }, words)
        ->check(CLI::Validator(refuse, ""));
}

} // namespace

void addPlayArguments(CLI::App& play, PlayOptions& options) {
    play.add_option("file", options.files, "Played one after the other")->required();
    play.add_option("--device", options.device, "Its UID, or its name or part of it; else the default one");
    play.add_option("--speed", options.speed, "1 is the file's own; below 0 from the end backwards")
        ->check(numbers("a speed: 1/32 (0.03125) to 32, below 0 backwards", [](double speed) {
            constexpr double fastest = 32.0;
            return std::fabs(speed) >= 1.0 / fastest && std::fabs(speed) <= fastest;
        }));
    play.add_option("--volume", options.decibels, "In dB; 0 leaves the file as it is")
        ->check(numbers("a volume: -120 to 24 dB", [](double decibels) {
            constexpr double quietest = -120.0;
            constexpr double loudest = 24.0;
            return decibels >= quietest && decibels <= loudest;
        }));
    addTime(play, "--start", options.startSeconds, "Where the first file begins, as in 90, 1:30 or 1:02:03.5");
    play.add_flag("--loop", options.loop, "Play the file again and again, without a gap");
    play.add_flag("--unscaled-downmix", options.unscaledDownmix,
                  "Do not scale channels that are mixed for a device that has fewer: louder, may clip");
    play.footer(std::string("Keys: ") + PlayControls::help);
}

void addRecordArguments(CLI::App& record, RecordOptions& options) {
    record.add_option("file", options.file, "The ending of its name chooses its type")->required();
    record.add_option("--device", options.device, "Its UID, or its name or part of it; else the default one");
    record.add_option("--format", options.format, "What the file holds, see below; else the first one of its type");
    record.add_option("--channels", options.channels, "Those of the device to record, such as 1,2; else all")
        ->delimiter(',');
    addTime(record, "--duration", options.durationSeconds, "To record, as in 90, 1:30 or 1:02:03.5");
    record.add_option("--rate", options.rate, "Of the file, in frames a second; else that of the device")
        ->check(numbers("a rate: 1000 to 768000", [](double rate) {
            constexpr double lowest = 1000.0;
            constexpr double highest = 768000.0;
            return rate >= lowest && rate <= highest;
        }));
    record.add_flag("--force", options.force, "Replace a file that is there");
    record.footer("Files and formats:\n" + recordFormatsHelp() + "\nEnds with q, Ctrl-C or the duration.");
}
