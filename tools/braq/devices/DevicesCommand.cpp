#include "tools/braq/devices/DevicesCommand.h"

#include "tools/braq/devices/Listing.h"
#include "tools/braq/devices/Watch.h"
#include "tools/braq/terminal/Drawing.h"
#include "tools/braq/terminal/Interruption.h"
#include "tools/braq/terminal/Output.h"

#include <poll.h>
#include <unistd.h>

#include <chrono>

namespace {

/// As wide as the terminal, or as it likes for another reader.
std::string tableOf(const std::vector<DeviceFacts>& devices) {
    return ::isatty(STDOUT_FILENO) != 0 ? devicesAsTable(devices, terminalColumns()) : devicesAsTable(devices);
}

void watchUntilInterrupted() {
    // A change of a default is not notified.
    constexpr auto betweenLooks = std::chrono::seconds(1);
    using Clock = std::chrono::steady_clock;

    const Interruption interruption;
    BRAQMainQueue& queue = BRAQMainQueue::mainQueue();
    std::string lines;
    Watch watch([&lines](const std::string& line) { lines += line; });
    writeOutput(tableOf(watch.devices()));
    auto nextLook = Clock::now() + betweenLooks;
    while (true) {
        pollfd watched[] = {{interruption.descriptor(), POLLIN, 0},
                            {STDOUT_FILENO, 0, 0}, // reports that the reader closed the pipe
                            {queue.fileDescriptor(), POLLIN, 0}};
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(nextLook - Clock::now());
        const int ready = ::poll(watched, std::size(watched), std::max(0, static_cast<int>(wait.count())));
        if (interruption.isRequested() || (ready > 0 && watched[1].revents != 0)) {
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
        writeOutput(options.json ? devicesAsJSON(devices) : tableOf(devices));
    }
}
