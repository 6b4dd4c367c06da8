#include "BRAQAudio/platform/foundation/NSBundle.h"

#include "platform/foundation/LocaleDirectory.h"

#include <libintl.h>

#include <mutex>
#include <utility>

namespace {

// The C library binds a domain to one directory for the whole process. This mutex is held from binding to copying the
// text, so that bundles with tables of the same name are serialised.
std::mutex& bindingMutex() {
    // Never destroyed: threads that still run while the process exits may look up texts.
    static std::mutex& mutex = *new std::mutex;
    return mutex;
}

void bindTable(const std::string& table, const std::string& directory) {
    const char* bound = ::bindtextdomain(table.c_str(), nullptr);
    if (bound == nullptr || directory != bound) {
        ::bindtextdomain(table.c_str(), directory.c_str());
        ::bind_textdomain_codeset(table.c_str(), "UTF-8");
    }
}

} // namespace

NSBundle::NSBundle(std::string localeDirectory) : mLocaleDirectory(std::move(localeDirectory)) {}

std::shared_ptr<NSBundle> NSBundle::bundleWithLocaleDirectory(std::string directory) {
    return std::shared_ptr<NSBundle>(new NSBundle(std::move(directory)));
}

std::shared_ptr<NSBundle> NSBundle::libraryBundle() {
    // Determined once: a file loaded under a relative path is not found after the program changes its folder. Never
    // destroyed, as above.
    static const auto& bundle = *new auto(bundleWithLocaleDirectory(braq::libraryLocaleDirectory(
        braq::fileOfCode(reinterpret_cast<const void*>(&NSBundle::libraryBundle)), BRAQ_INSTALLED_LOCALE_DIR)));
    return bundle;
}

std::shared_ptr<NSBundle> NSBundle::mainBundle() {
    static const auto& bundle = *new auto([] {
        const std::filesystem::path program = braq::fileOfProgram();
        return bundleWithLocaleDirectory(braq::localeDirectoryBeside(program, program.filename()));
    }());
    return bundle;
}

std::string NSBundle::localizedString(const std::string& key, const std::string& table) const {
    if (key.empty()) {
        return key; // for an empty key gettext returns the catalogue's header
    }
    const std::lock_guard lock(bindingMutex());
    bindTable(table, mLocaleDirectory);
    return ::dgettext(table.c_str(), key.c_str());
}
