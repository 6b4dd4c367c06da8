#include "tools/braq/play/PlayControls.h"

#include <BRAQAudio/BRAQAudio.h>

#include <algorithm>
#include <cmath>

PlayControls::PlayControls(double speed, double decibels, bool keepsPitch)
    : mSpeed(std::fabs(speed)), mIsReverse(speed < 0.0), mDecibels(decibels), mKeepsPitch(keepsPitch) {}

void PlayControls::start(Playback& playback) {
    mIsPaused = false;
    forgetLoop();
    playback.setKeepsPitch(mKeepsPitch);
    playback.setSpeed(speed());
    playback.setVolume(mDecibels);
    playback.start();
}

PlayControls::Wish PlayControls::press(Key key, Playback& playback) {
    constexpr double skippedSeconds = 5.0;
    constexpr double pageSeconds = 60.0;
    switch (key) {
    case Key::space: pauseOrResume(playback); break;
    case Key::left: skip(-skippedSeconds, playback); break;
    case Key::right: skip(skippedSeconds, playback); break;
    case Key::pageDown: skip(-pageSeconds, playback); break;
    case Key::pageUp: skip(pageSeconds, playback); break;
    case Key::home: playback.goTo(0); break;
    case Key::end: playback.goTo(playback.frames()); break;
    case Key::up: changeVolume(1.0, playback); break;
    case Key::down: changeVolume(-1.0, playback); break;
    case Key::plus: changeSpeed(1, playback); break;
    case Key::minus: changeSpeed(-1, playback); break;
    case Key::k: keepOrChangePitch(playback); break;
    case Key::l: markLoop(playback); break;
    case Key::r: turnRound(playback); break;
    default: return wishOf(key);
    }
    return Wish::nothing;
}

PlayControls::Wish PlayControls::wishOf(Key key) {
    switch (key) {
    case Key::n: return Wish::next;
    case Key::p: return Wish::previous;
    case Key::q: return Wish::quit;
    case Key::questionMark: return Wish::help;
    default: return Wish::nothing;
    }
}

void PlayControls::pauseOrResume(Playback& playback) {
    mIsPaused = !mIsPaused;
    if (mIsPaused) {
        playback.pause();
    } else {
        playback.resume();
    }
}

void PlayControls::skip(double seconds, Playback& playback) {
    const auto frames = static_cast<SInt64>(seconds * playback.rate());
    playback.goTo(std::clamp(playback.frame() + frames, SInt64{0}, playback.frames()));
}

// Playing is at the second mark then, which is behind the range, unless somebody has gone to the other side of the first
// mark meanwhile. A shorter range is more likely a key pressed twice.
void PlayControls::markLoop(Playback& playback) {
    constexpr double shortestSeconds = 0.05;
    if (mLoop.to) {
        playback.clearLoop();
        forgetLoop();
        return;
    }
    if (!playback.canLoopRange()) {
        return;
    }
    const SInt64 here = playback.frame();
    if (!mLoop.from) {
        mLoop.from = here;
        return;
    }
    const auto [first, end] = std::minmax(*mLoop.from, here);
    if (static_cast<double>(end - first) < shortestSeconds * playback.rate()) {
        return;
    }
    const bool isBehind = here == (mIsReverse ? first : end);
    if (isBehind) {
        playback.goTo(*mLoop.from);
    }
    playback.setLoop(first, end);
    mLoop.to = here;
}

void PlayControls::turnRound(Playback& playback) {
    if (playback.canPlayBackwards()) {
        mIsReverse = !mIsReverse;
        playback.setSpeed(speed());
    }
}

// In whole semitones, so that keys get back to the file's own speed exactly. A speed outside the range comes from the
// command line; a key never takes it further out.
void PlayControls::changeSpeed(int semitones, Playback& playback) {
    constexpr int semitonesAnOctave = 12;
    constexpr int furthest = 2 * semitonesAnOctave; // a quarter to four times
    const auto before = static_cast<int>(std::lround(std::log2(mSpeed) * semitonesAnOctave));
    const int after = before + semitones;
    if (std::abs(after) > furthest && std::abs(after) > std::abs(before)) {
        return;
    }
    mSpeed = std::exp2(static_cast<double>(after) / semitonesAnOctave);
    playback.setSpeed(speed());
}

// Not every speed of the command line, nor every file, lets the pitch be kept.
void PlayControls::keepOrChangePitch(Playback& playback) {
    try {
        playback.setKeepsPitch(!mKeepsPitch);
        mKeepsPitch = !mKeepsPitch;
    } catch (const NSException&) {
    }
}

void PlayControls::changeVolume(double decibels, Playback& playback) {
    constexpr double lowest = -60.0;
    constexpr double highest = 12.0;
    const double after = mDecibels + decibels;
    const bool isBeyond = decibels > 0.0 ? after > highest : after < lowest;
    if (!isBeyond) {
        mDecibels = after;
        playback.setVolume(mDecibels);
    }
}
