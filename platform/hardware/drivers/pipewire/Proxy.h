#pragma once

#include "BRAQAudio/platform/types.h"
#include "platform/hardware/drivers/pipewire/Headers.h"

namespace braq::pipewire {

/// A listener on an object of the server. Everything with the loop's lock; destroyed before its core.
class Proxy {
  public:
    /// @param events must outlive the proxy
    template <class Events>
    Proxy(pw_registry* registry, UInt32 id, const char* type, UInt32 version, const Events& events, void* eventContext)
        : mProxy(static_cast<pw_proxy*>(pw_registry_bind(registry, id, type, version, 0))) {
        if (mProxy != nullptr) {
            pw_proxy_add_object_listener(mProxy, &mListener, &events, eventContext);
        }
    }
    ~Proxy() {
        if (mProxy != nullptr) {
            spa_hook_remove(&mListener);
            pw_proxy_destroy(mProxy);
        }
    }
    Proxy(const Proxy&) = delete;
    Proxy& operator=(const Proxy&) = delete;

    /// Null if the object was already removed.
    template <class Interface>
    Interface* as() const {
        return reinterpret_cast<Interface*>(mProxy);
    }

  private:
    pw_proxy* mProxy;
    spa_hook mListener{};
};

} // namespace braq::pipewire
