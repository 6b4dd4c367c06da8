#pragma once

#include "BRAQAudio/platform/threads.h"

#include <dbus/dbus.h>

#include <memory>
#include <string>

namespace braq {

/// The real-time scheduling service, over a connection to the system bus of its own. Connects at the first call and
/// gives up for good when a call gets no answer. One thread at a time; calls block for several seconds at worst, half a
/// minute where the bus itself does not answer.
class RealtimeKit {
  public:
    RealtimeKit() = default;
    RealtimeKit(const RealtimeKit&) = delete;
    RealtimeKit& operator=(const RealtimeKit&) = delete;

    /// Asks for the lowest nice value that the service gives, unless the thread has it already.
    /// @return what came of it, for the log
    std::string makeHighPriority(thread_act_t thread);

    /// Asks for a real-time policy at `BRAQThreadIOPriority`, or the highest that the service gives. The service
    /// demands a limit on processor time (RLIMIT_RTTIME) of the process, which is set here and stays.
    /// @return what came of it, for the log
    std::string makeRealtime(thread_act_t thread);

  private:
    struct Close {
        void operator()(DBusConnection* connection) const;
    };
    struct Unref {
        void operator()(DBusMessage* message) const { dbus_message_unref(message); }
    };
    using Message = std::unique_ptr<DBusMessage, Unref>;

    // These throw std::runtime_error with what went wrong.
    void connect();
    Message send(const Message& message);
    SInt64 property(const char* name);

    static Message newCall(const char* interface, const char* method);

    std::unique_ptr<DBusConnection, Close> mConnection;
    std::string mGivenUp; // why the service is asked no more
};

} // namespace braq
