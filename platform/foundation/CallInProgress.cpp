#include "platform/foundation/CallInProgress.h"

namespace {

thread_local const braq::CallInProgress* innermost = nullptr;

} // namespace

braq::CallInProgress::CallInProgress(const void* callback) noexcept : mCallback(callback), mOuter(innermost) {
    innermost = this;
}

braq::CallInProgress::~CallInProgress() { innermost = mOuter; }

bool braq::CallInProgress::isInside(const void* callback) noexcept {
    for (const CallInProgress* call = innermost; call != nullptr; call = call->mOuter) {
        if (call->mCallback == callback) {
            return true;
        }
    }
    return false;
}
