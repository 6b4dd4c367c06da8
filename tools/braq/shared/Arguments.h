#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <optional>
#include <string>

/// Runs a subcommand after the command line was parsed. @return whether nothing failed
using Run = std::function<bool()>;

/// Accepts a number for which `isAllowed`. The words describe such numbers.
template <class IsAllowed>
CLI::Validator numbers(const std::string& words, IsAllowed isAllowed) {
    return {[=](const std::string& text) {
                double value = 0.0;
                const bool isNumber = CLI::detail::lexical_cast(text, value);
                return isNumber && isAllowed(value) ? std::string() : "'" + text + "' is not " + words;
            },
            ""};
}

/// An option for a time, such as 90, 1:30 or 1:02:03.5.
void addTime(CLI::App& command, const std::string& name, std::optional<double>& seconds, const std::string& words);
