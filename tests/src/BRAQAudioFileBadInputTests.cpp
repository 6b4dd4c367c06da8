// What the file classes and the streamers make of files that are bad, or that change under them.

#include "BRAQAudio/BRAQAudioFile.h"
#include "BRAQAudio/BRAQAudioFileReader.h"
#include "BRAQAudio/BRAQAudioFileWriter.h"

#include "tests/src/FileFixture.h"
#include "tests/src/OpenStreamers.h"
#include "tests/support/AsNobody.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FrameLists.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using braq::tests::AsNobody;
using braq::tests::audioFile;
using braq::tests::CapturedLog;
using braq::tests::FrameList;
using streamer_test::drain;
using streamer_test::numbers;
using streamer_test::Reader;
using streamer_test::record;
using streamer_test::Writer;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* createCall = "ExtAudioFileCreateWithURL((__bridge CFURLRef)self.url, audioFileType, &asbd, "
                                   "((void*)0), kAudioFileFlags_EraseFile, &afRef)";

/// What is written to standard error goes to a file while this lives.
class StandardErrorInFile {
  public:
    explicit StandardErrorInFile(const std::filesystem::path& path) : mPath(path), mBefore(::dup(STDERR_FILENO)) {
        const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        EXPECT_GE(::dup2(descriptor, STDERR_FILENO), 0);
        ::close(descriptor);
    }
    ~StandardErrorInFile() {
        ::dup2(mBefore, STDERR_FILENO);
        ::close(mBefore);
    }
    StandardErrorInFile(const StandardErrorInFile&) = delete;
    StandardErrorInFile& operator=(const StandardErrorInFile&) = delete;

    std::uintmax_t bytes() const { return std::filesystem::file_size(mPath); }

  private:
    const std::filesystem::path mPath;
    const int mBefore;
};

class FileBadInput : public FileTest {
  protected:
    /// Expects that neither class plays what is there.
    static void expectNotPlayed(const std::shared_ptr<NSURL>& from, OSStatus status) {
        expectFileRaised([&] { BRAQAudioFile::initForPlaybackWithFileURL(from); }, status, "src/BRAQAudioFile",
                         "-[BRAQAudioFile initForPlaybackWithFileURL:]",
                         "ExtAudioFileOpenURL( (__bridge CFURLRef)self.url, &afRef )");
        std::shared_ptr<NSError> error;
        EXPECT_EQ(BRAQExtendedAudioFile::initForPlaybackWithFileURL(from, &error), nullptr);
        expectFileError(error, status, "src/BRAQExtendedAudioFile",
                        "-[BRAQExtendedAudioFile initForPlaybackWithFileURL:options:error:]",
                        "ExtAudioFileOpenURL( (__bridge CFURLRef)url, &afRef )");
        EXPECT_EQ(BRAQExtendedAudioFile::initForPlaybackWithFileURL(from), nullptr) << "and nothing is raised";
    }
    static void expectNotPlayed(const std::filesystem::path& from, OSStatus status) {
        SCOPED_TRACE(from.string().substr(0, 200));
        expectNotPlayed(NSURL::fileURLWithPath(from), status);
    }
    /// Expects that neither class records to there.
    static void expectNotRecorded(const std::shared_ptr<NSURL>& to, OSStatus status) {
        expectFileRaised([&] { BRAQAudioFile::initForRecordingWithFileURL(to, pcm16(), 0); }, status,
                         "src/BRAQAudioFile", "-[BRAQAudioFile initForRecordingWithFileURL:streamDescription:bitrate:]",
                         createCall);
        expectFileRaised([&] { BRAQExtendedAudioFile::initForRecordingWithFileURL(to, pcm16(), 0, nullptr); }, status,
                         "src/BRAQExtendedAudioFile",
                         "-[BRAQExtendedAudioFile "
                         "initForRecordingWithFileURL:streamDescription:bitrate:audioDevice:]",
                         createCall);
    }
    static void expectNotRecorded(const std::filesystem::path& to, OSStatus status) {
        SCOPED_TRACE(to.string().substr(0, 200));
        expectNotRecorded(NSURL::fileURLWithPath(to), status);
    }

