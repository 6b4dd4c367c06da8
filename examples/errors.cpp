// Fails in the ways in which the library fails, and says what a program learns from each.
#include <BRAQAudio/BRAQAudio.h>

#include <iostream>
#include <memory>
#include <string>
#include <variant>

namespace {

// The error below a raised one; null if there is none.
std::shared_ptr<NSError> errorOf(const NSException& raised) {
    const auto found = raised.userInfo().find("error");
    const auto* const error =
        found != raised.userInfo().end() ? std::get_if<std::shared_ptr<NSError>>(&found->second) : nullptr;
    return error != nullptr ? *error : nullptr;
}

} // namespace

int main() {
    // A log of one's own, instead of standard error and syslog.
    NSLogSetSink([](const std::string& line) { std::cout << "log: " << line << "\n"; });

    // Handed out: a file that a user names is often missing, so opening it answers null and says why.
    std::shared_ptr<NSError> error;
    const auto url = NSURL::fileURLWithPath("/nowhere/song.flac");
    if (BRAQExtendedAudioFile::initForPlaybackWithFileURL(url, &error) == nullptr) {
        std::cout << "handed out: " << error->domain() << " " << error->code() << "\n";
        std::cout << (error->code() == kAudioFileFileNotFoundError ? "there is no such file\n" : "something else\n");
    }

    // Raised: what has no other answer.
    try {
        const auto format = BRAQAudioStreamBasicDescription::pcm16StreamDescription();
        format->setSampleRate(48000);
        BRAQExtendedAudioFile::initForRecordingWithFilename("/nowhere/take.wav", kAudioFileWAVEType, format, 0,
                                                            nullptr);
    } catch (const NSException& raised) {
        std::cout << "raised: " << raised.name() << " " << errorOf(raised)->code() << "\n";
    }

    // A wrong call: fails an assertion, which is raised unless the program has a handler of its own.
    try {
        BRAQAudioBuffer::initWithNumberFrames(64, 2)->copyFramesIntoAudioBufferList(nullptr, 4, nullptr, nullptr);
    } catch (const NSException& raised) {
        std::cout << "wrong call: " << raised.name() << "\n";
    }
}
