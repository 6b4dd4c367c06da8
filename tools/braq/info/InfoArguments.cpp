#include "tools/braq/info/InfoArguments.h"

#include "tools/braq/info/InfoCommand.h"

#include <memory>

namespace {

std::string problemOfSize(const std::string& text) {
    return pictureSizeFrom(text) ? "" : "a size is written like 1200x400, from 320x120 to 20000x20000";
}

// Anything else is more likely an audio file that the user wants to inspect.
std::string problemOfPictureName(const std::string& text) {
    return text.ends_with(".png") ? "" : "the name of a picture ends in .png";
}

} // namespace

Run addInfo(CLI::App& info) {
    const auto options = std::make_shared<InfoOptions>();
    info.add_option("files", options->files, "Audio files; - is the standard input")->required();
    info.add_flag("--json", options->json, "As JSON, for programs");
    CLI::Option* const waveform =
        info.add_option("--waveform", options->waveform, "Draw the waveform of the file into this PNG file")
            ->check(problemOfPictureName);
    info.add_option_function<std::string>(
            "--size", [options](const std::string& text) { options->size = pictureSizeFrom(text); },
            "Width and height of the picture, such as 1200x400")
        ->check(problemOfSize)
        ->needs(waveform);
    info.callback([options] {
        if (!options->waveform.empty() && options->files.size() > 1) {
            throw CLI::ValidationError("--waveform", "takes one file only");
        }
    });
    return [options] { return runInfo(*options); };
}