    /// Expects the reason that both classes give for not playing what is there, and returns the words of one of them.
    static std::string expectReasonOfNotPlaying(const std::filesystem::path& from, const std::string& reason) {
        SCOPED_TRACE(from.string().substr(0, 200));
        const auto url = NSURL::fileURLWithPath(from);
        std::shared_ptr<NSError> error;
        EXPECT_EQ(BRAQExtendedAudioFile::initForPlaybackWithFileURL(url, &error), nullptr);
        EXPECT_EQ(error->localizedFailureReason(), reason);
        EXPECT_THAT(error->description(), HasSubstr("NSLocalizedFailureReason = \"" + reason + '"'));
        EXPECT_EQ(errorOf([&] { BRAQAudioFile::initForPlaybackWithFileURL(url); })->localizedFailureReason(), reason);
        return error->localizedDescription();
    }
    /// The same for recording.
    static std::string
    expectReasonOfNotRecording(const std::filesystem::path& to, const std::string& reason,
                               const std::shared_ptr<BRAQAudioStreamBasicDescription>& format = pcm16()) {
        SCOPED_TRACE(to.string().substr(0, 200));
        const auto url = NSURL::fileURLWithPath(to);
        const auto plain = errorOf([&] { BRAQAudioFile::initForRecordingWithFileURL(url, format, 0); });
        EXPECT_EQ(plain->localizedFailureReason(), reason);
        const auto error =
            errorOf([&] { BRAQExtendedAudioFile::initForRecordingWithFileURL(url, format, 0, nullptr); });
        EXPECT_EQ(error->localizedFailureReason(), reason);
        return error->localizedDescription();
    }
    static std::shared_ptr<NSError> errorOf(const std::function<void()>& operation) {
        try {
            operation();
        } catch (const NSException&) {
            return NSXErrorFromException(std::current_exception());
        }
        ADD_FAILURE() << "nothing was raised";
        return NSXErrorFromException(std::make_exception_ptr(0));
    }

    const CapturedLog log;
};

TEST_F(FileBadInput, ThatIsNotPlayedHasTheReasonOfTheSystemOrOfLibavInTheError) {
    EXPECT_EQ(expectReasonOfNotPlaying(path("missing.wav"), "No such file or directory"), "no such file or directory");
    numbered(10);
    EXPECT_EQ(expectReasonOfNotPlaying(path("numbered.wav") / "a.wav", "Not a directory"),
              "no such file or directory (Not a directory)");
    EXPECT_EQ(expectReasonOfNotPlaying("/dev/zero", "it is not a regular file"),
              "the file cannot be read or written (it is not a regular file)");
    std::filesystem::permissions(path("numbered.wav"), std::filesystem::perms::none);
    {
        const AsNobody nobody;
        EXPECT_EQ(expectReasonOfNotPlaying(path("numbered.wav"), "Permission denied"), "permission denied");
    }
    EXPECT_EQ(expectReasonOfNotPlaying(audioFile("bad-no-moov.m4a"), "moov atom not found"),
              "there is no audio in it that can be read (moov atom not found)");
    EXPECT_EQ(expectReasonOfNotPlaying(audioFile("bad-text.wav"), "the type of its content is not supported"),
              "there is no audio in it that can be read (the type of its content is not supported)");
}

TEST_F(FileBadInput, ThatIsNotRecordedToHasTheReasonInTheError) {
    EXPECT_EQ(expectReasonOfNotRecording(path("no/such/a.wav"), "No such file or directory"),
              "no such file or directory");
    EXPECT_EQ(expectReasonOfNotRecording(path(std::string(4000, 'x').append(".wav")), "File name too long"),
              "the file cannot be read or written (File name too long)");
    EXPECT_EQ(expectReasonOfNotRecording(folder.path(), "Is a directory"),
              "the file cannot be read or written (Is a directory)");
    EXPECT_EQ(expectReasonOfNotRecording("/dev/full", "it is not a regular file"),
              "the file cannot be read or written (it is not a regular file)");
    EXPECT_EQ(expectReasonOfNotRecording(path("a.wav"), "the rate is not supported", pcm16(2, 0.5)),
              "this type of file cannot hold this format, rate or number of channels (the rate is not supported)");
    EXPECT_EQ(expectReasonOfNotRecording(path("a.wav"), "the number of channels is not supported", pcm16(256)),
              "this type of file cannot hold this format, rate or number of channels (the number of channels is not "
              "supported)");
    EXPECT_FALSE(std::filesystem::exists(path("a.wav")));
}

