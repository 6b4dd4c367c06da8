#pragma once

#include "tools/braq/play/Playback.h"
#include "tools/braq/terminal/Keys.h"

#include <optional>

/// Keyboard control of a playback, kept from file to file.
class PlayControls {
  public:
    /// What a key requests from the program itself.
    enum class Wish { nothing, next, previous, quit, help };

    /// Lines that fit every terminal.
    static constexpr const char* help = "space pause   left/right 5 s   page down/up 1 min   home/end of the file\n"
                                        "up/down volume   +/- speed   r reverse   n/p next/previous file   q quit\n"
                                        "l loop: from here, once more: to here, once more: no loop   k keep the pitch";

    /// @param speed negative: backwards, which not every playback supports
    PlayControls(double speed, double decibels, bool keepsPitch);

    /// What the user has marked of the file to be looped.
    struct Loop {
        std::optional<SInt64> from{};
        std::optional<SInt64>
            to{}; ///< once it loops: where the other end is, before `from` if it was reached backwards
    };

    /// Starts a playback at its position with the current settings, without a loop; also after a pause.
    void start(Playback& playback);
    Wish press(Key key, Playback& playback);
    /// What a key requests of the program, if nothing plays that it could control.
    static Wish wishOf(Key key);

    /// To be called when another file is played: what was marked was in the one before.
    void forgetLoop() noexcept { mLoop = {}; }
    const Loop& loop() const noexcept { return mLoop; }

    bool isPaused() const noexcept { return mIsPaused; }
    bool isReverse() const noexcept { return mIsReverse; }
    double speed() const noexcept { return mIsReverse ? -mSpeed : mSpeed; }
    bool keepsPitch() const noexcept { return mKeepsPitch; }
    double decibels() const noexcept { return mDecibels; }

  private:
    void pauseOrResume(Playback& playback);
    static void skip(double seconds, Playback& playback);
    void markLoop(Playback& playback);
    void turnRound(Playback& playback);
    void changeSpeed(int semitones, Playback& playback);
    void keepOrChangePitch(Playback& playback);
    void changeVolume(double decibels, Playback& playback);

    double mSpeed; // its magnitude
    bool mIsReverse;
    double mDecibels;
    bool mKeepsPitch;
    bool mIsPaused = false;
    Loop mLoop;
};
