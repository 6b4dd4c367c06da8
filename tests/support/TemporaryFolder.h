#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace braq::tests {

/// A new empty folder that goes, with what is in it, when this does.
class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string name = ::testing::TempDir() + "/braq-XXXXXX";
        if (::mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        mPath = std::filesystem::canonical(name);
    }
    ~TemporaryFolder() {
        std::error_code error;
        std::filesystem::remove_all(mPath, error);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return mPath; }

  private:
    std::filesystem::path mPath;
};

} // namespace braq::tests
