#pragma once

#include "tools/braq/play/Playback.h"

#include <chrono>
#include <optional>

/// Plays a file to its end, forwards or backwards, and then the one that follows.
class FilePlayback final : public Playback {
  public:
    FilePlayback(const std::shared_ptr<BRAQExtendedAudioFile>& file, const std::shared_ptr<BRAQAudioDevice>& device);
    ~FilePlayback() override;

    void start() override { mPlayer->startFilePlaying(); }
    void pause() override { mPlayer->pausePlaying(); }
    void resume() override { mPlayer->resumePlaying(); }
    bool isRunning() const override { return mPlayer->isPlaying(); }
    bool hasEnded() override;

    bool setNext(const std::string& path, bool backwards) override;
    void clearNext() override { mPlayer->setNextAudioFile(nullptr); }
    std::optional<Played> takePlayed() override;

    bool canLoopRange() const override { return true; }
    void setLoop(SInt64 firstFrame, SInt64 endFrame) override;
    void clearLoop() override;

    SInt64 frame() override { return mReader->position(); }
    void goTo(SInt64 frame) override;
    bool canPlayBackwards() const override { return true; }
    void setSpeed(double speed) override;
    void setKeepsPitch(bool keepsPitch) override { mPlayer->setKeepsPitch(keepsPitch); }
    void setVolume(double decibels) override { mPlayer->setPlaybackVolume(decibels); }
    void setUnscaledDownmix(bool unscaled) override { mPlayer->outputAudioUnit()->setUnscaledDownmix(unscaled); }

    std::shared_ptr<BRAQAudioDevice> device() const override { return mPlayer->outputAudioUnit()->presentDevice(); }
    float takeLevel(UInt32 channel) override { return mPlayer->outputAudioUnit()->outputLevel(channel); }
    UInt64 underruns() const override { return mUnderrunsBefore + mReader->errorCount(); }
    UInt64 lostFrames() const override { return mPlayer->lostFrames() - mLostBefore; }
    std::shared_ptr<NSError> lastError() const override { return mReader->lastError(); }

    /// The player's delegate.
    void audioFilePlayerDidReachEndOfFile(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& /*player*/) {
        mHasHeardOfEnd = true;
    }
    /// Ends the wait for the main queue, so that what follows is noticed soon.
    void audioFilePlayerDidBeginNextFile(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& /*player*/) {}

  private:
    bool canFollow(const BRAQExtendedAudioFile& file) const;
    SInt64 smoothEnd(SInt64 firstFrame, SInt64 endFrame) const;
    void keepReader();
    void takeReaderAfter(UInt64 underrunsBefore);

    const std::shared_ptr<BRAQExtendedAudioFilePlayer> mPlayer;
    std::shared_ptr<BRAQExtendedAudioFile> mFile;
    std::shared_ptr<BRAQAudioFileReader> mReader; // of mFile, also when the player has gone on
    bool mHasHeardOfEnd = false;
    std::optional<std::chrono::steady_clock::time_point> mAtEndSince;
    bool mIsReverse = false;
    UInt64 mUnderrunsBefore = 0;
    UInt64 mLostBefore = 0;
};
