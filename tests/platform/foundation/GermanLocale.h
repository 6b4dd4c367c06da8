#pragma once

#include "tests/support/TemporaryFolder.h"

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <string>

/// Puts the process into German while it lives, in an encoding that `localedef` knows. The locale is compiled here, from the sources in Debian's package
/// `locales`, so that the tests show the same on machines that have no locale but C.UTF-8.
class GermanLocale {
  public:
    explicit GermanLocale(const std::string& encoding = "UTF-8") {
        const std::string name = "de_DE." + encoding;
        compile(encoding, name);
        ::setenv("LOCPATH", folder().c_str(), 1);
        ::unsetenv("LANGUAGE");
        mIsInForce = std::setlocale(LC_ALL, name.c_str()) != nullptr;
    }
    ~GermanLocale() {
        std::setlocale(LC_ALL, "C");
        ::unsetenv("LOCPATH");
    }
    GermanLocale(const GermanLocale&) = delete;
    GermanLocale& operator=(const GermanLocale&) = delete;

    bool isInForce() const { return mIsInForce; }

  private:
    // One folder for the whole process, because compiling takes a second.
    static const std::filesystem::path& folder() {
        static const braq::tests::TemporaryFolder folder;
        return folder.path();
    }

    static void compile(const std::string& encoding, const std::string& name) {
        const std::filesystem::path locale = folder() / name;
        if (!std::filesystem::exists(locale)) {
            const std::string command = "localedef -f " + encoding + " -i de_DE '" + locale.string() + "'";
            EXPECT_EQ(std::system(command.c_str()), 0) << "localedef needs the sources in the package locales";
        }
    }

    bool mIsInForce;
};
