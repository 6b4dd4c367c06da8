#include "tools/braq/info/FileProblem.h"

#include <memory>
#include <variant>

std::string problemOf(const NSError& error) {
    switch (error.code()) {
    case kAudioFileFileNotFoundError: return "there is no such file";
    case kAudioFilePermissionsError: return "permission denied";
    case kAudioFileInvalidFileError: return "there is no audio in it that can be read";
    case kAudioFileUnspecifiedError: return "it cannot be read";
    default: return error.localizedDescription();
    }
}

std::string problemOf(const NSException& raised) {
    const auto found = raised.userInfo().find("error");
    return found != raised.userInfo().end() ? problemOf(*std::get<std::shared_ptr<NSError>>(found->second))
                                            : raised.reason();
}
