#pragma once

#include "BRAQAudio/platform/threads.h"

#include <dbus/dbus.h>

#include <memory>
#include <string>

namespace braq {

/// The address of a real-time scheduling service. All services have the same operations and properties.
struct RealtimeServiceAddress {
    DBusBusType bus;
    const char* service;
    const char* path;
    const char* interface;
    const char* name; ///< for the log
};

/// A real-time scheduling service, over its own connection to the bus. Connects on the first call, and gives up for
/// good if it cannot connect or a call gets no answer. One thread at a time; calls block for several seconds at worst,
/// half a minute if the bus itself does not answer.
class RealtimeService {
  public:
    /// The result of a request.
    struct Answer {
        bool isReached;   ///< whether the service answered at all
        std::string text; ///< for the log: the result, or why it was not reached
    };

    explicit RealtimeService(const RealtimeServiceAddress& address) : mAddress(address) {}
    RealtimeService(const RealtimeService&) = delete;
    RealtimeService& operator=(const RealtimeService&) = delete;

    /// Requests the lowest nice value that the service grants, unless the thread has it already.
    Answer makeHighPriority(thread_act_t thread);

    /// Requests a real-time policy at `BRAQThreadIOPriority`, or the highest that the service grants. The service
    /// requires a limit on the process's processor time (RLIMIT_RTTIME), which is set here and stays.
    Answer makeRealtime(thread_act_t thread);

  private:
    struct Close {
        void operator()(DBusConnection* connection) const;
    };
    struct Unref {
        void operator()(DBusMessage* message) const { dbus_message_unref(message); }
    };
    using Message = std::unique_ptr<DBusMessage, Unref>;

    // These throw std::runtime_error with the reason.
    void connect();
    Message send(const Message& message);
    SInt64 property(const char* name);
    void raise(const char* method, thread_act_t thread, int priorityType, const void* priority);

    Message newCall(const char* interface, const char* method) const;
    Answer granted() const;
    Answer refused(bool isReached, const std::string& why) const;

    const RealtimeServiceAddress mAddress;
    std::unique_ptr<DBusConnection, Close> mConnection;
    std::string mGivenUp; // why the service is no longer asked
};

} // namespace braq
