#include "platform/foundation/CallInProgress.h"

namespace braq {
namespace {

thread_local const CallInProgress* innermost = nullptr;

} // namespace

CallInProgress::CallInProgress(const void* callback) noexcept : mCallback(callback), mOuter(innermost) {
    innermost = this;
}

CallInProgress::~CallInProgress() { innermost = mOuter; }

bool CallInProgress::isInside(const void* callback) noexcept {
    for (const CallInProgress* call = innermost; call != nullptr; call = call->mOuter) {
        if (call->mCallback == callback) {
            return true;
        }
    }
    return false;
}

} // namespace braq
