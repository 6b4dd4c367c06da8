#include "platform/foundation/FailureReason.h"

#include "BRAQAudio/platform/foundation/BRAQStatus.h"
#include "BRAQAudio/platform/foundation/NSBundle.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <system_error>

namespace braq {
namespace {

struct NotedReason {
    OSStatus status; // 0: the call is in progress, or has not failed
    std::size_t length;
    std::array<char, 240> text;
};

// Trivial, so that no destructor runs at the end of a thread: files may be closed later than that.
thread_local NotedReason noted{};

/// A text that is cut in the middle of a character would not be UTF-8.
std::size_t lengthThatFits(std::string_view text) {
    std::size_t length = std::min(text.size(), noted.text.size());
    const auto continues = [&](std::size_t index) {
        return (static_cast<unsigned char>(text[index]) & 0xC0U) == 0x80U;
    };
    while (length < text.size() && length > 0 && continues(length)) {
        --length;
    }
    return length;
}

} // namespace

void noteReason(std::string_view reason) noexcept {
    if (noted.length == 0) {
        noted.length = lengthThatFits(reason);
        std::copy_n(reason.begin(), noted.length, noted.text.begin());
    }
}

void noteSystemReason(int errorNumber) { noteReason(std::generic_category().message(errorNumber)); }

void noteOwnReason(const char* phrase) {
    noteReason(NSBundle::libraryBundle()->localizedString(phrase, "StatusDescription"));
}

std::string_view notedReason() noexcept { return {noted.text.data(), noted.length}; }

void forgetReason() noexcept {
    noted.status = 0;
    noted.length = 0;
}

void keepReasonFor(OSStatus status) noexcept {
    if (status == 0) {
        forgetReason();
    }
    noted.status = status;
}

} // namespace braq

std::string BRAQStatusTakeReason(OSStatus status) {
    if (status == 0 || status != braq::noted.status) {
        return {};
    }
    std::string reason(braq::noted.text.data(), braq::noted.length);
    braq::forgetReason();
    return reason;
}
