#include "tools/braq/shared/Arguments.h"

#include "tools/braq/shared/TimeText.h"

void addTime(CLI::App& command, const std::string& name, std::optional<double>& seconds, const std::string& words) {
    const auto refuse = [](const std::string& text) {
        return secondsIn(text) ? std::string() : "'" + text + "' is not a time, such as 90, 1:30 or 1:02:03.5";
    };
    command
        .add_option_function<std::string>(
            name, [&seconds](const std::string& text) { seconds = secondsIn(text); }, words)
        ->check(CLI::Validator(refuse, ""));
}
