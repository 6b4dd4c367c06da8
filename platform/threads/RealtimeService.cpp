#include "platform/threads/RealtimeService.h"

#include "platform/threads/Scheduling.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <optional>
#include <stdexcept>

namespace braq {
namespace {

// Time for the bus to start the service.
constexpr int kTimeoutMilliseconds = 5000;

// An error of libdbus that frees itself.
struct Error : DBusError {
    Error() { dbus_error_init(this); }
    Error(const Error&) = delete;
    Error& operator=(const Error&) = delete;
    ~Error() { dbus_error_free(this); }

    std::string text() const { return std::string(name) + ": " + message; }
};

// The service refuses processes that have not limited how long they run at real-time priority without blocking. It
// checks the hard limit.
void limitRealtimeRun(SInt64 mostMicroseconds) {
    rlimit limit{};
    getrlimit(RLIMIT_RTTIME, &limit);
    limit.rlim_max = std::min(limit.rlim_max, static_cast<rlim_t>(mostMicroseconds));
    limit.rlim_cur = std::min(limit.rlim_cur, limit.rlim_max);
    if (setrlimit(RLIMIT_RTTIME, &limit) != 0) {
        throw std::runtime_error("RLIMIT_RTTIME cannot be set");
    }
}

// Without this check, libdbus would start a bus if there is none.
bool hasSessionBus() {
    const char* const address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    if (address != nullptr && *address != '\0') {
        return true;
    }
    const char* const folder = std::getenv("XDG_RUNTIME_DIR");
    return folder != nullptr && access((std::string(folder) + "/bus").c_str(), R_OK | W_OK) == 0;
}

SInt64 integerIn(DBusMessageIter& value) {
    DBusBasicValue basic{};
    switch (dbus_message_iter_get_arg_type(&value)) {
    case DBUS_TYPE_INT32: dbus_message_iter_get_basic(&value, &basic); return basic.i32;
    case DBUS_TYPE_INT64: dbus_message_iter_get_basic(&value, &basic); return basic.i64;
    default: throw std::runtime_error("a property is not a signed integer");
    }
}

} // namespace

RealtimeService::Answer RealtimeService::makeHighPriority(thread_act_t thread) {
    bool isReached = false;
    try {
        const auto nice = static_cast<dbus_int32_t>(std::clamp<SInt64>(property("MinNiceLevel"), -20, 19));
        isReached = true;
        const std::optional<Scheduling> current = readScheduling(thread);
        if (current && current->nice <= nice) {
            return {true, std::string(mAddress.name) + " would not give a lower nice value"};
        }
        raise("MakeThreadHighPriorityWithPID", thread, DBUS_TYPE_INT32, &nice);
        return granted();
    } catch (const std::exception& problem) {
        return refused(isReached, problem.what());
    }
}

RealtimeService::Answer RealtimeService::makeRealtime(thread_act_t thread) {
    bool isReached = false;
    try {
        const SInt64 highest = property("MaxRealtimePriority");
        isReached = true;
        const SInt64 mostMicroseconds = property("RTTimeUSecMax");
        if (highest < 1 || mostMicroseconds < 1) {
            return {true, std::string(mAddress.name) + " gives no real-time priority"};
        }
        const auto priority = static_cast<dbus_uint32_t>(std::min<SInt64>(highest, BRAQThreadIOPriority));
        limitRealtimeRun(mostMicroseconds);
        raise("MakeThreadRealtimeWithPID", thread, DBUS_TYPE_UINT32, &priority);
        return granted();
    } catch (const std::exception& problem) {
        return refused(isReached, problem.what());
    }
}

RealtimeService::Answer RealtimeService::granted() const { return {true, std::string("granted by ") + mAddress.name}; }

RealtimeService::Answer RealtimeService::refused(bool isReached, const std::string& why) const {
    return {isReached,
            isReached ? std::string("no permission for more, and none from ") + mAddress.name + ": " + why : why};
}

// Process and thread have the ids that this process sees. In a separate PID namespace, the portal translates them.
void RealtimeService::raise(const char* method, thread_act_t thread, int priorityType, const void* priority) {
    const Message message = newCall(mAddress.interface, method);
    const auto process = static_cast<dbus_uint64_t>(getpid());
    const auto kernelThread = static_cast<dbus_uint64_t>(thread);
    if (!dbus_message_append_args(message.get(), DBUS_TYPE_UINT64, &process, DBUS_TYPE_UINT64, &kernelThread,
                                  priorityType, priority, DBUS_TYPE_INVALID)) {
        throw std::bad_alloc();
    }
    send(message);
}

void RealtimeService::Close::operator()(DBusConnection* connection) const {
    dbus_connection_close(connection);
    dbus_connection_unref(connection);
}

void RealtimeService::connect() {
    if (mConnection) {
        return;
    }
    if (mAddress.bus == DBUS_BUS_SESSION && !hasSessionBus()) {
        mGivenUp = "there is no session bus";
        throw std::runtime_error(mGivenUp);
    }
    Error error;
    mConnection.reset(dbus_bus_get_private(mAddress.bus, &error));
    if (!mConnection) {
        mGivenUp = error.text();
        throw std::runtime_error(mGivenUp);
    }
    dbus_connection_set_exit_on_disconnect(mConnection.get(), FALSE);
}

RealtimeService::Message RealtimeService::send(const Message& message) {
    Error error;
    Message reply(
        dbus_connection_send_with_reply_and_block(mConnection.get(), message.get(), kTimeoutMilliseconds, &error));
    if (!reply) {
        if (dbus_error_has_name(&error, DBUS_ERROR_NO_REPLY)) {
            mGivenUp = error.text();
        }
        throw std::runtime_error(error.text());
    }
    return reply;
}

SInt64 RealtimeService::property(const char* name) {
    if (!mGivenUp.empty()) {
        throw std::runtime_error(mGivenUp);
    }
    connect();
    const Message message = newCall(DBUS_INTERFACE_PROPERTIES, "Get");
    if (!dbus_message_append_args(message.get(), DBUS_TYPE_STRING, &mAddress.interface, DBUS_TYPE_STRING, &name,
                                  DBUS_TYPE_INVALID)) {
        throw std::bad_alloc();
    }
    const Message reply = send(message);
    DBusMessageIter outer;
    DBusMessageIter value;
    if (!dbus_message_iter_init(reply.get(), &outer) || dbus_message_iter_get_arg_type(&outer) != DBUS_TYPE_VARIANT) {
        throw std::runtime_error(std::string(name) + " is not answered as a property");
    }
    dbus_message_iter_recurse(&outer, &value);
    return integerIn(value);
}

RealtimeService::Message RealtimeService::newCall(const char* interface, const char* method) const {
    Message message(dbus_message_new_method_call(mAddress.service, mAddress.path, interface, method));
    if (!message) {
        throw std::bad_alloc();
    }
    return message;
}

} // namespace braq
