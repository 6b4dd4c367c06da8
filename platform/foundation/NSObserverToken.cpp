#include "BRAQAudio/platform/foundation/NSObserverToken.h"

#include "platform/foundation/Registration.h"

#include <utility>

NSObserverToken::NSObserverToken() noexcept = default;

NSObserverToken::NSObserverToken(std::shared_ptr<braq::Registration> registration) noexcept
    : mRegistration(std::move(registration)) {}

NSObserverToken::~NSObserverToken() { remove(); }

NSObserverToken::NSObserverToken(NSObserverToken&& other) noexcept = default;

NSObserverToken& NSObserverToken::operator=(NSObserverToken&& other) noexcept {
    // The old observer is removed last: its closure may own this token.
    const NSObserverToken gone(std::move(*this));
    mRegistration = std::move(other.mRegistration);
    return *this;
}

void NSObserverToken::remove() {
    if (const auto registration = std::move(mRegistration)) {
        registration->end();
    }
}
