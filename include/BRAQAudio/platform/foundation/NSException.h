#pragma once

#include "BRAQAudio/platform/foundation/NSError.h"

#include <exception>
#include <string>

/// @addtogroup foundation
/// @{

extern "C" BRAQ_EXPORT const char NSInvalidArgumentException[] BRAQ_LINKER_NAME(NSInvalidArgumentException);
extern "C" BRAQ_EXPORT const char NSInternalInconsistencyException[] BRAQ_LINKER_NAME(NSInternalInconsistencyException);

/// A raised error. Copying it throws only if copying its strings does.
class BRAQ_EXPORT NSException : public std::exception {
  public:
    NSException(std::string name, std::string reason, NSUserInfo userInfo = {});
    ~NSException() override;

    const std::string& name() const noexcept { return mName; }
    const std::string& reason() const noexcept { return mReason; }
    const NSUserInfo& userInfo() const noexcept { return mUserInfo; }

    /// The reason.
    const char* what() const noexcept override { return mReason.c_str(); }

  private:
    std::string mName;
    std::string mReason;
    NSUserInfo mUserInfo;
};

/// @}
