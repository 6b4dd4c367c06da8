#pragma once

#include <BRAQAudio/BRAQAudio.h>

#include <memory>

/// A file being played on a device. Main thread; raises what the library raises.
///
/// Nothing clicks: where it begins within the file, is paused, moved, turned round and ended, it fades.
class Playback {
  public:
    virtual ~Playback() = default;
    Playback(const Playback&) = delete;
    Playback& operator=(const Playback&) = delete;

    /// Frames of the file.
    SInt64 frames() const noexcept { return mFrames; }
    Float64 rate() const noexcept { return mRate; }
    UInt32 channels() const noexcept { return mChannels; }

    /// Plays from the current position.
    virtual void start() = 0;
    /// Neither loses a frame.
    virtual void pause() = 0;
    virtual void resume() = 0;
    /// Also false if the device was removed.
    virtual bool isRunning() const = 0;
    /// Whether the whole file was played.
    virtual bool hasEnded() = 0;

    /// The frame of the file being played.
    virtual SInt64 frame() = 0;
    virtual void goTo(SInt64 frame) = 0;
    virtual bool canPlayBackwards() const = 0;
    /// @param speed magnitude from 1/32 to 32; negative: backwards; takes effect at once
    virtual void setSpeed(double speed) = 0;
    virtual void setVolume(double decibels) = 0;
    /// Before it plays. By default, channels that are mixed because the device has fewer are scaled so that no sum
    /// clips.
    virtual void setUnscaledDownmix(bool unscaled) = 0;

    /// The device that it plays on now; null while that is gone.
    virtual std::shared_ptr<BRAQAudioDevice> device() const = 0;
    /// The peak since the last call.
    virtual float takeLevel(UInt32 channel) = 0;
    virtual UInt64 underruns() const = 0;
    /// Why reading ended too early; null if it did not.
    virtual std::shared_ptr<NSError> lastError() const = 0;

  protected:
    static constexpr double transitionMilliseconds = 8.0; // not heard as a fade, and does not click

    explicit Playback(const BRAQExtendedAudioFile& file)
        : Playback(file.frameCount(), file.streamDescription()->sampleRate(),
                   file.streamDescription()->channelsPerFrame()) {}
    Playback(SInt64 frames, Float64 rate, UInt32 channels) : mFrames(frames), mRate(rate), mChannels(channels) {}

  private:
    const SInt64 mFrames;
    const Float64 mRate;
    const UInt32 mChannels;
};
