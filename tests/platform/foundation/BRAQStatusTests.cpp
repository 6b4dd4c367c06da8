#include "BRAQAudio/platform/foundation/BRAQStatus.h"

#include "BRAQAudio/platform/files.h"
#include "BRAQAudio/platform/units.h"
#include "platform/foundation/FailureReason.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <thread>

TEST(Foundation_BRAQStatus, IsDescribedInWords) {
    EXPECT_EQ(BRAQStatusDescription(0), "no error");
    EXPECT_EQ(BRAQStatusDescription(kAudioFileFileNotFoundError), "no such file or directory");
    EXPECT_EQ(BRAQStatusDescription(kAudioFileInvalidFileError), "there is no audio in it that can be read");
    EXPECT_EQ(BRAQStatusDescription(kAudioUnitErr_Uninitialized), "the unit is not initialised");
}

TEST(Foundation_BRAQStatus, ThatIsUnknownIsNamedByItsFourCharactersOrItsNumber) {
    EXPECT_EQ(BRAQStatusDescription(static_cast<OSStatus>(BRAQFourCharCode("ab ~"))), "unknown error 'ab ~'");
    EXPECT_EQ(BRAQStatusDescription(-12345), "unknown error -12345");
    EXPECT_EQ(BRAQStatusDescription(7), "unknown error 7");
    EXPECT_EQ(BRAQStatusDescription(0x6162631F), "unknown error 1633837855") << "one of them is not printable";
}

TEST(Foundation_BRAQStatus, ReasonIsTakenOnceWithTheStatusOfItsCall) {
    EXPECT_EQ(braq::withReason([] {
                  braq::noteReason("the disk is wet");
                  return kAudioFileUnspecifiedError;
              }),
              kAudioFileUnspecifiedError);
    EXPECT_EQ(BRAQStatusTakeReason(kAudioFileInvalidFileError), "") << "another status";
    EXPECT_EQ(BRAQStatusTakeReason(kAudioFileUnspecifiedError), "the disk is wet");
    EXPECT_EQ(BRAQStatusTakeReason(kAudioFileUnspecifiedError), "") << "once";
}

TEST(Foundation_BRAQStatus, ReasonIsTheFirstOneOfTheCall) {
    braq::withReason([] {
        braq::noteReason("");
        braq::noteSystemReason(ENOSPC);
        braq::noteReason("what followed from it");
        return kAudioFileUnspecifiedError;
    });
    EXPECT_EQ(BRAQStatusTakeReason(kAudioFileUnspecifiedError), "No space left on device");
}

TEST(Foundation_BRAQStatus, ReasonEndsWithTheNextCall) {
    const auto fail = [] {
        braq::withReason([] {
            braq::noteReason("a reason");
            return kAudioFileUnspecifiedError;
        });
    };
    fail();
    braq::withReason([] { return kAudioFileUnspecifiedError; });
    EXPECT_EQ(BRAQStatusTakeReason(kAudioFileUnspecifiedError), "") << "a call that fails without one";
    fail();
    braq::withReason([] { return 0; });
    EXPECT_EQ(BRAQStatusTakeReason(kAudioFileUnspecifiedError), "") << "a call that succeeds";
    fail();
    braq::forgetReason();
    EXPECT_EQ(BRAQStatusTakeReason(kAudioFileUnspecifiedError), "") << "a call that never has one";
    braq::withReason([] {
        braq::noteReason("a complaint");
        return 0;
    });
    EXPECT_EQ(BRAQStatusTakeReason(0), "") << "success needs none";
}

TEST(Foundation_BRAQStatus, ReasonBelongsToItsThread) {
    std::thread([] {
        braq::withReason([] {
            braq::noteReason("a reason");
            return kAudioFileUnspecifiedError;
        });
    }).join();
    EXPECT_EQ(BRAQStatusTakeReason(kAudioFileUnspecifiedError), "");
}

TEST(Foundation_BRAQStatus, ALongReasonIsCutBetweenTwoCharacters) {
    const std::string umlaut = "\u00e4";
    for (const std::string& first : {std::string(), std::string("x")}) {
        std::string text = first;
        while (text.size() < 1000) {
            text += umlaut;
        }
        braq::withReason([&] {
            braq::noteReason(text);
            return kAudioFileUnspecifiedError;
        });
        const std::string reason = BRAQStatusTakeReason(kAudioFileUnspecifiedError);
        EXPECT_GT(reason.size(), 200U);
        EXPECT_EQ(reason, text.substr(0, reason.size()));
        EXPECT_EQ((reason.size() - first.size()) % umlaut.size(), 0U);
    }
}
