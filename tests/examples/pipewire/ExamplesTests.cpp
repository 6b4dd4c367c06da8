#include "BRAQAudio/BRAQExtendedAudioFile.h"

#include "tests/support/PrivateSoundServer.h"

#include <gmock/gmock.h>

#include <csignal>
#include <fstream>
#include <iterator>

namespace {

using braq::tests::ChildProcess;
using braq::tests::eventually;
using testing::HasSubstr;

// BRAQ_EXAMPLES is the folder of the programs.
class Examples_OnASoundServer : public testing::Test {
  protected:
    void SetUp() override {
        server.keep({.name = "test.sink", .more = "node.description=Speakers"});
        server.keep(
            {.name = "test.microphone", .mediaClass = "Audio/Source/Virtual", .more = "node.description=Microphone"});
        server.start();
        server.setDefaultSink("test.sink");
        server.setDefaultSource("test.microphone");
    }

    std::unique_ptr<ChildProcess> start(const std::string& name, const std::vector<std::string>& arguments = {}) {
        std::vector<std::string> words{std::string(BRAQ_EXAMPLES "/example_").append(name)};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return std::make_unique<ChildProcess>(words, mLog);
    }
    /// What the program has written so far.
    std::string written() const {
        std::ifstream file(mLog);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    bool eventuallyWrites(const std::string& text) const {
        return eventually([&] { return written().find(text) != std::string::npos; });
    }

    braq::tests::PrivateSoundServer server;

  private:
    const std::string mLog = server.folder() / "example.log";
};

TEST_F(Examples_OnASoundServer, TheWatcherTellsOfDevicesThatComeAndGo) {
    const auto watcher = start("watch");
    ASSERT_TRUE(eventuallyWrites("here: Speakers, 2 out"));
    server.create({.name = "test.new", .more = "node.description=New"});
    EXPECT_TRUE(eventuallyWrites("\nhere: New, 2 out"));
    server.destroy("test.new");
    EXPECT_TRUE(eventuallyWrites("\ngone: New\n"));
    EXPECT_TRUE(watcher->isRunning());
}

TEST_F(Examples_OnASoundServer, TheRecorderCompletesItsFileWhenTheDeviceGoes) {
    const auto path = server.folder() / "a.wav";
    const auto recorder = start("recorder", {"1000", path});
    ASSERT_TRUE(eventuallyWrites(" dB"));
    server.kill();
    EXPECT_EQ(recorder->wait(), 1);
    EXPECT_THAT(written(), HasSubstr("recorder: the device is gone"));
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(path);
    ASSERT_NE(file, nullptr);
    EXPECT_GT(file->frameCount(), 0);
    EXPECT_THAT(written(), HasSubstr("\n" + std::to_string(file->frameCount()) + " frames recorded"));
}

TEST_F(Examples_OnASoundServer, TheMeterEndsWhenTheDeviceGoes) {
    const auto meter = start("meter");
    ASSERT_TRUE(eventuallyWrites(" dB\n"));
    server.kill();
    EXPECT_EQ(meter->wait(), 1);
    EXPECT_THAT(written(), HasSubstr("meter: the device is gone"));
}

} // namespace
