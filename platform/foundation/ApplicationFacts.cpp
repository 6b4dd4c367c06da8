#include "platform/foundation/ApplicationFacts.h"

#include "BRAQAudio/platform/BRAQApplication.h"

#include <cerrno>
#include <mutex>
#include <utility>
#include <vector>

namespace braq {
namespace {

struct Known {
    std::mutex mutex;
    ApplicationFacts facts{.name = program_invocation_short_name};
    std::vector<std::function<void()>> watchers;
};

// Never destroyed: threads of drivers use it as long as the process runs.
Known& known() {
    static Known& all = *new Known;
    return all;
}

void set(std::string ApplicationFacts::*fact, const std::string& value) {
    std::vector<std::function<void()>> watchers;
    {
        const std::lock_guard lock(known().mutex);
        if (std::exchange(known().facts.*fact, value) == value) {
            return;
        }
        watchers = known().watchers;
    }
    for (const auto& changed : watchers) {
        changed();
    }
}

} // namespace

ApplicationFacts applicationFacts() {
    const std::lock_guard lock(known().mutex);
    return known().facts;
}

void watchApplicationFacts(std::function<void()> changed) {
    const std::lock_guard lock(known().mutex);
    known().watchers.push_back(std::move(changed));
}

} // namespace braq

using braq::ApplicationFacts;

void BRAQApplication::setName(const std::string& name) {
    braq::set(&ApplicationFacts::name, name.empty() ? program_invocation_short_name : name);
}
void BRAQApplication::setIconName(const std::string& name) { braq::set(&ApplicationFacts::iconName, name); }
void BRAQApplication::setRole(const std::string& role) { braq::set(&ApplicationFacts::role, role); }
void BRAQApplication::setTitle(const std::string& title) { braq::set(&ApplicationFacts::title, title); }

std::string BRAQApplication::name() { return braq::applicationFacts().name; }
std::string BRAQApplication::iconName() { return braq::applicationFacts().iconName; }
std::string BRAQApplication::role() { return braq::applicationFacts().role; }
std::string BRAQApplication::title() { return braq::applicationFacts().title; }
