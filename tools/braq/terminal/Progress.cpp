#include "tools/braq/terminal/Progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace {

constexpr std::chrono::milliseconds untilLong{300};
constexpr std::chrono::milliseconds betweenLines{100};

} // namespace

Progress::Progress(std::string of, std::int64_t total)
    : mOf(std::move(of)), mTotal(total), mIsTerminal(::isatty(STDERR_FILENO) != 0), mNext(Clock::now() + untilLong) {}

Progress::~Progress() {
    if (mIsShown) {
        std::fputs("\r\x1b[K", stderr);
    }
}

void Progress::show(std::int64_t done) {
    if (!mIsTerminal || Clock::now() < mNext) {
        return;
    }
    const double part = mTotal > 0 ? static_cast<double>(done) / static_cast<double>(mTotal) : 0.0;
    std::fprintf(stderr, "\r%3.0f %%  %s\x1b[K", std::min(part, 1.0) * 100.0, mOf.c_str());
    mIsShown = true;
    mNext = Clock::now() + betweenLines;
}
