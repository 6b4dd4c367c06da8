#pragma once

#include "platform/threads/RealtimeService.h"

#include <string>

namespace braq {

/// The services that grant what a process may not set for its threads itself: rtkit, on the system bus; or if it cannot
/// be reached, as in a sandbox, the desktop portal on the session bus, which forwards requests to it. If a service was
/// reached and refuses, the other is not asked. Threads and durations as for a single service.
class RealtimeServices {
  public:
    /// @return the result, for the log
    std::string makeHighPriority(thread_act_t thread);
    /// @return the result, for the log
    std::string makeRealtime(thread_act_t thread);

  private:
    template <class Ask>
    std::string ask(const Ask& request);

    RealtimeService mKit{{.bus = DBUS_BUS_SYSTEM,
                          .service = "org.freedesktop.RealtimeKit1",
                          .path = "/org/freedesktop/RealtimeKit1",
                          .interface = "org.freedesktop.RealtimeKit1",
                          .name = "rtkit"}};
    RealtimeService mPortal{{.bus = DBUS_BUS_SESSION,
                             .service = "org.freedesktop.portal.Desktop",
                             .path = "/org/freedesktop/portal/desktop",
                             .interface = "org.freedesktop.portal.Realtime",
                             .name = "the desktop portal"}};
};

} // namespace braq
