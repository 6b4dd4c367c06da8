#include "DevicesCommand.h"

#include "Listing.h"
#include "Output.h"
#include "Watch.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <system_error>

namespace {

/// Ctrl-C and SIGTERM, as something to wait for. Made before any other thread is, so that none of them is interrupted.
class Interruption {
  public:
    Interruption() {
        ::sigset_t signals;
        ::sigemptyset(&signals);
        ::sigaddset(&signals, SIGINT);
        ::sigaddset(&signals, SIGTERM);
        ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
        mDescriptor = ::signalfd(-1, &signals, SFD_CLOEXEC);
        if (mDescriptor < 0) {
            throw std::system_error(errno, std::generic_category(), "cannot wait for signals");
        }
    }
    ~Interruption() { ::close(mDescriptor); }
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    int descriptor() const noexcept { return mDescriptor; }

  private:
    int mDescriptor;
};

void watchUntilInterrupted() {
    // Nobody says when a default has changed.
    constexpr auto betweenLooks = std::chrono::seconds(1);
    using Clock = std::chrono::steady_clock;

    const Interruption interruption;
    BRAQMainQueue& queue = BRAQMainQueue::mainQueue();
    std::string lines;
    Watch watch([&lines](const std::string& line) { lines += line; });
    writeOutput(devicesAsTable(watch.devices()));
    auto nextLook = Clock::now() + betweenLooks;
    while (true) {
        pollfd watched[] = {{interruption.descriptor(), POLLIN, 0},
                            {STDOUT_FILENO, 0, 0}, // reports that its reader is gone
                            {queue.fileDescriptor(), POLLIN, 0}};
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(nextLook - Clock::now());
        const int ready = ::poll(watched, std::size(watched), std::max(0, static_cast<int>(wait.count())));
        if (ready > 0 && (watched[0].revents != 0 || watched[1].revents != 0)) {
            return;
        }
        queue.drain();
        if (Clock::now() >= nextLook) {
            watch.look();
            nextLook = Clock::now() + betweenLooks;
        }
        writeOutput(std::exchange(lines, {}));
    }
}

} // namespace

void runDevices(const DevicesOptions& options) {
    if (options.watch) {
        watchUntilInterrupted();
    } else {
        const auto devices = lookAtDevices();
        writeOutput(options.json ? devicesAsJSON(devices) : devicesAsTable(devices));
    }
}
