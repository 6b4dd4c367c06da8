#pragma once

#include "tools/braq/play/Playback.h"

#include <chrono>
#include <optional>

/// Plays a file to its end, forwards or backwards.
class FilePlayback final : public Playback {
  public:
    FilePlayback(const std::shared_ptr<BRAQExtendedAudioFile>& file, const std::shared_ptr<BRAQAudioDevice>& device);
    ~FilePlayback() override;

    void start() override { mPlayer->startFilePlaying(); }
    void pause() override { mPlayer->pausePlaying(); }
    void resume() override { mPlayer->resumePlaying(); }
    bool isRunning() const override { return mPlayer->isPlaying(); }
    bool hasEnded() override;

    SInt64 frame() override { return mPlayer->position(); }
    void goTo(SInt64 frame) override;
    bool canPlayBackwards() const override { return true; }
    void setSpeed(double speed) override;
    void setVolume(double decibels) override { mPlayer->setPlaybackVolume(decibels); }
    void setUnscaledDownmix(bool unscaled) override { mPlayer->outputAudioUnit()->setUnscaledDownmix(unscaled); }

    std::shared_ptr<BRAQAudioDevice> device() const override { return mPlayer->outputAudioUnit()->presentDevice(); }
    float takeLevel(UInt32 channel) override { return mPlayer->outputAudioUnit()->outputLevel(channel); }
    UInt64 underruns() const override { return mUnderrunsBefore + mPlayer->errorCount(); }
    std::shared_ptr<NSError> lastError() const override { return mPlayer->lastError(); }

    /// The player's delegate.
    void audioFilePlayerDidReachEndOfFile(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& /*player*/) {
        mHasHeardOfEnd = true;
    }

  private:
    const std::shared_ptr<BRAQExtendedAudioFilePlayer> mPlayer;
    bool mHasHeardOfEnd = false;
    std::optional<std::chrono::steady_clock::time_point> mAtEndSince;
    bool mIsReverse = false;
    UInt64 mUnderrunsBefore = 0;
};
