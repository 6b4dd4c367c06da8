#pragma once

#include "platform/threads/RealtimeService.h"

#include <string>

namespace braq {

/// Whom to ask for what a process may not give its threads itself: rtkit, on the system bus; and where that cannot be reached,
/// as in a sandbox, the desktop portal on the session bus, which speaks to it for processes in sandboxes. One that was
/// reached and refuses is not gone round. Threads and times as with one service.
class RealtimeServices {
  public:
    /// @return what came of it, for the log
    std::string makeHighPriority(thread_act_t thread);
    /// @return what came of it, for the log
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
