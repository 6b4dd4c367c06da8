#pragma once

#include "platform/units/Unit.h"

#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace braq {

/// The units of the process by their references. A reference is the number of a place and how often that was taken before, so
/// that one which was disposed of is known to be, also on an I/O thread.
class UnitTable {
    struct Place;

  public:
    static UnitTable& instance();

    /// Keeps a unit as long as it lives, for the threads that render: whoever takes the unit away waits meanwhile.
    /// @realtime Any thread.
    class Use {
      public:
        explicit Use(AudioUnit reference) noexcept;
        ~Use();
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;

        /// Null for what names no unit.
        Unit* unit() const noexcept { return mUnit; }

      private:
        Place* const mPlace;
        Unit* mUnit = nullptr;
    };

    /// @return null when there are too many units
    AudioUnit add(std::shared_ptr<Unit> unit);
    /// Null for what names no unit. Any thread but an I/O thread.
    std::shared_ptr<Unit> find(AudioUnit reference) const;
    /// Whether it names a unit. @realtime Any thread.
    bool contains(AudioUnit reference) const noexcept { return placeOf(reference) != nullptr; }
    /// It is found no more, and used no more when this returns. @return it, or null. Any thread but an I/O thread.
    std::shared_ptr<Unit> take(AudioUnit reference);

  private:
    struct Place {
        std::atomic<UInt32> turn{0};      // odd while taken; read by all
        std::atomic<UInt32> users{0};     // changed by all
        std::atomic<Unit*> unit{nullptr}; // read by all
        std::shared_ptr<Unit> owned;      // under the mutex
    };
    static constexpr UInt32 placesInABlock = 256;
    static constexpr UInt32 mostBlocks = 4096;
    using Block = std::array<Place, placesInABlock>;

    static UInt32 turnOf(AudioUnit reference) noexcept;

    UnitTable() = default;
    Place* placeOf(AudioUnit reference) const noexcept;

    mutable std::mutex mMutex;
    std::array<std::atomic<Block*>, mostBlocks> mBlocks{}; // never shrinks
    UInt32 mPlaces = 0;                                    // under the mutex: that were ever taken
    std::vector<UInt32> mFree;                             // under the mutex
};

} // namespace braq
