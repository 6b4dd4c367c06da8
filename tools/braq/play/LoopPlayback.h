#pragma once

#include "tools/braq/play/Playback.h"

/// Plays a file forwards in a gapless loop.
class LoopPlayback final : public Playback {
  public:
    LoopPlayback(const std::shared_ptr<BRAQExtendedAudioFile>& file, const std::shared_ptr<BRAQAudioDevice>& device);
    ~LoopPlayback() override;

    void start() override;
    void pause() override { mUnit->stop(); }
    void resume() override;
    bool isRunning() const override { return mUnit->isRunning(); }
    /// A loop has no end.
    bool hasEnded() override { return false; }

    SInt64 frame() override { return mReader->currentFrame(); }
    void goTo(SInt64 frame) override;
    bool canPlayBackwards() const override { return false; }
    void setSpeed(double speed) override { mUnit->setPlaybackRate(speed); }
    void setKeepsPitch(bool keepsPitch) override { mUnit->setKeepsPitch(keepsPitch); }
    void setVolume(double decibels) override;
    void setUnscaledDownmix(bool unscaled) override { mUnit->setUnscaledDownmix(unscaled); }

    std::shared_ptr<BRAQAudioDevice> device() const override { return mUnit->presentDevice(); }
    float takeLevel(UInt32 channel) override { return mUnit->outputLevel(channel); }
    UInt64 underruns() const override { return mUnderrunsBefore + mReader->errorCount(); }
    UInt64 lostFrames() const override { return mUnit->lostFrames(); }
    std::shared_ptr<NSError> lastError() const override { return mReader->lastError(); }

  private:
    const std::shared_ptr<BRAQAudioFileReader> mReader;
    const std::shared_ptr<BRAQOutputAudioUnit> mUnit;
    UInt64 mUnderrunsBefore = 0;
};
