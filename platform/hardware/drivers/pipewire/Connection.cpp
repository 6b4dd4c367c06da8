#include "platform/hardware/drivers/pipewire/Connection.h"
#include "platform/foundation/ApplicationFacts.h"

#include "BRAQAudio/platform/foundation/NSLog.h"
#include "platform/hardware/drivers/pipewire/Headers.h"

#include <cerrno>

namespace braq::pipewire {
namespace {

// Devices must be back within a second of the server's return; an attempt without a server is one refused system call.
constexpr std::chrono::milliseconds retryInterval{200};

} // namespace

Connection::Connection(Loop& loop, ConnectionListener& listener)
    : mLoop(loop),
      mListener(listener),
      mBegin(loop, [this] { makeContext(); }),
      mLost(loop, [this] { lose(); }),
      mRetry(loop, [this] { seek(); }) {}

void Connection::makeContext() {
    mContext =
        pw_context_new(mLoop.get(), pw_properties_new(PW_KEY_APP_NAME, applicationFacts().name.c_str(), nullptr), 0);
    if (mContext == nullptr || !mDataThread.replaceThatOf(mContext)) {
        NSLog("(ERROR) PipeWire : the client library does not work; there are no devices of a sound server.");
        mListener.disconnected();
        return;
    }
    seek();
}

void Connection::seek() {
    mCore = pw_context_connect(mContext, nullptr, 0);
    if (mCore == nullptr) {
        mRetry.fireAfter(retryInterval);
        if (!mHasSought) {
            mHasSought = true;
            mListener.disconnected();
        }
        return;
    }
    mHasSought = true;
    // Field by field, because newer versions have more of them.
    static const pw_core_events events = [] {
        pw_core_events answers{};
        answers.version = PW_VERSION_CORE_EVENTS;
        answers.done = [](void* self, uint32_t id, int /*sequence*/) {
            if (id == PW_ID_CORE) {
                static_cast<Connection*>(self)->mDataThread.makeIO();
                static_cast<Connection*>(self)->mListener.synchronised();
            }
        };
        answers.error = [](void* self, uint32_t id, int /*sequence*/, int result, const char* /*message*/) {
            // The caller still uses the core; it is released from the loop.
            if (id == PW_ID_CORE && result == -EPIPE) {
                static_cast<Connection*>(self)->mLost.signal();
            }
        };
        return answers;
    }();
    mCoreListener = {};
    pw_core_add_listener(mCore, &mCoreListener, &events, this);
    mListener.connected(mCore);
}

void Connection::lose() {
    if (mCore == nullptr) {
        return;
    }
    mListener.disconnected();
    spa_hook_remove(&mCoreListener);
    pw_core_disconnect(mCore);
    mCore = nullptr;
    mRetry.fireAfter(retryInterval);
}

void Connection::sync() { pw_core_sync(mCore, PW_ID_CORE, 0); }

} // namespace braq::pipewire
