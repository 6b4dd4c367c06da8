#include "platform/hardware/drivers/pipewire/PipeWireDriver.h"

#include "BRAQAudio/platform/foundation/NSLog.h"
#include "platform/hardware/drivers/pipewire/Finder.h"
#include "platform/hardware/drivers/pipewire/Loop.h"

#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <string>

namespace braq {
namespace {

constexpr std::chrono::seconds longestDriverStart{1};

/// Opened once. The loop's own lock is not suitable here: the loop may block in a slow system call while it holds the
/// lock.
class Gate {
  public:
    void open() {
        const std::lock_guard lock(mMutex);
        mIsOpen = true;
        mOpened.notify_all();
    }

    void wait(std::chrono::nanoseconds longest) {
        std::unique_lock lock(mMutex);
        mOpened.wait_for(lock, longest, [this] { return mIsOpen; });
    }

  private:
    std::mutex mMutex;
    std::condition_variable mOpened;
    bool mIsOpen = false;
};

} // namespace

void PipeWireDriver::start(DriverHost& host) try {
    const auto settled = std::make_shared<Gate>();
    // Never destroyed: PipeWire's threads use them as long as the process runs. Its loop keeps them reachable.
    auto& loop = *new pipewire::Loop();
    {
        const pipewire::Loop::Lock lock(loop);
        auto& finder = *new pipewire::Finder(loop, *this, host, [settled] { settled->open(); });
        finder.begin();
    }
    settled->wait(longestDriverStart);
} catch (const std::exception& problem) {
    NSLog(std::string("(ERROR) PipeWire : ") + problem.what());
    host.serverIsThere(*this, false);
}

std::unique_ptr<Driver> makePipeWireDriver() { return std::make_unique<PipeWireDriver>(); }

} // namespace braq
