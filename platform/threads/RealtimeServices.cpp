#include "platform/threads/RealtimeServices.h"

namespace braq {

template <class Ask>
std::string RealtimeServices::ask(const Ask& request) {
    const RealtimeService::Answer kit = request(mKit);
    if (kit.isReached) {
        return kit.text;
    }
    const RealtimeService::Answer portal = request(mPortal);
    return portal.isReached ? portal.text
                            : "no permission for more, and none from rtkit: " + kit.text +
                                  "; nor from the desktop portal: " + portal.text;
}

std::string RealtimeServices::makeHighPriority(thread_act_t thread) {
    return ask([thread](RealtimeService& service) { return service.makeHighPriority(thread); });
}

std::string RealtimeServices::makeRealtime(thread_act_t thread) {
    return ask([thread](RealtimeService& service) { return service.makeRealtime(thread); });
}

} // namespace braq
