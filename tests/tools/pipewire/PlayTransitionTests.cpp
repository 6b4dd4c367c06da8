#include "tests/tools/pipewire/Sound.h"
#include "tests/tools/pipewire/TerminalProcess.h"
#include "tests/tools/pipewire/ToolFixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <string>
#include <vector>

// That nothing that is done while a file plays clicks.

namespace {

using namespace tool_test;
using braq::tests::eventually;

class Tool_PlayTransitions : public ToolOnASink {
  protected:
    static constexpr std::size_t second = 48'000;
    static constexpr double frequency = 997.13; // five seconds further on it is at another place of its wave

    void SetUp() override {
        ToolOnASink::SetUp();
        writeFile(path("sine.wav"), fullSine(20 * second, rate, frequency), rate);
    }

    /// Waits until as many more frames have been captured.
    static void listen(const Capture& capture, std::size_t frames) {
        const std::size_t end = capture.frames() + frames;
        EXPECT_TRUE(eventually([&] { return capture.frames() >= end; }));
    }
    /// Plays the sine, presses each of the keys after a while, and quits if that was none of them.
    /// @return all that was heard
    Sound press(const std::vector<std::string>& options, const std::vector<std::string>& keys) const {
        return hear(options, [&](const TerminalProcess& tool, const Capture& capture) {
            for (const auto& key : keys) {
                tool.press(key);
                listen(capture, second / 2);
            }
            tool.press("q");
        });
    }
    Sound hear(const std::vector<std::string>& options,
               const std::function<void(const TerminalProcess&, const Capture&)>& act) const {
        const Capture capture("test.sink.monitor", 60 * second);
        std::vector<std::string> arguments{BRAQ_TOOL,   "play",           "--device",
                                           "test.sink", path("sine.wav"), path("sine.wav")};
        arguments.insert(arguments.end(), options.begin(), options.end());
        TerminalProcess tool(arguments);
        EXPECT_TRUE(eventually([&] { return capture.sound().trimmed().frames() > second / 2; })) << tool.written();
        act(tool, capture);
        EXPECT_EQ(tool.wait(), 0) << tool.written();
        listen(capture, 2 * cycle);
        return capture.sound();
    }
    void expectNoClick(const Sound& heard, const std::string& what) const {
        const double step = largestStep(heard, rate, frequency);
        RecordProperty(what, std::to_string(step));
        EXPECT_LE(step, 1.1) << what;
        EXPECT_GT(step, 0.99) << what << ": it was heard";
    }
};

constexpr const char* right = "\x1b[C";
constexpr const char* left = "\x1b[D";

TEST_F(Tool_PlayTransitions, NoKeyClicks) {
    expectNoClick(press({}, {}), "quit");
    expectNoClick(press({}, {" ", " "}), "pause and resume");
    expectNoClick(press({}, {right, left, left}), "seek");
    expectNoClick(press({}, {right, "r", "r"}), "turn");
    expectNoClick(press({}, {"n", "p"}), "next and previous");
}

TEST_F(Tool_PlayTransitions, TheNextAndThePreviousFileBeginAtOnce) {
    const std::vector<std::string> backwards{"--speed", "-1"};
    for (const auto& options : {std::vector<std::string>{}, backwards}) {
        const Sound heard = press(options, {"n", "p", "n"}).trimmed(0.1F);
        EXPECT_GT(heard.frames(), second);
        std::size_t silent = 0;
        std::size_t longest = 0;
        for (const Float32 sample : heard.left()) {
            silent = sample == 0.0F ? silent + 1 : 0;
            longest = std::max(longest, silent);
        }
        RecordProperty("silence", std::to_string(longest));
        EXPECT_LT(longest, second / 20);
    }
}

TEST_F(Tool_PlayTransitions, NoKeyClicksWhileThePitchIsKept) {
    const std::vector<std::string> slow{"--speed", "0.8", "--keep-pitch"};
    expectNoClick(press(slow, {" ", " "}), "pause and resume");
    expectNoClick(press(slow, {right, left, "r", "r"}), "seek and turn");
    expectNoClick(press(slow, {"k", "k", "+", "-", "+", "+", "+", "+", "-"}), "to the file's speed and back");
}

TEST_F(Tool_PlayTransitions, NoKeysInQuickSuccessionClick) {
    const std::string there = right;
    const std::string back = left;
    expectNoClick(press({}, {there + there + back, "rr", there + "r" + back + "r"}), "seeks and turns");
    expectNoClick(press({}, {"l", "l" + there + back, "l" + there}), "loops and seeks");
}

TEST_F(Tool_PlayTransitions, NoLoopBetweenTwoMarksClicks) {
    for (const bool backwards : {false, true}) {
        const auto loop = [&](const TerminalProcess& tool, const Capture& capture) {
            if (backwards) {
                tool.press(std::string(right) + "r");
                listen(capture, second / 2);
            }
            for (const std::size_t frames : {second / 2, 2 * second, second / 2}) {
                tool.press("l");
                listen(capture, frames);
            }
            const std::string written = tool.written();
            EXPECT_NE(written.rfind("  loop 0:0"), std::string::npos) << written;
            tool.press("q");
        };
        expectNoClick(hear({}, loop), backwards ? "backwards" : "forwards");
    }
}

TEST_F(Tool_PlayTransitions, NoKeyClicksInALoop) {
    expectNoClick(press({"--loop"}, {" ", " "}), "pause and resume");
    expectNoClick(press({"--loop"}, {right, left}), "seek");
}

TEST_F(Tool_PlayTransitions, AStartInTheMiddleDoesNotClick) {
    for (const char* start : {"0.10025", "1.30051", "2.9995"}) {
        expectNoClick(press({"--start", start}, {}), std::string("start at ") + start);
        expectNoClick(press({"--start", start, "--loop"}, {}), std::string("loop from ") + start);
    }
}

TEST_F(Tool_PlayTransitions, NoWayOutClicks) {
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        expectNoClick(hear({}, [&](const TerminalProcess& tool, const Capture&) { tool.signal(number); }),
                      "signal " + std::to_string(number));
    }
    expectNoClick(hear({}, [](const TerminalProcess& tool, const Capture&) { tool.press("\x03"); }), "Ctrl-C");
}

} // namespace
