#include "tools/braq/play/PlayControls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>

namespace {

using testing::StrictMock;
using Wish = PlayControls::Wish;

constexpr Float64 sampleRate = 1000.0;
constexpr SInt64 fileFrames = 200'000;

class MockPlayback : public Playback {
  public:
    MockPlayback() : Playback(fileFrames, sampleRate, 2) {}

    MOCK_METHOD(void, start, (), (override));
    MOCK_METHOD(void, pause, (), (override));
    MOCK_METHOD(void, resume, (), (override));
    MOCK_METHOD(bool, isRunning, (), (const, override));
    MOCK_METHOD(bool, hasEnded, (), (override));
    MOCK_METHOD(SInt64, frame, (), (override));
    MOCK_METHOD(bool, canLoopRange, (), (const, override));
    MOCK_METHOD(void, setLoop, (SInt64, SInt64), (override));
    MOCK_METHOD(void, clearLoop, (), (override));
    MOCK_METHOD(void, goTo, (SInt64), (override));
    MOCK_METHOD(bool, canPlayBackwards, (), (const, override));
    MOCK_METHOD(void, setSpeed, (double), (override));
    MOCK_METHOD(void, setKeepsPitch, (bool), (override));
    MOCK_METHOD(void, setVolume, (double), (override));
    MOCK_METHOD(void, setUnscaledDownmix, (bool), (override));
    MOCK_METHOD(std::shared_ptr<BRAQAudioDevice>, device, (), (const, override));
    MOCK_METHOD(float, takeLevel, (UInt32), (override));
    MOCK_METHOD(UInt64, underruns, (), (const, override));
    MOCK_METHOD(UInt64, lostFrames, (), (const, override));
    MOCK_METHOD(std::shared_ptr<NSError>, lastError, (), (const, override));
};

class Tool_PlayControls : public testing::Test {
  protected:
    void press(PlayControls& controls, Key key, int times = 1) {
        for (int time = 0; time < times; ++time) {
            EXPECT_EQ(controls.press(key, playback), Wish::nothing);
        }
    }
    void expectToGo(SInt64 from, Key key, SInt64 to) {
        PlayControls controls(1.0, 0.0, false);
        EXPECT_CALL(playback, frame).WillOnce(testing::Return(from));
        EXPECT_CALL(playback, goTo(to));
        press(controls, key);
    }

    /// Presses the key of the loop where playing has come to.
    void markAt(SInt64 frame, PlayControls& controls) {
        EXPECT_CALL(playback, canLoopRange).WillRepeatedly(testing::Return(true));
        EXPECT_CALL(playback, frame).WillRepeatedly(testing::Return(frame));
        press(controls, Key::l);
    }

