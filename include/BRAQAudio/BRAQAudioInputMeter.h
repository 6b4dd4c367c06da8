#pragma once

#include "BRAQAudio/BRAQInputAudioUnit.h"

#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

/// Measures the level of one or two channels of a device's input over the last eighth of a second.
///
/// A meter keeps itself alive from the moment that it is made until `invalidate`.
class BRAQ_EXPORT BRAQAudioInputMeter : public std::enable_shared_from_this<BRAQAudioInputMeter> {
  public:
    /// @param channels of the device, from 0, one or two; nothing or none: all that it has. More than two channels fail an
    ///        assertion: make several meters.
    /// Raises what the input unit raises. Any thread but an I/O thread.
    static std::shared_ptr<BRAQAudioInputMeter> initWithDevice(const std::shared_ptr<BRAQAudioDevice>& device,
                                                               const std::optional<std::vector<SInt32>>& channels);
    virtual ~BRAQAudioInputMeter();
    BRAQAudioInputMeter(const BRAQAudioInputMeter&) = delete;
    BRAQAudioInputMeter& operator=(const BRAQAudioInputMeter&) = delete;

    /// As those of `BRAQAudioUnit`; nothing after `invalidate`. Any thread but an I/O thread.
    void start();
    void stop();

    /// Stops for good and lets go of what keeps the meter alive: it goes with its last user. A second call does nothing. Any
    /// thread but an I/O thread.
    void invalidate();

    /// Computes the level of each channel: the root of the mean square in decibels relative to full scale, so that a full-scale
    /// square wave is 0.0, a full-scale sine -3.01 (20 log10 of 1/sqrt 2), and silence minus infinity. For the first eighth of a
    /// second it says nothing useful.
    /// @return two levels, of which a meter of one channel has the first; good as long as the meter. Any thread but an I/O
    ///         thread, at any time.
    const std::atomic<double>* levels();

    /// Makes the rings of samples for the channels and the rate of the unit, which a new meter has already; those that are there
    /// are to be destroyed first. Not while the meter runs.
    void createBuffers();
    /// Without rings nothing is measured, and levels stay as they are. Harmless when repeated. Not while the meter runs.
    void destroyBuffers();

  protected:
    explicit BRAQAudioInputMeter(std::shared_ptr<BRAQInputAudioUnit> unit);

    /// The input unit for a meter. Raises.
    static std::shared_ptr<BRAQInputAudioUnit> makeUnit(const std::shared_ptr<BRAQAudioDevice>& device,
                                                        const std::optional<std::vector<SInt32>>& channels);
    /// How an init operation, here or in a derived class, hands out the meter that it made: from here on it keeps itself alive.
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
    bool mIsInvalid = false;                                 // under the mutex
};
