#pragma once

#include "BRAQAudio/platform/export.h"

#include <memory>
#include <string>

/// Where a body of code has its translated texts: a directory with `LANGUAGE/LC_MESSAGES/TABLE.mo` files, as the C
/// library's gettext reads them. The language is that of the application's locale, which only the application sets
/// (`setlocale(LC_ALL, "")` at its start); without that every text is its key. Immutable. Any thread but an I/O thread.
class BRAQ_EXPORT NSBundle {
  public:
    /// A bundle over any directory.
    static std::shared_ptr<NSBundle> bundleWithLocaleDirectory(std::string directory);

    /// The bundle of this library: `../share/BRAQAudio-VERSION/locale` as seen from the folder of the file that holds the
    /// library's code, or else the directory that the library was built to be installed with.
    static std::shared_ptr<NSBundle> libraryBundle();

    /// The bundle of the running program: `../share/NAME/locale` as seen from its folder, NAME being its file name.
    static std::shared_ptr<NSBundle> mainBundle();

    const std::string& localeDirectory() const noexcept { return mLocaleDirectory; }

    /// The text for `key` in the strings table `table` (the text domain of that name), in UTF-8; the key itself where there
    /// is no translation. Tables of one name in several bundles do not disturb each other.
    std::string localizedString(const std::string& key, const std::string& table = "Localizable") const;

  private:
    explicit NSBundle(std::string localeDirectory);

    const std::string mLocaleDirectory;
};
