#pragma once

#include "BRAQAudio/platform/threads.h"

#include <dbus/dbus.h>

#include <memory>
#include <string>

namespace braq {

/// Where a real-time scheduling service is found. All of them have the same operations and properties.
struct RealtimeServiceAddress {
    DBusBusType bus;
    const char* service;
    const char* path;
    const char* interface;
    const char* name; ///< for the log
};

/// A real-time scheduling service, over a connection to its bus of its own. Connects at the first call and gives up for
/// good when it cannot or when a call gets no answer. One thread at a time; calls block for several seconds at worst, half
/// a minute where the bus itself does not answer.
class RealtimeService {
  public:
    /// What came of a request.
    struct Answer {
        bool isReached;   ///< whether the service said anything of itself at all
        std::string text; ///< for the log, what came of it; if it was not reached, why not
    };

    explicit RealtimeService(const RealtimeServiceAddress& address) : mAddress(address) {}
    RealtimeService(const RealtimeService&) = delete;
    RealtimeService& operator=(const RealtimeService&) = delete;

    /// Asks for the lowest nice value that the service gives, unless the thread has it already.
    Answer makeHighPriority(thread_act_t thread);

    /// Asks for a real-time policy at `BRAQThreadIOPriority`, or the highest that the service gives. The service
    /// demands a limit on processor time (RLIMIT_RTTIME) of the process, which is set here and stays.
    Answer makeRealtime(thread_act_t thread);

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
    void raise(const char* method, thread_act_t thread, int priorityType, const void* priority);

    Message newCall(const char* interface, const char* method) const;
    Answer granted() const;
    Answer refused(bool isReached, const std::string& why) const;

    const RealtimeServiceAddress mAddress;
    std::unique_ptr<DBusConnection, Close> mConnection;
    std::string mGivenUp; // why the service is asked no more
};

} // namespace braq
