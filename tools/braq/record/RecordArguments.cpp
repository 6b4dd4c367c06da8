#include "tools/braq/record/RecordArguments.h"

#include "tools/braq/record/RecordCommand.h"
#include "tools/braq/record/RecordFormats.h"

#include <memory>

Run addRecord(CLI::App& record) {
    const auto options = std::make_shared<RecordOptions>();
    record.add_option("file", options->file, "The extension selects the file type; - is the standard output")
        ->required();
    record.add_option("--device", options->device, "UID or part of the name; else the default device");
    record.add_option("--format", options->format, "Format of the file, see below; else the first one of its type");
    record.add_option("--channels", options->channels, "Device channels to record, such as 1,2; else all")
        ->delimiter(',');
    addTime(record, "--duration", options->durationSeconds, "Length of the recording, such as 90, 1:30 or 1:02:03.5");
    record.add_option("--rate", options->rate, "Sample rate of the file in Hz; else that of the device")
        ->check(numbers("a rate: 1000 to 768000", [](double rate) {
            constexpr double lowest = 1000.0;
            constexpr double highest = 768000.0;
            return rate >= lowest && rate <= highest;
        }));
    record.add_flag("--force", options->force, "Replace an existing file");
    record.footer("Files and formats:\n" + recordFormatsHelp() +
                  "\nEnds with q, Ctrl-C or the duration. Space pauses and resumes. What goes to the\n"
                  "standard output states no length, and has no keys.");
    return [options] {
        runRecord(*options);
        return true;
    };
}
