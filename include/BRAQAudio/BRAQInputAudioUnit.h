#pragma once

#include "BRAQAudio/BRAQAudioBuffer.h"
#include "BRAQAudio/BRAQAudioDevice.h"
#include "BRAQAudio/BRAQAudioUnit.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

/// @addtogroup record
/// @{

/// Receives a captured slice. Runs on the device's I/O thread and must not block, allocate or wait. If it throws, the
/// slice is lost; this is logged once.
/// @param flags in and out
/// @param time of the first frame, counted in frames of the stream from 0 at each start
/// @param frames at most the device's buffer size when the unit was made
/// @param list the frames in the unit's format; valid until the callback returns
using BRAQInputProcessingBlock = std::function<void(AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time,
                                                    UInt32 bus, UInt32 frames, AudioBufferList* list)>;

/// Captures from one device.
class BRAQ_EXPORT BRAQInputAudioUnit : public BRAQAudioUnit {
  public:
    /// @param streamDescription format of the frames delivered: 32-bit float, at any rate
    /// @param device null: the default device
    /// @param channels device channel, from 0, for each channel of the stream; nothing or an empty vector: the first
    ///        ones. A count other than the stream's channel count fails an assertion.
    /// Platform failures are raised, and nothing is undone.
    static std::shared_ptr<BRAQInputAudioUnit>
    initWithStreamDescription(const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                              const std::shared_ptr<BRAQAudioDevice>& device,
                              const std::optional<std::vector<SInt32>>& channels);
    /// The same in the device's own format; without a device, in that which the default device has now.
    static std::shared_ptr<BRAQInputAudioUnit> initWithDevice(const std::shared_ptr<BRAQAudioDevice>& device,
                                                              const std::optional<std::vector<SInt32>>& channels);
    ~BRAQInputAudioUnit() override;

    /// Creates the platform's unit for the device and the channels that are set.
    void audioUnitInitialize() override;
    void audioUnitUninitialize() override;

    BRAQInputProcessingBlock inputProcessingBlock() const { return mInputProcessingBlock.get(); }
    /// Not while the unit runs.
    void setInputProcessingBlock(BRAQInputProcessingBlock block) { mInputProcessingBlock.set(std::move(block)); }
    std::shared_ptr<BRAQAudioDevice> device() const { return mDevice.get(); }
    /// Device and channels take effect with the next `audioUnitInitialize`.
    void setDevice(const std::shared_ptr<BRAQAudioDevice>& device) { mDevice.set(device); }
    std::optional<std::vector<SInt32>> channels() const { return mChannels.get(); }
    void setChannels(std::optional<std::vector<SInt32>> channels) { mChannels.set(std::move(channels)); }

  protected:
    BRAQInputAudioUnit(const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                       const std::shared_ptr<BRAQAudioDevice>& device,
                       const std::optional<std::vector<SInt32>>& channels);

    /// The second half of an init operation.
    template <class Unit>
    static std::shared_ptr<Unit> initialized(Unit* made) {
        auto unit = handOut(made);
        unit->audioUnitInitialize();
        static_cast<BRAQInputAudioUnit&>(*unit).mIsMade = true;
        return unit;
    }

  private:
    friend OSStatus IAUInputProc(void*, AudioUnitRenderActionFlags*, const AudioTimeStamp*, UInt32, UInt32,
                                 AudioBufferList*);

    void setUpDevice();
    void setUpFormat();

    std::shared_ptr<BRAQAudioBuffer> mInputAudioBuffer;
    BRAQAtomicProperty<BRAQInputProcessingBlock> mInputProcessingBlock;
    BRAQAtomicProperty<std::shared_ptr<BRAQAudioDevice>> mDevice;
    BRAQAtomicProperty<std::optional<std::vector<SInt32>>> mChannels;
    bool mIsMade = false; // init is complete
};

/// @}