TEST_F(FileBadInput, WithoutAudioIsNotPlayed) {
    const StandardErrorInFile standardError(path("stderr"));
    for (const char* name :
         {"bad-empty.wav", "bad-header-only.wav", "bad-no-moov.m4a", "bad-noise.mp3", "bad-text.wav"}) {
        expectNotPlayed(audioFile(name), kAudioFileInvalidFileError);
    }
    EXPECT_EQ(standardError.bytes(), 0U) << "what there is to say goes to the log";
}

TEST_F(FileBadInput, ThatIsNoFileIsNotPlayed) {
    expectNotPlayed(path("missing.wav"), kAudioFileFileNotFoundError);
    expectNotPlayed(path("no/such/a.wav"), kAudioFileFileNotFoundError);
    expectNotPlayed(path(std::string(4000, 'x')), kAudioFileFileNotFoundError);
    expectNotPlayed(folder.path(), kAudioFileUnspecifiedError);
    expectNotPlayed("/dev/zero", kAudioFileUnspecifiedError);
    ASSERT_EQ(::mkfifo(path("fifo").c_str(), 0600), 0);
    expectNotPlayed(path("fifo"), kAudioFileUnspecifiedError);
    expectNotPlayed(std::shared_ptr<NSURL>(), kAudio_ParamError);
    EXPECT_THAT(log.errors(), testing::IsEmpty()) << "the caller has the reason";
}

TEST_F(FileBadInput, ThatIsNoFileIsNotRecordedTo) {
    expectNotRecorded(path("no/such/a.wav"), kAudioFileFileNotFoundError);
    expectNotRecorded(path(std::string(4000, 'x').append(".wav")), kAudioFileUnspecifiedError);
    expectNotRecorded(folder.path(), kAudioFileUnspecifiedError);
    expectNotRecorded("/dev/full", kAudioFileUnspecifiedError);
    ASSERT_EQ(::mkfifo(path("fifo").c_str(), 0600), 0);
    expectNotRecorded(path("fifo"), kAudioFileUnspecifiedError);
    expectNotRecorded(std::shared_ptr<NSURL>(), kAudio_ParamError);
    EXPECT_THAT(log.errors(), testing::IsEmpty()) << "the caller has the reason";
}

TEST_F(FileBadInput, WithoutPermissionIsNeitherPlayedNorRecordedTo) {
    numbered(10);
    std::filesystem::permissions(path("numbered.wav"), std::filesystem::perms::none);
    ASSERT_EQ(::chmod(folder.path().c_str(), 0555), 0);
    {
        const AsNobody nobody;
        expectNotPlayed(path("numbered.wav"), kAudioFilePermissionsError);
        expectNotRecorded(path("numbered.wav"), kAudioFilePermissionsError);
        expectNotRecorded(path("new.wav"), kAudioFilePermissionsError);
    }
    ASSERT_EQ(::chmod(folder.path().c_str(), 0755), 0);
    std::filesystem::permissions(path("numbered.wav"), std::filesystem::perms::owner_all);
    EXPECT_EQ(braq::tests::framesOfFile(path("numbered.wav")), numbers(0, 10)) << "and stays what it was";
    EXPECT_FALSE(std::filesystem::exists(path("new.wav")));
}

TEST_F(FileBadInput, OfAUrlThatIsNoFileUrlSaysSo) {
    const std::string wave = numbered(10);
    for (const auto& url :
         {NSURL::urlWithString("http://example.org/a.wav"), NSURL::fileURLWithPath(wave + std::string("\0.wav", 5))}) {
        const std::size_t before = log.errors().size();
        expectNotPlayed(url, kAudioFileUnspecifiedError);
        expectNotRecorded(url, kAudioFileUnspecifiedError);
        std::shared_ptr<NSError> error;
        EXPECT_EQ(BRAQExtendedAudioFile::initForPlaybackWithFileURL(url, &error), nullptr);
        EXPECT_EQ(error->localizedFailureReason(), "it is not a file of this machine");
        EXPECT_EQ(log.errors().size(), before) << "the caller has the reason";
    }
}

