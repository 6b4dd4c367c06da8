#include "tools/braq/terminal/Attention.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <limits>

namespace {

// In poll's milliseconds.
int millisecondsUntil(Attention::Clock::time_point until) {
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(until - Attention::Clock::now()).count();
    return static_cast<int>(std::clamp<decltype(wait)>(wait, 0, std::numeric_limits<int>::max()));
}

} // namespace

Attention::Attention(Keyboard::Suspending suspending, Keyboard::Source keys, Needs needs)
    : mKeyboard(suspending, keys),
      mNeeds(needs),
      mStops(NSNotificationCenter::defaultCenter().addObserver(
          kAudioUnitDidStopNotification, nullptr,
          [](const NSNotification&) { BRAQMainQueue::mainQueue().submit([] {}); })) {}

Attention::Happened Attention::wait(Clock::time_point until, std::span<const int> readable) {
    BRAQMainQueue& queue = BRAQMainQueue::mainQueue();
    const bool needsOutput = mNeeds == Needs::output;
    std::vector<pollfd> watched{{mInterruption.descriptor(), POLLIN, 0},
                                {needsOutput ? STDOUT_FILENO : -1, 0, 0}, // reports that the reader closed the pipe
                                {mJobControl.descriptor(), POLLIN, 0},
                                {mHasKeyboard ? mKeyboard.descriptor() : -1, POLLIN, 0},
                                {queue.fileDescriptor(), POLLIN, 0}};
    for (const int descriptor : readable) {
        watched.push_back({descriptor, POLLIN, 0});
    }
    const int ready = ::poll(watched.data(), watched.size(), millisecondsUntil(until));
    queue.drain();
    Happened happened;
    if (ready <= 0) {
        return happened;
    }
    happened.isToEnd = mInterruption.isRequested() || watched[1].revents != 0;
    if (watched[2].revents != 0) {
        happened.isToSuspend = mJobControl.isToSuspend();
        mKeyboard.take(); // it may be in the foreground again
    }
    if (watched[3].revents != 0) {
        readKeys(happened);
    }
    return happened;
}

void Attention::readKeys(Happened& happened) {
    const auto typed = mKeyboard.read();
    mHasKeyboard = typed.has_value();
    happened.isToEnd = happened.isToEnd || (!mHasKeyboard && mNeeds == Needs::output);
    happened.keys = mKeys.add(typed.value_or(""));
}

void Attention::suspend() {
    mKeyboard.release();
    JobControl::suspend();
    mKeyboard.take();
}
