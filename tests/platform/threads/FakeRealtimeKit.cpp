#include "tests/platform/threads/FakeRealtimeKit.h"

#include "tests/platform/threads/Sandbox.h"

#include <sched.h>

#include <cstring>

namespace threads_test {
namespace {

struct Place {
    const char* name;
    const char* path;
    const char* interface;
};

Place placeOf(FakeRealtimeKit::Role role) {
    if (role == FakeRealtimeKit::Role::portal) {
        return {"org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop", "org.freedesktop.portal.Realtime"};
    }
    return {"org.freedesktop.RealtimeKit1", "/org/freedesktop/RealtimeKit1", "org.freedesktop.RealtimeKit1"};
}

DBusMessage* newProperty(DBusMessage* request, int type, const char* signature, const void* value) {
    DBusMessage* const reply = dbus_message_new_method_return(request);
    DBusMessageIter outer;
    DBusMessageIter variant;
    dbus_message_iter_init_append(reply, &outer);
    dbus_message_iter_open_container(&outer, DBUS_TYPE_VARIANT, signature, &variant);
    dbus_message_iter_append_basic(&variant, type, value);
    dbus_message_iter_close_container(&outer, &variant);
    return reply;
}

void raise(const FakeRealtimeKit::Call& call) {
    if (call.method == "MakeThreadHighPriorityWithPID") {
        setpriority(PRIO_PROCESS, static_cast<id_t>(call.thread), static_cast<int>(call.priority));
    } else {
        sched_param parameters{};
        parameters.sched_priority = static_cast<int>(call.priority);
        sched_setscheduler(static_cast<pid_t>(call.thread), SCHED_RR | SCHED_RESET_ON_FORK, &parameters);
    }
}

} // namespace

FakeRealtimeKit::FakeRealtimeKit(const std::string& address, Behaviour behaviour, Role role)
    : mBehaviour(behaviour), mRole(role) {
    mThread = std::thread([this, address] { serve(address); });
    mIsReady.acquire();
}

FakeRealtimeKit::~FakeRealtimeKit() {
    mMustEnd = true;
    mThread.join();
}

void FakeRealtimeKit::waitUntilAsked() {
    std::unique_lock lock(mMutex);
    mWasAsked.wait(lock, [this] { return mIsAsked; });
}

std::vector<FakeRealtimeKit::Call> FakeRealtimeKit::calls() {
    const std::lock_guard lock(mMutex);
    return mCalls;
}

void FakeRealtimeKit::serve(const std::string& address) {
    DBusConnection* const connection = dbus_connection_open_private(address.c_str(), nullptr);
    REQUIRE(connection != nullptr);
    REQUIRE(dbus_bus_register(connection, nullptr));
    REQUIRE(dbus_bus_request_name(connection, placeOf(mRole).name, 0, nullptr) ==
            DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER);
    mIsReady.release();
    while (!mMustEnd) {
        dbus_connection_read_write(connection, 20);
        while (DBusMessage* const request = dbus_connection_pop_message(connection)) {
            DBusMessage* const reply =
                dbus_message_get_type(request) == DBUS_MESSAGE_TYPE_METHOD_CALL ? answer(request) : nullptr;
            if (reply != nullptr) {
                dbus_connection_send(connection, reply, nullptr);
                dbus_connection_flush(connection);
                dbus_message_unref(reply);
            }
            dbus_message_unref(request);
        }
    }
    dbus_connection_close(connection);
    dbus_connection_unref(connection);
}

DBusMessage* FakeRealtimeKit::answer(DBusMessage* request) {
    {
        const std::lock_guard lock(mMutex);
        mIsAsked = true;
        mWasAsked.notify_all();
    }
    if (mBehaviour == Behaviour::answersNothing) {
        return nullptr;
    }
    return dbus_message_has_interface(request, DBUS_INTERFACE_PROPERTIES) ? answerProperty(request)
                                                                          : answerRaise(request);
}

DBusMessage* FakeRealtimeKit::answerProperty(DBusMessage* request) {
    const char* interface = nullptr;
    const char* name = nullptr;
    REQUIRE(dbus_message_get_args(request, nullptr, DBUS_TYPE_STRING, &interface, DBUS_TYPE_STRING, &name,
                                  DBUS_TYPE_INVALID));
    REQUIRE(std::strcmp(interface, placeOf(mRole).interface) == 0);
    if (std::strcmp(name, "MinNiceLevel") == 0) {
        return newProperty(request, DBUS_TYPE_INT32, "i", &kMinNiceLevel);
    }
    if (std::strcmp(name, "MaxRealtimePriority") == 0) {
        return newProperty(request, DBUS_TYPE_INT32, "i", &kMaxRealtimePriority);
    }
    REQUIRE(std::strcmp(name, "RTTimeUSecMax") == 0);
    return newProperty(request, DBUS_TYPE_INT64, "x", &kRTTimeUSecMax);
}

DBusMessage* FakeRealtimeKit::answerRaise(DBusMessage* request) {
    Call call{.method = dbus_message_get_member(request), .process = 0, .thread = 0, .priority = 0, .runLimit = {}};
    REQUIRE(std::strcmp(dbus_message_get_path(request), placeOf(mRole).path) == 0);
    REQUIRE(dbus_message_has_interface(request, placeOf(mRole).interface));
    if (std::strcmp(dbus_message_get_signature(request), "tti") == 0) {
        dbus_int32_t nice = 0;
        REQUIRE(dbus_message_get_args(request, nullptr, DBUS_TYPE_UINT64, &call.process, DBUS_TYPE_UINT64, &call.thread,
                                      DBUS_TYPE_INT32, &nice, DBUS_TYPE_INVALID));
        call.priority = nice;
    } else {
        dbus_uint32_t priority = 0;
        REQUIRE(dbus_message_get_args(request, nullptr, DBUS_TYPE_UINT64, &call.process, DBUS_TYPE_UINT64, &call.thread,
                                      DBUS_TYPE_UINT32, &priority, DBUS_TYPE_INVALID));
        call.priority = priority;
    }
    getrlimit(RLIMIT_RTTIME, &call.runLimit);
    {
        const std::lock_guard lock(mMutex);
        mCalls.push_back(call);
    }
    if (mBehaviour == Behaviour::refuses) {
        return dbus_message_new_error(request, DBUS_ERROR_ACCESS_DENIED, "not today");
    }
    raise(call);
    return dbus_message_new_method_return(request);
}

} // namespace threads_test
