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
  public:
    static UnitTable& instance();

    /// @return null when there are too many units
    AudioUnit add(std::shared_ptr<Unit> unit);
    /// Null for what names no unit. Any thread but an I/O thread.
    std::shared_ptr<Unit> find(AudioUnit reference) const;
    /// The same without keeping it alive, for the threads that render the unit: it is not let go while it is rendered.
    /// @realtime
    Unit* findRendered(AudioUnit reference) const noexcept;
    /// It is found no more. @return it, or null
    std::shared_ptr<Unit> take(AudioUnit reference);

  private:
    struct Place {
        std::atomic<UInt32> turn{0};      // odd while taken; read by all
        std::atomic<Unit*> unit{nullptr}; // read by all
        std::shared_ptr<Unit> owned;      // under the mutex
    };
    static constexpr UInt32 placesInABlock = 256;
    static constexpr UInt32 mostBlocks = 4096;
    using Block = std::array<Place, placesInABlock>;

    UnitTable() = default;
    Place* placeOf(AudioUnit reference) const noexcept;

    mutable std::mutex mMutex;
    std::array<std::atomic<Block*>, mostBlocks> mBlocks{}; // never shrinks
    UInt32 mPlaces = 0;                                    // under the mutex: that were ever taken
    std::vector<UInt32> mFree;                             // under the mutex
};

} // namespace braq
