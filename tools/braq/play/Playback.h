#pragma once

#include <BRAQAudio/BRAQAudio.h>

#include <memory>
#include <optional>
#include <string>

/// What has become of a file that was played.
struct Played {
    double seconds = 0.0; ///< where it ended
    UInt64 underruns = 0;
    double lostSeconds = 0.0;             ///< of dropouts: the process or the device was held up
    std::shared_ptr<NSError> lastError{}; ///< why reading ended too early; null if it did not
};

/// A file being played on a device; others may follow it. Main thread; raises what the library raises.
///
/// Nothing clicks: where it begins within the file, is paused, moved, turned round and ended, it fades.
class Playback {
  public:
    virtual ~Playback() = default;
    Playback(const Playback&) = delete;
    Playback& operator=(const Playback&) = delete;

    /// Frames of the file.
    SInt64 frames() const noexcept { return mFrames; }
    /// At which the frames are counted and played.
    Float64 rate() const noexcept { return mRate; }
    /// Of the file, which may be converted.
    Float64 fileRate() const noexcept { return mFileRate; }
    UInt32 channels() const noexcept { return mChannels; }

    /// Plays from the current position.
    virtual void start() = 0;
    /// Neither loses a frame.
    virtual void pause() = 0;
    virtual void resume() = 0;
    /// Also false if the device was removed.
    virtual bool isRunning() const = 0;
    /// Whether the whole file was played, and none followed.
    virtual bool hasEnded() = 0;

    /// Has another file begin directly behind the last frame of this one. Throws std::runtime_error if it cannot be
    /// opened; then, or if it cannot follow, none follows.
    /// @param backwards from its end
    /// @return whether it can; else it has to be played by a playback of its own
    virtual bool setNext(const std::string& /*path*/, bool /*backwards*/) { return false; }
    /// Has none follow.
    virtual void clearNext() {}
    /// Goes on with the file that follows, if that has begun since the last call.
    /// @return what has become of the one before; nothing if that is still played
    virtual std::optional<Played> takePlayed() { return std::nullopt; }
    /// What has become of the file so far.
    Played played() {
        return {static_cast<double>(frame()) / rate(), underruns(), static_cast<double>(lostFrames()) / rate(),
                lastError()};
    }

    /// The frame of the file being played.
    virtual SInt64 frame() = 0;
    virtual bool canLoopRange() const { return false; }
    /// Plays a range of the file again and again, in either direction, once it has been entered or is played now. The
    /// next file has no loop.
    /// @param endFrame behind the last frame; a few milliseconds from there if that is where nothing clicks
    virtual void setLoop(SInt64 /*firstFrame*/, SInt64 /*endFrame*/) {}
    /// Goes on behind the range when its end is reached.
    virtual void clearLoop() {}
    virtual void goTo(SInt64 frame) = 0;
    virtual bool canPlayBackwards() const = 0;
    /// @param speed magnitude from 1/32 to 32; negative: backwards; takes effect at once
    virtual void setSpeed(double speed) = 0;
    /// Whether the speed leaves the pitch as it is; raises for speeds outside 1/4 to 4, and with more than 16 channels.
    virtual void setKeepsPitch(bool keepsPitch) = 0;
    virtual void setVolume(double decibels) = 0;
    /// Before it plays. By default, channels that are mixed because the device has fewer are scaled so that no sum
    /// clips.
    virtual void setUnscaledDownmix(bool unscaled) = 0;

    /// The device that it plays on now; null while that is gone.
    virtual std::shared_ptr<BRAQAudioDevice> device() const = 0;
    /// The peak since the last call.
    virtual float takeLevel(UInt32 channel) = 0;
    /// Of the file.
    virtual UInt64 underruns() const = 0;
    /// While the file was played, because the process or the device was held up.
    virtual UInt64 lostFrames() const = 0;
    /// Why reading ended too early; null if it did not.
    virtual std::shared_ptr<NSError> lastError() const = 0;

  protected:
    static constexpr double transitionMilliseconds = 8.0; // not heard as a fade, and does not click

    explicit Playback(const BRAQExtendedAudioFile& file)
        : Playback(0, file.streamDescription()->sampleRate(), file.streamDescription()->channelsPerFrame()) {
        setFacts(file);
    }
    Playback(SInt64 frames, Float64 rate, UInt32 channels)
        : mFrames(frames), mRate(rate), mFileRate(rate), mChannels(channels) {}

    /// Of a file with the same channels, which is read at the same rate.
    void setFacts(const BRAQExtendedAudioFile& file) {
        mFrames = file.exactFrameCount();
        mFileRate = file.fileDataFormat().mSampleRate;
    }

  private:
    SInt64 mFrames;
    const Float64 mRate;
    Float64 mFileRate;
    const UInt32 mChannels;
};
