#pragma once

#include "platform/hardware/DeviceIO.h"
#include "platform/hardware/drivers/Driver.h"
#include "platform/samples/Planes.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

namespace braq {

/// The size of a device's cycles.
struct CycleShape {
    UInt32 sliceFrames = 0; ///< longer cycles are split into slices of this size
    UInt32 inputChannels = 0;
    UInt32 outputChannels = 0;
    bool operator==(const CycleShape&) const = default;

    static CycleShape of(const DeviceDescription& description);
};

/// An I/O procedure among others.
struct MixedProcedure {
    IODirections directions;
    IOProcedure procedure;
    void* context;
    std::shared_ptr<std::atomic<bool>> hasThrown; // set on the I/O thread
};

/// The procedures that run in a device's cycles, and the memory for calling and mixing them. Control threads create it;
/// the I/O thread that has it is its only user.
class CycleMix {
  public:
    CycleMix(const CycleShape& shape, std::vector<MixedProcedure> procedures);
    CycleMix(const CycleMix&) = delete;
    CycleMix& operator=(const CycleMix&) = delete;

    /// Calls every procedure for each slice of the cycle and mixes what they play into the cycle's output. Channels
    /// beyond the shape's are silent.
    /// @return whether a procedure threw for the first time
    /// @realtime The device's I/O thread.
    bool run(const DeviceCycle& cycle) noexcept;

  private:
    /// A buffer list with one buffer per channel.
    class ChannelList {
      public:
        explicit ChannelList(UInt32 channels);
        /// Points the buffers at `frames` samples of each channel. Buffers without a pointer stay empty.
        AudioBufferList* pointAt(const Float32* const* samples, UInt32 channels, UInt32 offset, UInt32 frames) noexcept;

      private:
        std::unique_ptr<std::byte[]> mBytes;
        UInt32 mChannels;
    };

    void runSlice(const DeviceCycle& cycle, UInt32 offset, UInt32 frames) noexcept;
    bool call(const MixedProcedure& procedure, const IOSlice& slice) noexcept;

    const std::vector<MixedProcedure> mProcedures;
    const UInt32 mSliceFrames;
    const UInt32 mOutputChannels;
    ChannelList mInput;
    ChannelList mOutput;
    bool mThrewFirst = false;       // in the current cycle
    std::optional<Planes> mScratch; // output of one procedure before it is mixed, if there are several
};

} // namespace braq
