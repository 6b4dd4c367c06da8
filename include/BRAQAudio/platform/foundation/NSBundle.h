#pragma once

#include "BRAQAudio/platform/export.h"

#include <memory>
#include <string>

/// @addtogroup foundation
/// @{

/// A source of translated strings: a directory with `LANGUAGE/LC_MESSAGES/TABLE.mo` files in gettext format. The
/// language is that of the application's locale, which only the application sets (`setlocale(LC_ALL, "")` at its
/// start); without that, every string is its key. Immutable. Any thread but an I/O thread.
class BRAQ_EXPORT NSBundle {
  public:
    /// A bundle for any directory.
    static std::shared_ptr<NSBundle> bundleWithLocaleDirectory(std::string directory);

    /// The bundle of this library: `../share/BRAQAudio-VERSION/locale`, relative to the folder of the file with the
    /// library's code, or else the directory that the library was configured to be installed to.
    static std::shared_ptr<NSBundle> libraryBundle();

    /// The bundle of the running program: `../share/NAME/locale`, relative to its folder. NAME is its file name.
    static std::shared_ptr<NSBundle> mainBundle();

    const std::string& localeDirectory() const noexcept { return mLocaleDirectory; }

    /// The string for `key` in the table (text domain) `table`, in UTF-8; the key itself if there is no translation.
    /// Tables of the same name in different bundles do not interfere.
    std::string localizedString(const std::string& key, const std::string& table = "Localizable") const;

  private:
    explicit NSBundle(std::string localeDirectory);

    const std::string mLocaleDirectory;
};

/// @}
