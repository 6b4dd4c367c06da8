#include "tools/braq/terminal/Attention.h"

#include <BRAQAudio/BRAQAudio.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>

Attention::Happened Attention::wait(Clock::time_point until) {
    BRAQMainQueue& queue = BRAQMainQueue::mainQueue();
    pollfd watched[] = {{mInterruption.descriptor(), POLLIN, 0},
                        {STDOUT_FILENO, 0, 0}, // reports that the reader closed the pipe
                        {mJobControl.descriptor(), POLLIN, 0},
                        {mKeyboard.descriptor(), POLLIN, 0},
                        {queue.fileDescriptor(), POLLIN, 0}};
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
    const int ready = ::poll(watched, std::size(watched), std::max(0, static_cast<int>(wait.count())));
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
        const auto typed = mKeyboard.read();
        happened.isToEnd = happened.isToEnd || !typed;
        happened.keys = mKeys.add(typed.value_or(""));
    }
    return happened;
}

void Attention::suspend() {
    mKeyboard.release();
    JobControl::suspend();
    mKeyboard.take();
}
