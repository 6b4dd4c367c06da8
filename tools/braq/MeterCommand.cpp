#include "MeterCommand.h"

#include "ChooseDevice.h"
#include "Interruption.h"
#include "MeterPicture.h"
#include "Output.h"
#include "PeakHold.h"
#include "Text.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <numeric>
#include <optional>
#include <stdexcept>

namespace {

using Clock = std::chrono::steady_clock;

/// Channels of a device with their meters, of which each has one or two.
class Meters {
  public:
    Meters(const std::shared_ptr<BRAQAudioDevice>& device, const std::vector<unsigned>& channels) {
        constexpr std::size_t channelsOfAMeter = 2;
        try {
            for (std::size_t first = 0; first < channels.size(); first += channelsOfAMeter) {
                std::vector<SInt32> some;
                for (std::size_t i = first; i < std::min(first + channelsOfAMeter, channels.size()); ++i) {
                    some.push_back(static_cast<SInt32>(channels[i]) - 1);
                    mChannels.push_back({channels[i], {}});
                }
                mMeters.push_back({BRAQAudioInputMeter::initWithDevice(device, some), some.size()});
                mMeters.back().meter->start();
            }
        } catch (...) {
            invalidate();
            throw;
        }
    }
    ~Meters() { invalidate(); }
    Meters(const Meters&) = delete;
    Meters& operator=(const Meters&) = delete;

    std::vector<MeteredChannel> look(double secondsSinceLast) {
        std::vector<MeteredChannel> metered;
        auto channel = mChannels.begin();
        for (const auto& one : mMeters) {
            const auto* levels = one.meter->levels();
            for (std::size_t i = 0; i < one.channels; ++i, ++channel) {
                metered.push_back({channel->number, levels[i], channel->hold.add(levels[i], secondsSinceLast)});
            }
        }
        return metered;
    }

  private:
    struct Meter {
        std::shared_ptr<BRAQAudioInputMeter> meter;
        std::size_t channels;
    };
    struct Channel {
        unsigned number;
        PeakHold hold;
    };

    void invalidate() {
        for (const auto& one : mMeters) {
            one.meter->invalidate();
        }
    }

    std::vector<Meter> mMeters;
    std::vector<Channel> mChannels;
};

/// Lines that are drawn over and over at one place of a terminal.
class Drawing {
  public:
    Drawing() { writeOutput("\x1b[?25l"); }
    // Whatever happened, the terminal gets its cursor back; if nobody reads any more, there is none.
    ~Drawing() {
        try {
            writeOutput("\x1b[?25h");
        } catch (const std::exception&) {
        }
    }
    Drawing(const Drawing&) = delete;
    Drawing& operator=(const Drawing&) = delete;

    void draw(const std::string& lines) {
        std::string picture = mLines != 0 ? "\x1b[" + std::to_string(mLines) + "A" : "";
        for (const char letter : lines) {
            picture += letter == '\n' ? "\x1b[K\n" : std::string(1, letter);
        }
        writeOutput(picture);
        mLines = static_cast<std::size_t>(std::ranges::count(lines, '\n'));
    }

  private:
    std::size_t mLines = 0; // above the cursor
};

std::size_t terminalColumns() {
    constexpr std::size_t usual = 80;
    ::winsize size{};
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : usual;
}

std::vector<unsigned> chooseChannels(const DeviceFacts& device, const std::vector<unsigned>& meant) {
    std::vector<unsigned> channels(device.recording.channels);
    std::iota(channels.begin(), channels.end(), 1U);
    for (const unsigned channel : meant) {
        if (channel < 1 || channel > channels.size()) {
            throw std::runtime_error(printable(device.name) + " has no channel " + std::to_string(channel) +
                                     " to record from; it has " + std::to_string(channels.size()));
        }
    }
    return meant.empty() ? channels : meant;
}

/// Whether the program is to end, waiting for it for so long.
bool isInterrupted(const Interruption& interruption, Clock::time_point until) {
    pollfd watched[] = {{interruption.descriptor(), POLLIN, 0},
                        {STDOUT_FILENO, 0, 0}}; // reports that its reader is gone
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
    return ::poll(watched, std::size(watched), std::max(0, static_cast<int>(wait.count()))) > 0;
}

void showLevels(Meters& meters, const std::atomic<bool>& hasStopped, const Interruption& interruption) {
    const bool isTerminal = ::isatty(STDOUT_FILENO) != 0;
    std::optional<Drawing> drawing;
    if (isTerminal) {
        drawing.emplace();
    }
    const Clock::duration betweenPictures =
        isTerminal ? Clock::duration(std::chrono::seconds(1)) / 30 : Clock::duration(std::chrono::seconds(1));
    constexpr std::chrono::milliseconds untilMeaningful{150}; // a level is that of the last eighth of a second
    auto next = Clock::now() + std::max<Clock::duration>(betweenPictures, untilMeaningful);
    while (!isInterrupted(interruption, next)) {
        if (hasStopped) {
            throw std::runtime_error("the device is gone");
        }
        const auto levels = meters.look(std::chrono::duration<double>(betweenPictures).count());
        if (drawing) {
            drawing->draw(meterPicture(levels, terminalColumns()));
        } else {
            writeOutput(meterLine(levels));
        }
        next = std::max(next + betweenPictures, Clock::now()); // what was missed stays so
    }
}

} // namespace

void runMeter(const MeterOptions& options) {
    const Interruption interruption;
    const DeviceFacts facts = chooseRecordDevice(lookAtDevices(), options.device);
    const auto channels = chooseChannels(facts, options.channels);
    std::atomic<bool> hasStopped{false};
    const auto token = NSNotificationCenter::defaultCenter().addObserver(
        kAudioUnitDidStopNotification, nullptr, [&](const NSNotification&) { hasStopped = true; });
    Meters meters(BRAQAudioDevice::initWithDeviceID(facts.id), channels);
    showLevels(meters, hasStopped, interruption);
}
