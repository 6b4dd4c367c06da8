#pragma once

#include "platform/hardware/drivers/pipewire/DataThread.h"
#include "platform/hardware/drivers/pipewire/Loop.h"

#include <spa/utils/hook.h>

struct pw_context;
struct pw_core;

namespace braq::pipewire {

/// Receives events of the connection to the server, on the loop's thread.
class ConnectionListener {
  public:
    virtual void connected(pw_core* core) = 0;
    /// The server is gone, or the first attempt found none. Release everything that was made from the core now.
    virtual void disconnected() = 0;
    /// The server has reached a `sync`.
    virtual void synchronised() = 0;

  protected:
    ~ConnectionListener() = default;
};

/// The connection to the server, which is retried whenever it is lost. Lives as long as the process.
class Connection {
  public:
    Connection(Loop& loop, ConnectionListener& listener);
    ~Connection() = delete;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Makes the loop's thread look for the server. Any thread.
    void begin() { mBegin.signal(); }

    /// Asks the server to answer when it has processed all earlier requests. While connected, with the loop's lock.
    void sync();

  private:
    void makeContext();
    void seek();
    void lose();

    Loop& mLoop;
    ConnectionListener& mListener;
    LoopEvent mBegin;
    LoopEvent mLost;
    LoopTimer mRetry;
    pw_context* mContext = nullptr;
    pw_core* mCore = nullptr;
    spa_hook mCoreListener{};
    DataThread mDataThread;
    bool mHasSought = false;
};

} // namespace braq::pipewire
