#include "tools/braq/play/OpenToPlay.h"

#include <stdexcept>

std::shared_ptr<BRAQExtendedAudioFile> openToPlay(const std::string& path,
                                                  const std::shared_ptr<BRAQAudioStreamBasicDescription>& format) {
    BRAQExtendedAudioFileOptions options;
    options.clientDataFormat = format;
    std::shared_ptr<NSError> error;
    auto file = BRAQExtendedAudioFile::initForPlaybackWithFileURL(NSURL::fileURLWithPath(path), options, &error);
    if (file == nullptr) {
        throw std::runtime_error(error->localizedDescription());
    }
    return file;
}
