#include "BRAQAudio/platform/foundation/NSException.h"

#include <utility>

extern "C" {
const char NSInvalidArgumentException[] = "NSInvalidArgumentException";
const char NSInternalInconsistencyException[] = "NSInternalInconsistencyException";
}

NSException::NSException(std::string name, std::string reason, NSUserInfo userInfo)
    : mName(std::move(name)), mReason(std::move(reason)), mUserInfo(std::move(userInfo)) {}

NSException::~NSException() = default;