TEST_F(FileBadInput, MayHaveAnyUtf8NameAndAPercentEncodedUrl) {
    braq::tests::writeNumberedFile(path("Grüße 100% #1?.wav"), 5);
    EXPECT_NE(BRAQExtendedAudioFile::initForPlaybackWithFilename(path("Grüße 100% #1?.wav")), nullptr);
    const auto encoded =
        NSURL::urlWithString("file://" + folder.path().string() + "/Gr%C3%BC%C3%9Fe%20100%25%20%231%3F.wav");
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFileURL(encoded);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->frameCount(), 5);
}

TEST_F(FileBadInput, ThatIsCutOffPlaysUpToWhereItWasCut) {
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(audioFile("bad-truncated.flac"));
    ASSERT_NE(file, nullptr);
    const FrameList list(2, 10000);
    UInt32 frames = 10000;
    file->readIntoAudioBufferList(list.get(), 0, &frames);
    EXPECT_EQ(frames, 8192U) << "the two blocks that are whole";
}

TEST_F(FileBadInput, ThatShrinksWhileItIsReadEndsEarly) {
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(numbered(500000));
    const FrameList list(2, 1000);
    UInt32 frames = 1000;
    file->readIntoAudioBufferList(list.get(), 0, &frames);
    EXPECT_EQ(frames, 1000U);
    std::filesystem::resize_file(path("numbered.wav"), 100);
    file->seekToFrame(400000);
    frames = 1000;
    file->readIntoAudioBufferList(list.get(), 0, &frames);
    EXPECT_EQ(frames, 0U);
    EXPECT_THAT(log.errors(), ElementsAre(HasSubstr(path("numbered.wav").string())));
}

TEST_F(FileBadInput, ThatShrinksEndsTheStreamOfAReader) {
    const FrameList list(2, 1024);
    Reader reader(3, 1024);
    reader.setAudioFile(BRAQExtendedAudioFile::initForPlaybackWithFilename(numbered(500000)));
    reader.start();
    std::filesystem::resize_file(path("numbered.wav"), 100);
    UInt32 played = 0;
    for (int i = 0; i < 10 && !reader.endOfStream(); ++i) {
        played += drain(reader, list, 1024);
        reader.settle();
    }
    EXPECT_TRUE(reader.endOfStream());
    EXPECT_EQ(played, 3072U) << "what was read before";
    EXPECT_EQ(reader.lastError(), nullptr);
    EXPECT_THAT(log.errors(), ElementsAre(HasSubstr(path("numbered.wav").string())));
}

TEST_F(FileBadInput, ThatIsRemovedWhileItIsReadIsReadOn) {
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(numbered(500000));
    std::filesystem::remove(path("numbered.wav"));
    file->seekToFrame(400000);
    const FrameList list(2, 1000);
    UInt32 frames = 1000;
    file->readIntoAudioBufferList(list.get(), 0, &frames);
    EXPECT_EQ(frames, 1000U);
    list.expectNumbered(0, 400000, 1000);
}

TEST_F(FileBadInput, ThatIsRemovedWhileItIsRecordedToIsNoFailure) {
    Writer writer(3, 64);
    writer.setAudioFile(
        BRAQExtendedAudioFile::initForRecordingWithFilename(path("a.wav"), kAudioFileWAVEType, float32(), 0, nullptr));
    writer.start();
    record(writer, 0, 100);
    std::filesystem::rename(path("a.wav"), path("b.wav"));
    record(writer, 100, 50);
    writer.stop();
    writer.audioFile()->closeFile();
    EXPECT_EQ(braq::tests::framesOfFile(path("b.wav")), numbers(0, 150)) << "under whatever name it has now";
    EXPECT_FALSE(std::filesystem::exists(path("a.wav")));
    EXPECT_EQ(writer.lastError(), nullptr);
}

} // namespace
