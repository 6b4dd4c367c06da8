#include "tests/support/PrivateSoundServer.h"

#include <gmock/gmock.h>

#include <csignal>
#include <fstream>
#include <iterator>

namespace {

using braq::tests::ChildProcess;
using braq::tests::eventually;
using testing::HasSubstr;

// BRAQ_TOOL is the program's file.
class Tool_OnASoundServer : public testing::Test {
  protected:
    void SetUp() override {
        server.keep({.name = "test.sink", .more = "node.description=\"Speakers\""});
        server.keep({.name = "test.other", .positions = "MONO", .more = "node.description=Andere"});
        server.start();
        server.setDefaultSink("test.sink");
    }

    /// What the watching program has written so far.
    std::string written() const {
        std::ifstream file(mLog);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    bool eventuallyWrites(const std::string& text) const {
        return eventually([&] { return written().find(text) != std::string::npos; });
    }
    std::unique_ptr<ChildProcess> startWatching() {
        return std::make_unique<ChildProcess>(std::vector<std::string>{BRAQ_TOOL, "devices", "--watch"}, mLog);
    }

    braq::tests::PrivateSoundServer server;

  private:
    const std::string mLog = server.folder() / "braq.log";
};

TEST_F(Tool_OnASoundServer, ListsItsDevices) {
    const std::string json = server.run({BRAQ_TOOL, "devices", "--json"});
    EXPECT_TRUE(json.starts_with("{")) << "and nothing else is said";
    EXPECT_THAT(json, HasSubstr("\"uid\": \"test.sink\",\n      \"name\": \"Speakers\""));
    EXPECT_THAT(json, HasSubstr("\"uid\": \"test.sink.monitor\""));
    EXPECT_THAT(json, HasSubstr("\"uid\": \"test.other\",\n      \"name\": \"Andere\""));
    EXPECT_TRUE(eventually([&] {
        return server.run({BRAQ_TOOL, "devices"}).find("\nplay") != std::string::npos;
    })) << "the default";
}

TEST_F(Tool_OnASoundServer, TellsOfEachChangeUntilItIsInterrupted) {
    const auto tool = startWatching();
    ASSERT_TRUE(eventuallyWrites("test.sink\n"));
    server.create({.name = "test.new", .more = "node.description=New"});
    EXPECT_TRUE(eventuallyWrites("\nappeared: New (test.new)\n"));
    server.setDefaultSink("test.other");
    EXPECT_TRUE(eventuallyWrites("\ndefault for playback: Andere (test.other)\n"));
    server.destroy("test.new");
    EXPECT_TRUE(eventuallyWrites("\nvanished: New (test.new)\n"));
    tool->signal(SIGINT);
    EXPECT_EQ(tool->wait(), 0);
}

TEST_F(Tool_OnASoundServer, WatchesOnWhenTheServerGoesAndComesBack) {
    const auto tool = startWatching();
    ASSERT_TRUE(eventuallyWrites("test.sink\n"));
    server.kill();
    EXPECT_TRUE(eventuallyWrites("\nvanished: Speakers (test.sink)\n"));
    server.start();
    EXPECT_TRUE(eventuallyWrites("\nappeared: Speakers (test.sink)\n"));
    tool->signal(SIGTERM);
    EXPECT_EQ(tool->wait(), 0);
}

} // namespace
