#include "platform/files/libav/LibavLogScope.h"

#include "BRAQAudio/platform/foundation/NSLog.h"
#include "platform/foundation/FailureReason.h"

extern "C" {
#include <libavutil/log.h>
}

#include <algorithm>
#include <array>
#include <mutex>

namespace braq {
namespace {

thread_local LibavLogScope* current = nullptr;

/// An error of libav's as a reason, without the prefix that names its own record. The text may quote the file.
void noteError(int level, const char* format, va_list arguments) {
    std::array<char, 256> text{};
    va_list copy;
    va_copy(copy, arguments);
    int printPrefix = 0;
    av_log_format_line2(nullptr, level, format, copy, text.data(), static_cast<int>(text.size()), &printPrefix);
    va_end(copy);
    std::string reason = text.data();
    reason.erase(reason.find_last_not_of("\n. ") + 1);
    std::ranges::replace_if(
        reason, [](char each) { return each < ' ' || each > '~'; }, '?');
    noteReason(reason);
}

} // namespace

void writeLibavLine(void* context, int level, const char* format, va_list arguments) {
    if (current == nullptr) {
        av_log_default_callback(context, level, format, arguments);
        return;
    }
    if (level > AV_LOG_WARNING || current->mLinesLeft == nullptr) {
        return;
    }
    if (level <= AV_LOG_ERROR) {
        noteError(level, format, arguments);
    }
    if (*current->mLinesLeft == 0) {
        return;
    }
    std::array<char, 1024> line{};
    int printPrefix = 1;
    av_log_format_line2(context, level, format, arguments, line.data(), static_cast<int>(line.size()), &printPrefix);
    std::string text = line.data();
    text.erase(text.find_last_not_of('\n') + 1);
    if (text.empty()) {
        return;
    }
    --*current->mLinesLeft;
    NSLog("libav : " + current->mFile + ": " + text);
}

LibavLogScope::LibavLogScope(const std::string& file, unsigned* linesLeft)
    : mFile(file), mLinesLeft(linesLeft), mBefore(current) {
    static std::once_flag isSet;
    std::call_once(isSet, [] { av_log_set_callback(&writeLibavLine); });
    current = this;
}

LibavLogScope::~LibavLogScope() { current = mBefore; }

} // namespace braq
