#include "BRAQAudio/platform/foundation/NSKeyValueObserving.h"

#include "platform/foundation/ObserverList.h"

#include <algorithm>

namespace {

struct KeyInterest {
    bool isAffectedBy(const std::string& changed) const {
        return std::find(affecting.begin(), affecting.end(), changed) != affecting.end();
    }

    std::string key;
    std::vector<std::string> affecting; // the key itself and all its direct and indirect dependencies
};

} // namespace

class braq::KeyObservers : public braq::ObserverList<KeyInterest, std::string> {};

NSKeyValueObserving::NSKeyValueObserving() : mObservers(std::make_shared<braq::KeyObservers>()) {}

NSKeyValueObserving::~NSKeyValueObserving() = default;

NSObserverToken NSKeyValueObserving::addObserver(const std::string& key,
                                                 std::function<void(const std::string& key)> closure) {
    KeyInterest interest{key, {key}};
    for (std::size_t index = 0; index < interest.affecting.size(); ++index) {
        for (std::string& next : keyPathsForValuesAffectingValueForKey(std::string(interest.affecting[index]))) {
            if (!interest.isAffectedBy(next)) {
                interest.affecting.push_back(std::move(next));
            }
        }
    }
    return NSObserverToken(mObservers->add(std::move(interest), std::move(closure)));
}

std::vector<std::string> NSKeyValueObserving::keyPathsForValuesAffectingValueForKey(const std::string& /*key*/) const {
    return {};
}

void NSKeyValueObserving::didChangeValueForKey(const std::string& key) const {
    mObservers->deliver(
        "NSKeyValueObserving", [&](const KeyInterest& interest) { return interest.isAffectedBy(key); },
        [](const KeyInterest& interest) -> const std::string& { return interest.key; });
}
