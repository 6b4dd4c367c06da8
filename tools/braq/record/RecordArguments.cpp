#include "tools/braq/record/RecordArguments.h"

#include "tools/braq/record/RecordCommand.h"
#include "tools/braq/record/RecordFormats.h"

#include <memory>

Run addRecord(CLI::App& record) {
    const auto options = std::make_shared<RecordOptions>();
    record.add_option("file", options->file, "The ending of its name chooses its type")->required();
    record.add_option("--device", options->device, "Its UID, or its name or part of it; else the default one");
    record.add_option("--format", options->format, "What the file holds, see below; else the first one of its type");
    record.add_option("--channels", options->channels, "Those of the device to record, such as 1,2; else all")
        ->delimiter(',');
    addTime(record, "--duration", options->durationSeconds, "To record, as in 90, 1:30 or 1:02:03.5");
    record.add_option("--rate", options->rate, "Of the file, in frames a second; else that of the device")
        ->check(numbers("a rate: 1000 to 768000", [](double rate) {
            constexpr double lowest = 1000.0;
            constexpr double highest = 768000.0;
            return rate >= lowest && rate <= highest;
        }));
    record.add_flag("--force", options->force, "Replace a file that is there");
    record.footer("Files and formats:\n" + recordFormatsHelp() + "\nEnds with q, Ctrl-C or the duration.");
    return [options] {
        runRecord(*options);
        return true;
    };
}