    StrictMock<MockPlayback> playback;
};

TEST_F(Tool_PlayControls, AFileStartsAsItIsSet) {
    PlayControls controls(-2.0, -6.0, true);
    const testing::InSequence sequence;
    EXPECT_CALL(playback, setKeepsPitch(true));
    EXPECT_CALL(playback, setSpeed(-2.0));
    EXPECT_CALL(playback, setVolume(-6.0));
    EXPECT_CALL(playback, start);
    controls.start(playback);
    EXPECT_TRUE(controls.isReverse());
}

TEST_F(Tool_PlayControls, SpacePausesAndResumes) {
    PlayControls controls(1.0, 0.0, false);
    EXPECT_CALL(playback, pause);
    press(controls, Key::space);
    EXPECT_TRUE(controls.isPaused());
    EXPECT_CALL(playback, resume);
    press(controls, Key::space);
    EXPECT_FALSE(controls.isPaused());
}

TEST_F(Tool_PlayControls, TheNextFilePlaysAlsoAfterAPause) {
    PlayControls controls(1.0, 0.0, false);
    EXPECT_CALL(playback, pause);
    press(controls, Key::space);
    EXPECT_CALL(playback, setKeepsPitch(false));
    EXPECT_CALL(playback, setSpeed(1.0));
    EXPECT_CALL(playback, setVolume(0.0));
    EXPECT_CALL(playback, start);
    controls.start(playback);
    EXPECT_FALSE(controls.isPaused());
}

TEST_F(Tool_PlayControls, KKeepsThePitchOrNotWhereItCanBeKept) {
    PlayControls controls(1.5, 0.0, false);
    EXPECT_CALL(playback, setKeepsPitch(true));
    press(controls, Key::k);
    EXPECT_TRUE(controls.keepsPitch());
    EXPECT_CALL(playback, setKeepsPitch(false));
    press(controls, Key::k);
    EXPECT_FALSE(controls.keepsPitch());
    EXPECT_CALL(playback, setKeepsPitch(true))
        .WillOnce(testing::Throw(NSException(NSInvalidArgumentException, "the speed is too high")));
    press(controls, Key::k);
    EXPECT_FALSE(controls.keepsPitch());
}

TEST_F(Tool_PlayControls, ArrowsSkipFiveSecondsInsideOfTheFile) {
    expectToGo(6'000, Key::right, 11'000);
    expectToGo(6'000, Key::left, 1'000);
    expectToGo(3'000, Key::left, 0);
    expectToGo(198'000, Key::right, fileFrames);
    expectToGo(fileFrames, Key::right, fileFrames);
}

TEST_F(Tool_PlayControls, PagesSkipAMinute) {
    expectToGo(6'000, Key::pageUp, 66'000);
    expectToGo(66'000, Key::pageDown, 6'000);
    expectToGo(6'000, Key::pageDown, 0);
    expectToGo(150'000, Key::pageUp, fileFrames);
}

TEST_F(Tool_PlayControls, HomeAndEndGoToTheEndsOfTheFile) {
    PlayControls controls(1.0, 0.0, false);
    EXPECT_CALL(playback, goTo(0));
    press(controls, Key::home);
    EXPECT_CALL(playback, goTo(fileFrames));
    press(controls, Key::end);
}

TEST_F(Tool_PlayControls, TheHelpFitsATerminalOf80Columns) {
    std::istringstream lines(PlayControls::help);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 80U) << line;
    }
}

TEST_F(Tool_PlayControls, SpeedGoesBySemitonesAndComesBack) {
    PlayControls controls(1.0, 0.0, false);
    EXPECT_CALL(playback, setSpeed(testing::DoubleNear(std::exp2(1.0 / 12.0), 1e-12)));
    press(controls, Key::plus);
    EXPECT_CALL(playback, setSpeed(1.0));
    press(controls, Key::minus);
    EXPECT_CALL(playback, setSpeed(testing::Lt(1.0)));
    press(controls, Key::minus);
}

TEST_F(Tool_PlayControls, SpeedStaysBetweenAQuarterAndFourTimes) {
    PlayControls controls(1.0, 0.0, false);
    EXPECT_CALL(playback, setSpeed(testing::AllOf(testing::Ge(0.25), testing::Le(4.0)))).Times(24 + 48);
    press(controls, Key::plus, 30);
    EXPECT_EQ(controls.speed(), 4.0);
    press(controls, Key::minus, 60);
    EXPECT_EQ(controls.speed(), 0.25);
}

TEST_F(Tool_PlayControls, ASpeedBeyondThatIsOnlyTakenBack) {
    PlayControls controls(8.0, 0.0, false);
    press(controls, Key::plus);
    EXPECT_EQ(controls.speed(), 8.0);
    EXPECT_CALL(playback, setSpeed(testing::Lt(8.0)));
    press(controls, Key::minus);
}

TEST_F(Tool_PlayControls, RTurnsRoundAndKeepsTheSpeed) {
    PlayControls controls(1.5, 0.0, false);
    EXPECT_CALL(playback, canPlayBackwards).WillRepeatedly(testing::Return(true));
    EXPECT_CALL(playback, setSpeed(-1.5));
    press(controls, Key::r);
    EXPECT_CALL(playback, setSpeed(1.5));
    press(controls, Key::r);
}

TEST_F(Tool_PlayControls, ALoopIsNotTurnedRound) {
    PlayControls controls(1.0, 0.0, false);
    EXPECT_CALL(playback, canPlayBackwards).WillRepeatedly(testing::Return(false));
    press(controls, Key::r);
    EXPECT_FALSE(controls.isReverse());
}

TEST_F(Tool_PlayControls, LLoopsFromWhereItWasPressedFirstAndGoesThere) {
    PlayControls controls(1.0, 0.0, false);
    markAt(30'000, controls);
    EXPECT_EQ(controls.loop().from, 30'000);
    EXPECT_FALSE(controls.loop().to);
    const testing::Expectation gone = EXPECT_CALL(playback, goTo(30'000));
    EXPECT_CALL(playback, setLoop(30'000, 42'000)).After(gone);
    markAt(42'000, controls);
    EXPECT_EQ(controls.loop().to, 42'000);
    EXPECT_CALL(playback, clearLoop);
    markAt(35'000, controls);
    EXPECT_FALSE(controls.loop().from);
    markAt(50'000, controls);
    EXPECT_EQ(controls.loop().from, 50'000) << "the next one";
}

TEST_F(Tool_PlayControls, BackwardsTheLoopBeginsAtItsLastFrame) {
    PlayControls controls(-1.0, 0.0, false);
    markAt(42'000, controls);
    EXPECT_CALL(playback, setLoop(30'000, 42'000));
    EXPECT_CALL(playback, goTo(42'000));
    markAt(30'000, controls);
}

TEST_F(Tool_PlayControls, AMarkInFrontOfTheFirstOneIsWhereTheLoopGoesOn) {
    PlayControls controls(1.0, 0.0, false);
    markAt(42'000, controls);
    EXPECT_CALL(playback, setLoop(30'000, 42'000));
    markAt(30'000, controls);
    EXPECT_EQ(controls.loop().to, 30'000);
}

TEST_F(Tool_PlayControls, AKeyPressedTwiceIsNoLoop) {
    PlayControls controls(1.0, 0.0, false);
    markAt(30'000, controls);
    markAt(30'010, controls);
    EXPECT_FALSE(controls.loop().to);
    EXPECT_CALL(playback, setLoop(30'000, 30'050));
    EXPECT_CALL(playback, goTo(30'000));
    markAt(30'050, controls);
}

TEST_F(Tool_PlayControls, AnotherFileHasNoLoop) {
    PlayControls controls(1.0, 0.0, false);
    markAt(30'000, controls);
    EXPECT_CALL(playback, setKeepsPitch);
    EXPECT_CALL(playback, setSpeed);
    EXPECT_CALL(playback, setVolume);
    EXPECT_CALL(playback, start);
    controls.start(playback);
    EXPECT_FALSE(controls.loop().from);
}

TEST_F(Tool_PlayControls, WhatLoopsAsAWholeHasNoMarks) {
    PlayControls controls(1.0, 0.0, false);
    EXPECT_CALL(playback, canLoopRange).WillRepeatedly(testing::Return(false));
    press(controls, Key::l, 3);
    EXPECT_FALSE(controls.loop().from);
}

TEST_F(Tool_PlayControls, VolumeGoesByADecibelWithinItsRange) {
    PlayControls controls(1.0, 10.5, false);
    EXPECT_CALL(playback, setVolume(11.5));
    press(controls, Key::up, 3);
    EXPECT_EQ(controls.decibels(), 11.5);
    PlayControls quiet(1.0, -59.0, false);
    EXPECT_CALL(playback, setVolume(-60.0));
    press(quiet, Key::down, 3);
    PlayControls loud(1.0, 24.0, false);
    EXPECT_CALL(playback, setVolume(23.0));
    press(loud, Key::down);
}

TEST_F(Tool_PlayControls, OtherKeysAskTheProgram) {
    PlayControls controls(1.0, 0.0, false);
    EXPECT_EQ(controls.press(Key::n, playback), Wish::next);
    EXPECT_EQ(controls.press(Key::p, playback), Wish::previous);
    EXPECT_EQ(controls.press(Key::q, playback), Wish::quit);
    EXPECT_EQ(controls.press(Key::questionMark, playback), Wish::help);
}

} // namespace
