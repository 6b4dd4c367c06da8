#pragma once

#include "tests/support/PrivateSoundServer.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace tool_test {

constexpr double rate = 48000.0;
// Long cycles: a machine that is busy and gives no real-time scheduling keeps up with them all the same.
constexpr std::size_t cycle = 4096;

/// The tool, which BRAQ_TOOL names, on a sound server with one sink.
class ToolOnASink : public testing::Test {
  protected:
    void SetUp() override {
        server.configure("default.clock.quantum", std::to_string(cycle));
        server.configure("default.clock.max-quantum", "8192");
        server.keep({.name = "test.sink", .more = "node.description=Speakers"});
        server.start();
    }

    std::string path(const std::string& name) const { return folder.path() / name; }

    /// Starts the tool; what it writes goes to the file `name`.log.
    std::unique_ptr<braq::tests::ChildProcess> start(const std::string& name,
                                                     const std::vector<std::string>& arguments) const {
        std::vector<std::string> words{BRAQ_TOOL};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return std::make_unique<braq::tests::ChildProcess>(words, path(name + ".log"));
    }
    std::string written(const std::string& name) const {
        std::ifstream file(path(name + ".log"));
        return {std::istreambuf_iterator<char>(file), {}};
    }
    bool eventuallyWrites(const std::string& name, const std::string& text) const {
        return braq::tests::eventually([&] { return written(name).find(text) != std::string::npos; });
    }

    braq::tests::PrivateSoundServer server;
    braq::tests::TemporaryFolder folder;
};

} // namespace tool_test
