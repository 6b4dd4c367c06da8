#pragma once

#include <functional>
#include <string>

namespace braq {

/// What the program says about itself, see `BRAQApplication`. Any thread but an I/O thread.
struct ApplicationFacts {
    std::string name; ///< never empty
    std::string iconName{};
    std::string role{};
    std::string title{};
    bool operator==(const ApplicationFacts&) const = default;
};

ApplicationFacts applicationFacts();

/// Has `changed` called after each change, on the thread that makes it, with no lock held. For as long as the process
/// runs.
void watchApplicationFacts(std::function<void()> changed);

} // namespace braq
