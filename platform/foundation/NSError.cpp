#include "BRAQAudio/platform/foundation/NSError.h"

#include "platform/foundation/Text.h"

#include <charconv>
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

} // namespace

NSError::NSError(std::string domain, std::int64_t code, NSUserInfo userInfo)
    : mDomain(std::move(domain)), mCode(code), mUserInfo(std::move(userInfo)) {}

std::shared_ptr<NSError> NSError::errorWithDomain(std::string domain, std::int64_t code, NSUserInfo userInfo) {
    return std::shared_ptr<NSError>(new NSError(std::move(domain), code, std::move(userInfo)));
}

std::string NSError::localizedDescription() const {
    const auto detail = mUserInfo.find(NSLocalizedDescriptionKey);
    if (detail != mUserInfo.end()) {
        if (const auto* text = std::get_if<std::string>(&detail->second)) {
            return *text;
        }
    }
    return "The operation couldn't be completed. (" + mDomain + " error " + std::to_string(mCode) + ".)";
}

std::string NSError::description() const {
    std::string text = mDomain + " error " + std::to_string(mCode);
    const char* separator = ": ";
    for (const auto& [key, value] : mUserInfo) {
        text += separator + key + " = " + std::visit(DetailText{}, value);
        separator = ", ";
    }
    return braq::oneLine(std::move(text));
}
