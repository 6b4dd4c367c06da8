#include "tests/platform/threads/FakeRealtimeKit.h"
#include "tests/platform/threads/Sandbox.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>

namespace threads_test {
namespace {

constexpr const char* kConfigurationStart =
    R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
    <allow user="*"/>
  </policy>
)";

std::string writeConfiguration() {
    char path[] = "/tmp/braq-test-bus-XXXXXX";
    const int file = mkstemp(path);
    REQUIRE(file >= 0);
    // An abstract socket leaves nothing behind when the daemon is killed; the file's name makes it unique.
    const std::string text =
        kConfigurationStart + ("  <listen>unix:abstract=" + std::string(path)) + "</listen>\n</busconfig>\n";
    REQUIRE(write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()));
    close(file);
    return path;
}

// Up to the line end; empty when the daemon ended without a word.
std::string readLine(int file) {
    std::string line;
    for (char byte = 0; read(file, &byte, 1) == 1 && byte != '\n';) {
        line += byte;
    }
    return line;
}

} // namespace

PrivateBus::PrivateBus() {
    const std::string path = writeConfiguration();
    const std::string option = "--config-file=" + path;
    std::array<int, 2> ends{};
    REQUIRE(pipe(ends.data()) == 0);
    mDaemon = fork();
    REQUIRE(mDaemon >= 0);
    if (mDaemon == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        close(ends[1]);
        execlp("dbus-daemon", "dbus-daemon", "--nofork", "--nopidfile", "--print-address=1", option.c_str(), nullptr);
        _exit(127);
    }
    close(ends[1]);
    mAddress = readLine(ends[0]);
    close(ends[0]);
    unlink(path.c_str());
    REQUIRE(!mAddress.empty());
}

PrivateBus::~PrivateBus() {
    kill(mDaemon, SIGTERM);
    waitpid(mDaemon, nullptr, 0);
}

} // namespace threads_test
