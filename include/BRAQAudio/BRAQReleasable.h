#pragma once

#include "BRAQAudio/platform/export.h"

#include <memory>

/// Something that an I/O thread takes references of. A reference of its that turns out to be the last does not destroy the
/// object there: a background thread of the library does.
class BRAQ_EXPORT BRAQReleasable {
  public:
    virtual ~BRAQReleasable();
    BRAQReleasable(const BRAQReleasable&) = delete;
    BRAQReleasable& operator=(const BRAQReleasable&) = delete;

  protected:
    BRAQReleasable() = default;

    /// Whether the calling thread, which is no I/O thread, is one that the destructor would wait for.
    virtual bool isOnThreadOfItsOwn() const noexcept { return false; }

    /// The first reference of an object that was just made. Any thread but an I/O thread.
    template <class Object>
    static std::shared_ptr<Object> own(Object* made) {
        return std::shared_ptr<Object>(made, [](Object* object) { letGo(object); });
    }

  private:
    friend class BRAQBackgroundThread;

    static void letGo(BRAQReleasable* object) noexcept;

    BRAQReleasable* mNext = nullptr; // of those that wait for the background thread
};
