#include "tools/braq/shared/Trouble.h"

std::string reasonOf(const NSError& error) {
    switch (error.domain() == NSOSStatusErrorDomain ? error.code() : 0) {
    case kAudioFileFileNotFoundError: return "there is no such file or folder";
    case kAudioFilePermissionsError: return "permission denied";
    case kAudioFileInvalidFileError: return "there is no audio in it that can be read";
    case kAudioFileUnsupportedDataFormatError:
        return "this type of file cannot hold this format, rate or number of channels";
    case kAudioFileUnspecifiedError: return "the reason stands above"; // where it was logged
    default: return error.localizedDescription();
    }
}

std::string reasonOf(const std::exception& raised) {
    const auto* const exception = dynamic_cast<const NSException*>(&raised);
    if (exception == nullptr || !exception->userInfo().contains("error")) {
        return raised.what();
    }
    const auto* const error = std::get_if<std::shared_ptr<NSError>>(&exception->userInfo().at("error"));
    return error != nullptr && *error != nullptr ? reasonOf(**error) : exception->reason();
}
