#pragma once

#include "BRAQAudio/platform/export.h"

#include <memory>

/// @addtogroup units
/// @{

/// An object that I/O threads may hold references to. If the last reference is dropped on an I/O thread, a background
/// thread of the library destroys the object.
class BRAQ_EXPORT BRAQReleasable {
  public:
    virtual ~BRAQReleasable();
    BRAQReleasable(const BRAQReleasable&) = delete;
    BRAQReleasable& operator=(const BRAQReleasable&) = delete;

  protected:
    BRAQReleasable() = default;

    /// Whether the calling thread, which is not an I/O thread, is one that the destructor would wait for.
    virtual bool isOnThreadOfItsOwn() const noexcept { return false; }

    /// Takes ownership of a new object. Any thread but an I/O thread.
    template <class Object>
    static std::shared_ptr<Object> own(Object* made) {
        return std::shared_ptr<Object>(made, [](Object* object) { letGo(object); });
    }

  private:
    friend class BRAQBackgroundThread;

    static void letGo(BRAQReleasable* object) noexcept;

    BRAQReleasable* mNext = nullptr; // next of those that wait for the background thread
};

/// @}
