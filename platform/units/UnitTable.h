#pragma once

#include "BRAQAudio/platform/BRAQRealtimeSection.h"
#include "platform/units/Unit.h"

#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace braq {

/// The units of the process by reference. A reference consists of a place and its generation, so that a disposed
/// reference is detected, also on an I/O thread.
class UnitTable {
    struct Place;

  public:
    static UnitTable& instance();

    /// Keeps a unit in use while it lives, for threads that render: whoever removes the unit waits for it.
    /// @realtime Any thread.
    class Use {
      public:
        explicit Use(AudioUnit reference) noexcept;
        ~Use();
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;

        /// Null for an invalid reference.
        Unit* unit() const noexcept { return mUnit; }

      private:
        Place* const mPlace;
        Unit* mUnit = nullptr;
    };

    /// @return null if there are too many units
    AudioUnit add(std::shared_ptr<Unit> unit);
    /// Null for an invalid reference. Any thread but an I/O thread.
    std::shared_ptr<Unit> find(AudioUnit reference) const;
    /// Whether the reference is valid. @realtime Any thread.
    bool contains(AudioUnit reference) const noexcept { return placeOf(reference) != nullptr; }
    /// Removes the unit: when this returns, nobody uses it any longer. @return the unit, or null. Any thread but an I/O
    /// thread.
    std::shared_ptr<Unit> take(AudioUnit reference);

  private:
    struct Place {
        std::atomic<UInt32> generation{0};                           // odd while taken; read by all
        BRAQRealtimeSection use{BRAQRealtimeSection::Threads::many}; // passed by all who use the unit
        std::atomic<Unit*> unit{nullptr};                            // read by all
        std::shared_ptr<Unit> owned;                                 // under mMutex
    };
    static constexpr UInt32 placesInABlock = 256;
    static constexpr UInt32 mostBlocks = 4096;
    using Block = std::array<Place, placesInABlock>;

    static UInt32 generationOf(AudioUnit reference) noexcept;

    UnitTable() = default;
    Place* placeOf(AudioUnit reference) const noexcept;

    mutable std::mutex mMutex;
    std::array<std::atomic<Block*>, mostBlocks> mBlocks{}; // never shrinks
    UInt32 mPlaces = 0;                                    // under mMutex: places ever taken
    std::vector<UInt32> mFree;                             // under mMutex
};

} // namespace braq
