#pragma once

#include "BRAQAudio/platform/export.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <variant>

/// @addtogroup foundation
/// @{

class NSError;

/// A detail of an error: a string, a number, or the underlying error.
using NSUserInfoValue = std::variant<std::string, std::int64_t, double, std::shared_ptr<NSError>>;
using NSUserInfo = std::map<std::string, NSUserInfoValue>;

/// Key of the string that `NSError::localizedDescription` returns.
extern "C" BRAQ_EXPORT const char NSLocalizedDescriptionKey[] BRAQ_LINKER_NAME(NSLocalizedDescriptionKey);
/// Key of the reason why the operation failed.
extern "C" BRAQ_EXPORT const char NSLocalizedFailureReasonErrorKey[] BRAQ_LINKER_NAME(NSLocalizedFailureReasonErrorKey);
extern "C" BRAQ_EXPORT const char NSCocoaErrorDomain[] BRAQ_LINKER_NAME(NSCocoaErrorDomain);
extern "C" BRAQ_EXPORT const char NSPOSIXErrorDomain[] BRAQ_LINKER_NAME(NSPOSIXErrorDomain);
extern "C" BRAQ_EXPORT const char NSMachErrorDomain[] BRAQ_LINKER_NAME(NSMachErrorDomain);
extern "C" BRAQ_EXPORT const char NSOSStatusErrorDomain[] BRAQ_LINKER_NAME(NSOSStatusErrorDomain);

/// An error: a domain, a code within it, and details by key. Immutable, so any thread may read it.
class BRAQ_EXPORT NSError {
  public:
    static std::shared_ptr<NSError> errorWithDomain(std::string domain, std::int64_t code, NSUserInfo userInfo = {});

    const std::string& domain() const noexcept { return mDomain; }
    std::int64_t code() const noexcept { return mCode; }
    const NSUserInfo& userInfo() const noexcept { return mUserInfo; }

    /// What went wrong, for users: the string under `NSLocalizedDescriptionKey`. An error made from a status usually has
    /// none; then the words for the status, followed in parentheses by the reason under
    /// `NSLocalizedFailureReasonErrorKey`, if there is one and it says something else: "there is no audio in it that can
    /// be read (moov atom not found)". The words are those of `BRAQStatusDescription` in `NSOSStatusErrorDomain` and
    /// `NSMachErrorDomain`, those of the system in `NSPOSIXErrorDomain`, and in other domains "The operation couldn't be
    /// completed. (DOMAIN error CODE.)".
    std::string localizedDescription() const;

    /// The string under `NSLocalizedFailureReasonErrorKey`: what the system or libav said about the failure. Empty if
    /// there is none.
    std::string localizedFailureReason() const;

    /// One line, for reports: domain, code, the words for a status unless the error has a description of its own, then
    /// every detail in key order. Line breaks become spaces.
    std::string description() const;

  private:
    NSError(std::string domain, std::int64_t code, NSUserInfo userInfo);
    const std::string* text(const char* key) const;

    std::string mDomain;
    std::int64_t mCode;
    NSUserInfo mUserInfo;
};

/// @}
