#include "platform/files/reading/OpenSource.h"

#include "platform/files/reading/LibavContainer.h"
#include "platform/files/reading/Tags.h"
#include "platform/foundation/FailureReason.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace braq {
namespace {

using Bounds = SoundBounds;
using Opener = std::unique_ptr<SampleSource> (*)(std::unique_ptr<LocalFile>, const std::string& format, const Bounds&);

struct Kind {
    std::string_view format; ///< libav's name
    Opener open;
};

constexpr Opener chunks = [](std::unique_ptr<LocalFile> file, const std::string& format, const Bounds&) {
    return openChunks(std::move(file), format);
};
constexpr Opener movie = [](std::unique_ptr<LocalFile> file, const std::string& format, const Bounds&) {
    return openMovie(std::move(file), format);
};

// Formats outside this table are not opened.
constexpr std::array kinds{
    Kind{"wav", chunks},
    Kind{"aiff", chunks},
    Kind{"caf", chunks},
    Kind{"au", chunks},
    Kind{"mov,mp4,m4a,3gp,3g2,mj2", movie},
    Kind{"mp3", [](std::unique_ptr<LocalFile> file, const std::string&,
                   const Bounds& bounds) { return openLayerIII(std::move(file), bounds.begin, bounds.end); }},
    Kind{"aac", [](std::unique_ptr<LocalFile> file, const std::string&,
                   const Bounds& bounds) { return openAdts(std::move(file), bounds.begin, bounds.end); }},
    Kind{"flac", [](std::unique_ptr<LocalFile> file, const std::string&,
                    const Bounds& bounds) { return openFlac(std::move(file), bounds.begin, bounds.end); }},
    Kind{"ogg", [](std::unique_ptr<LocalFile> file, const std::string&,
                   const Bounds& bounds) { return openOgg(std::move(file), bounds.begin); }},
};

} // namespace

std::unique_ptr<SampleSource> openSource(std::unique_ptr<LocalFile> file) {
    const SoundBounds bounds = soundBounds(*file);
    const std::string format = contentFormat(*file, bounds.begin);
    const auto* const kind = std::ranges::find(kinds, std::string_view(format), &Kind::format);
    if (kind == kinds.end()) {
        noteOwnReason("the type of its content is not supported");
        return nullptr;
    }
    auto source = kind->open(std::move(file), format, bounds);
    if (source == nullptr) {
        noteOwnReason("it is damaged, or its coding is not supported");
    }
    return source;
}

} // namespace braq
