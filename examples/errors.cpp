// Provokes each kind of failure that the library reports, and shows what a program learns from it.
#include <BRAQAudio/BRAQAudio.h>

#include <iostream>
#include <memory>
#include <string>
#include <variant>

namespace {

// The error inside a raised exception; null if there is none.
std::shared_ptr<NSError> errorOf(const NSException& raised) {
    const auto found = raised.userInfo().find("error");
    const auto* const error =
        found != raised.userInfo().end() ? std::get_if<std::shared_ptr<NSError>>(&found->second) : nullptr;
    return error != nullptr ? *error : nullptr;
}

} // namespace

int main() {
    // Your own log, instead of standard error and syslog.
    NSLogSetSink([](const std::string& line) { std::cout << "log: " << line << "\n"; });

    // Returned: a file that a user names is often missing, so opening it returns null and an error.
    std::shared_ptr<NSError> error;
    const auto url = NSURL::fileURLWithPath("/nowhere/song.flac");
    if (BRAQExtendedAudioFile::initForPlaybackWithFileURL(url, &error) == nullptr) {
        std::cout << "returned: " << error->domain() << " " << error->code() << "\n";
        std::cout << "in words: " << error->localizedDescription() << "\n";
    }

    // Raised: an operation without a value for failure.
    try {
        const auto format = BRAQAudioStreamBasicDescription::pcm16StreamDescription();
        format->setSampleRate(48000);
        BRAQExtendedAudioFile::initForRecordingWithFilename("/nowhere/take.wav", kAudioFileWAVEType, format, 0,
                                                            nullptr);
    } catch (const NSException& raised) {
        std::cout << "raised: " << raised.name() << " " << errorOf(raised)->code() << "\n";
    }

    // Wrong call: fails an assertion. It is raised unless the program has its own assertion handler.
    try {
        BRAQAudioBuffer::initWithNumberFrames(64, 2)->copyFramesIntoAudioBufferList(nullptr, 4, nullptr, nullptr);
    } catch (const NSException& raised) {
        std::cout << "wrong call: " << raised.name() << "\n";
    }
}
