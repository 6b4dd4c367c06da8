#include "BRAQAudio/platform/foundation/NSError.h"

#include "BRAQAudio/platform/foundation/BRAQStatus.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>
#include <utility>

extern "C" {
const char NSLocalizedDescriptionKey[] = "NSLocalizedDescription";
const char NSLocalizedFailureReasonErrorKey[] = "NSLocalizedFailureReason";
const char NSCocoaErrorDomain[] = "NSCocoaErrorDomain";
const char NSPOSIXErrorDomain[] = "NSPOSIXErrorDomain";
const char NSMachErrorDomain[] = "NSMachErrorDomain";
const char NSOSStatusErrorDomain[] = "NSOSStatusErrorDomain";
}

namespace {

struct DetailText {
    std::string operator()(const std::string& text) const { return '"' + text + '"'; }
    std::string operator()(std::int64_t number) const { return std::to_string(number); }
    std::string operator()(double number) const {
        char digits[32]; // the shortest text that reads back as the same double has at most 24 characters
        return {digits, std::to_chars(digits, digits + sizeof digits, number).ptr};
    }
    std::string operator()(const std::shared_ptr<NSError>& error) const {
        return error != nullptr ? '(' + error->description() + ')' : "nothing";
    }
};

/// The words for the status that an error was made from; empty if it was not made from one.
std::string statusWords(const std::string& domain, std::int64_t code) {
    const bool isStatus = code >= std::numeric_limits<OSStatus>::min() && code <= std::numeric_limits<OSStatus>::max();
    if (isStatus && (domain == NSOSStatusErrorDomain || domain == NSMachErrorDomain)) {
        return BRAQStatusDescription(static_cast<OSStatus>(code));
    }
    return isStatus && domain == NSPOSIXErrorDomain ? std::generic_category().message(static_cast<int>(code)) : "";
}

// Not the C library's: the result may depend on the locale.
char lowerCase(char letter) { return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter; }

bool isSameText(const std::string& one, const std::string& other) {
    return std::ranges::equal(one, other, {}, lowerCase, lowerCase);
}

} // namespace

NSError::NSError(std::string domain, std::int64_t code, NSUserInfo userInfo)
    : mDomain(std::move(domain)), mCode(code), mUserInfo(std::move(userInfo)) {}

std::shared_ptr<NSError> NSError::errorWithDomain(std::string domain, std::int64_t code, NSUserInfo userInfo) {
    return std::shared_ptr<NSError>(new NSError(std::move(domain), code, std::move(userInfo)));
}

const std::string* NSError::text(const char* key) const {
    const auto detail = mUserInfo.find(key);
    return detail != mUserInfo.end() ? std::get_if<std::string>(&detail->second) : nullptr;
}

std::string NSError::localizedDescription() const {
    if (const std::string* const given = text(NSLocalizedDescriptionKey)) {
        return *given;
    }
    const std::string words = statusWords(mDomain, mCode);
    if (words.empty()) {
        return "The operation couldn't be completed. (" + mDomain + " error " + std::to_string(mCode) + ".)";
    }
    const std::string reason = localizedFailureReason();
    return reason.empty() || isSameText(reason, words) ? words : words + " (" + reason + ')';
}

std::string NSError::localizedFailureReason() const {
    const std::string* const given = text(NSLocalizedFailureReasonErrorKey);
    return given != nullptr ? *given : "";
}

std::string NSError::description() const {
    std::string line = mDomain + " error " + std::to_string(mCode);
    const std::string words = text(NSLocalizedDescriptionKey) == nullptr ? statusWords(mDomain, mCode) : "";
    line += words.empty() ? "" : " (" + words + ')';
    const char* separator = ": ";
    for (const auto& [key, value] : mUserInfo) {
        line += separator + key + " = " + std::visit(DetailText{}, value);
        separator = ", ";
    }
    return braq::oneLine(std::move(line));
}
