#include "tools/braq/info/FileListing.h"
#include "tools/braq/shared/JSON.h"

#include "tests/tools/Silence.h"

#include <gmock/gmock.h>

#include <limits>

namespace {

using testing::HasSubstr;
using testing::Not;

using tool_test::silence;

AudioFileFacts stereoFile() {
    AudioFileFacts facts;
    facts.path = "song.m4a";
    facts.container = "M4A";
    facts.codec = "ALAC";
    facts.kind = SampleKind::signedInteger;
    facts.bits = 24;
    facts.rate = 44100.0;
    facts.channels = 2;
    facts.layout = "stereo";
    facts.bitRate = 705600.4;
    facts.frames = 22050;
    facts.addedFrames = {.leadingFrames = 1024, .trailingFrames = 752};
    facts.framesRead = 22050;
    facts.levels = {{-0.04, -12.345}, {silence, silence}};
    return facts;
}

AudioFileFacts unknownFile() {
    AudioFileFacts facts;
    facts.path = "x";
    facts.rate = 22050.5;
    facts.channels = 3;
    return facts;
}

TEST(FileListing, HasALineForEachFact) {
    EXPECT_EQ(fileAsText(stereoFile()), "song.m4a\n"
                                        "  container    M4A\n"
                                        "  codec        ALAC\n"
                                        "  samples      24-bit integer\n"
                                        "  rate         44100 Hz\n"
                                        "  channels     2 (stereo)\n"
                                        "  bit rate     705.6 kbit/s\n"
                                        "  frames       22050\n"
                                        "  duration     0.500 s\n"
                                        "  priming      1024 frames\n"
                                        "  padding      752 frames\n"
                                        "  levels       L: peak 0.0 dBFS, RMS -12.3 dBFS\n"
                                        "               R: peak -inf dBFS, RMS -inf dBFS\n");
}

TEST(FileListing, SaysWhatIsNotKnown) {
    EXPECT_EQ(fileAsText(unknownFile()), "x\n"
                                         "  container    unknown\n"
                                         "  codec        unknown\n"
                                         "  samples      unknown\n"
                                         "  rate         22050.5 Hz\n"
                                         "  channels     3\n"
                                         "  bit rate     unknown\n"
                                         "  frames       0\n"
                                         "  duration     0.000 s\n"
                                         "  priming      unknown\n"
                                         "  padding      unknown\n");
}

TEST(FileListing, SaysWhatCouldNotBeReadOrMeasured) {
    AudioFileFacts facts = stereoFile();
    EXPECT_THAT(fileAsText(facts), Not(HasSubstr("read")));
    facts.framesRead = 22049;
    facts.samplesLeftOut = 3;
    EXPECT_THAT(fileAsText(facts), HasSubstr("  frames       22050, of which 22049 can be read\n"));
    EXPECT_THAT(fileAsText(facts), HasSubstr("without 3 samples that are not finite\n"));
}

TEST(FileListing, IsFitForATerminal) {
    AudioFileFacts facts = stereoFile();
    facts.path = "a\x1B[31m";
    EXPECT_THAT(fileAsText(facts), HasSubstr("a\uFFFD[31m\n"));
}

TEST(FileListing, SaysTheSameToPrograms) {
    EXPECT_EQ(filesAsJSON({stereoFile(), unknownFile()}), R"({
  "files": [
    {
      "file": "song.m4a",
      "container": "M4A",
      "codec": "ALAC",
      "sampleKind": "integer",
      "bitsPerSample": 24,
      "rate": 44100,
      "channels": 2,
      "layout": "stereo",
      "bitRate": 705600,
      "frames": 22050,
      "framesRead": 22050,
      "seconds": 0.500000,
      "primingFrames": 1024,
      "paddingFrames": 752,
      "levels": [{"channel": "L", "peak": -0.04, "rms": -12.35}, {"channel": "R", "peak": null, "rms": null}],
      "samplesLeftOut": 0
    },
    {
      "file": "x",
      "container": null,
      "codec": null,
      "sampleKind": null,
      "bitsPerSample": null,
      "rate": 22050.5,
      "channels": 3,
      "layout": null,
      "bitRate": null,
      "frames": 0,
      "framesRead": 0,
      "seconds": 0.000000,
      "primingFrames": null,
      "paddingFrames": null,
      "levels": [],
      "samplesLeftOut": 0
    }
  ]
}
)");
}

TEST(FileListing, OfNoFilesIsAnEmptyArray) { EXPECT_EQ(filesAsJSON({}), "{\n  \"files\": []\n}\n"); }

TEST(FileListing, SummarisesWhatIsKnown) {
    EXPECT_EQ(summaryOf(stereoFile()), "ALAC, 24-bit integer, 44100 Hz, stereo");
    EXPECT_EQ(summaryOf(unknownFile()), "22050.5 Hz, 3 channels");
}

TEST(JSON, QuotesWhatHasAMeaningAndReplacesWhatIsNoUTF8) {
    EXPECT_EQ(asJSON("a\"b\\c\n\x1B"), R"("a\"b\\c\u000a\u001b")");
    EXPECT_EQ(asJSON("Gerät スピ"), "\"Gerät スピ\"");
    EXPECT_EQ(asJSON("a\xFF\xC3"), "\"a\uFFFD\uFFFD\"");
}

} // namespace
