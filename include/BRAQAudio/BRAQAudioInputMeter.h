#pragma once

#include "BRAQAudio/BRAQInputAudioUnit.h"

#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

/// @addtogroup record
/// @{

/// Measures the level of one or two input channels of a device over the last eighth of a second.
///
/// A meter keeps itself alive from creation until `invalidate`.
class BRAQ_EXPORT BRAQAudioInputMeter : public std::enable_shared_from_this<BRAQAudioInputMeter> {
  public:
    /// @param device null: the default device
    /// @param channels device channels, from 0, one or two; nothing or an empty vector: all channels of the device.
    ///        More than two channels fail an assertion: use several meters.
    /// Raises what the input unit raises. Any thread but an I/O thread.
    static std::shared_ptr<BRAQAudioInputMeter> initWithDevice(const std::shared_ptr<BRAQAudioDevice>& device,
                                                               const std::optional<std::vector<SInt32>>& channels);
    virtual ~BRAQAudioInputMeter();
    BRAQAudioInputMeter(const BRAQAudioInputMeter&) = delete;
    BRAQAudioInputMeter& operator=(const BRAQAudioInputMeter&) = delete;

    /// As in `BRAQAudioUnit`. They do nothing after `invalidate`. Any thread but an I/O thread.
    void start();
    void stop();

    /// Stops for good and drops the meter's reference to itself, so that the last user's reference keeps it alive.
    /// Idempotent. Any thread but an I/O thread.
    void invalidate();

    /// That captures what is metered. Its delegate, which is the user's, hears of the device.
    const std::shared_ptr<BRAQInputAudioUnit>& inputAudioUnit() const noexcept { return mInputAudioUnit; }

    /// Computes the level of each channel: the RMS in dBFS, relative to a full-scale square wave. A full-scale square
    /// wave is 0.0, a full-scale sine -3.01 (20 log10 of 1/sqrt 2), silence minus infinity. Not meaningful during the
    /// first eighth of a second.
    /// @return two levels; a meter of one channel uses the first. Valid for the lifetime of the meter. Any thread but
    ///        an I/O thread, at any time.
    const std::atomic<double>* levels();

    /// Allocates the sample rings for the unit's channels and rate. A new meter has them already; destroy existing ones
    /// first. Not while the meter runs.
    void createBuffers();
    /// Frees the sample rings. Without them nothing is measured and the levels stay. Idempotent. Not while the meter
    /// runs.
    void destroyBuffers();

  protected:
    explicit BRAQAudioInputMeter(std::shared_ptr<BRAQInputAudioUnit> unit);

    /// Creates the input unit of a meter. Raises.
    static std::shared_ptr<BRAQInputAudioUnit> makeUnit(const std::shared_ptr<BRAQAudioDevice>& device,
                                                        const std::optional<std::vector<SInt32>>& channels);
    /// Every init operation, here or in a derived class, returns its new meter through this. From here on the meter
    /// keeps itself alive.
    template <class Meter>
    static std::shared_ptr<Meter> handOut(Meter* made) {
        std::shared_ptr<Meter> meter(made);
        static_cast<BRAQAudioInputMeter&>(*meter).installInputProcessingBlock();
        return meter;
    }

  private:
    void installInputProcessingBlock();
    void processInput(const AudioBufferList& list) noexcept;

    static constexpr std::size_t mostChannels = 2;

    const std::shared_ptr<BRAQInputAudioUnit> mInputAudioUnit;
    float** mPeakBuf = nullptr; // owned: the latest samples of each channel; written on the I/O thread; samples: atomic
    UInt64 mPeakBufIndex = 0;   // I/O thread
    UInt64 mPeakBufLength = 0;  // samples
    std::array<std::atomic<double>, mostChannels> mLevels{}; // all: atomic
    std::mutex mMutex;                                       // whether it is invalid; starting and stopping
    bool mIsInvalid = false;                                 // under mMutex
};

/// @}
