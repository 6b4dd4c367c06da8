#include "tools/braq/meter/MeterCommand.h"

#include "tools/braq/meter/MeterPicture.h"
#include "tools/braq/shared/ChooseDevice.h"
#include "tools/braq/shared/DeviceNews.h"
#include "tools/braq/terminal/Drawing.h"
#include "tools/braq/terminal/Interruption.h"
#include "tools/braq/terminal/Meters.h"
#include "tools/braq/terminal/Output.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>

namespace {

using Clock = std::chrono::steady_clock;

/// Waits until `until`, and runs closures pending in the main queue. @return whether the program must end
bool isInterrupted(const Interruption& interruption, Clock::time_point until) {
    BRAQMainQueue& queue = BRAQMainQueue::mainQueue();
    while (true) {
        pollfd watched[] = {{interruption.descriptor(), POLLIN, 0},
                            {STDOUT_FILENO, 0, 0}, // reports that the reader closed the pipe
                            {queue.fileDescriptor(), POLLIN, 0}};
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
        const int ready = ::poll(watched, std::size(watched), std::max(0, static_cast<int>(wait.count())));
        queue.drain();
        if (interruption.isRequested() || (ready > 0 && watched[1].revents != 0)) {
            return true;
        }
        if (Clock::now() >= until) {
            return false;
        }
    }
}

void showLevels(Meters& meters, DeviceNews& news, const std::atomic<bool>& hasStopped,
                const Interruption& interruption) {
    const bool isTerminal = ::isatty(STDOUT_FILENO) != 0;
    std::optional<Drawing> drawing;
    if (isTerminal) {
        drawing.emplace();
    }
    const Clock::duration betweenPictures =
        isTerminal ? Clock::duration(std::chrono::seconds(1)) / 30 : Clock::duration(std::chrono::seconds(1));
    constexpr std::chrono::milliseconds untilMeaningful{150}; // a level covers the last eighth of a second
    auto next = Clock::now() + std::max<Clock::duration>(betweenPictures, untilMeaningful);
    while (!isInterrupted(interruption, next)) {
        if (hasStopped) {
            throw std::runtime_error("the device is gone");
        }
        for (const auto& line : news.take()) {
            if (drawing) {
                drawing->erase();
            }
            writeOutput(line + "\n");
        }
        const auto levels = meters.look(std::chrono::duration<double>(betweenPictures).count());
        if (drawing) {
            drawing->draw(meterPicture(levels, terminalColumns()));
        } else {
            writeOutput(meterLine(levels));
        }
        next = std::max(next + betweenPictures, Clock::now()); // missed updates are skipped
    }
}

} // namespace

void runMeter(const MeterOptions& options) {
    const Interruption interruption;
    const DeviceFacts facts = chooseRecordDevice(lookAtDevices(), options.device);
    const auto channels = chooseRecordChannels(facts, options.channels);
    std::atomic<bool> hasStopped{false};
    const auto token = NSNotificationCenter::defaultCenter().addObserver(
        kAudioUnitDidStopNotification, nullptr, [&](const NSNotification&) { hasStopped = true; });
    const auto news = std::make_shared<DeviceNews>();
    Meters meters(options.device.empty() ? nullptr : BRAQAudioDevice::initWithDeviceID(facts.id), channels);
    meters.setDelegate(news);
    showLevels(meters, *news, hasStopped, interruption);
}
