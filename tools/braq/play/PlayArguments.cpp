#include "tools/braq/play/PlayArguments.h"

#include "tools/braq/play/PlayCommand.h"
#include "tools/braq/play/PlayControls.h"

#include <cmath>
#include <memory>

Run addPlay(CLI::App& play) {
    const auto options = std::make_shared<PlayOptions>();
    play.add_option("file", options->files,
                    "Files, folders and playlists (m3u, pls) to play, one after the other; - is\nthe standard input")
        ->required();
    play.add_option("--device", options->device, "UID or part of the name; else the default device");
    play.add_option("--speed", options->speed, "1 is the file's own speed; negative plays backwards from the end")
        ->check(numbers("a speed: 1/32 (0.03125) to 32, negative for backwards", [](double speed) {
            constexpr double fastest = 32.0;
            return std::fabs(speed) >= 1.0 / fastest && std::fabs(speed) <= fastest;
        }));
    play.add_flag("--keep-pitch", options->keepPitch, "Keep the pitch at other speeds, from 1/4 to 4");
    play.add_option("--volume", options->decibels, "In dB; 0 leaves the level unchanged")
        ->check(numbers("a volume: -120 to 24 dB", [](double decibels) {
            constexpr double quietest = -120.0;
            constexpr double loudest = 24.0;
            return decibels >= quietest && decibels <= loudest;
        }));
    addTime(play, "--start", options->startSeconds, "Position in the first file, such as 90, 1:30 or 1:02:03.5");
    play.add_flag("--loop", options->loop, "Loop the file, gapless");
    play.add_flag("--shuffle", options->shuffle, "Play the files in random order");
    play.add_flag("--repeat", options->repeat, "Begin again after the last file");
    play.add_flag("--unscaled-downmix", options->unscaledDownmix,
                  "Do not scale channels that are mixed because the device has fewer: louder, may clip");
    play.footer(std::string("Keys:\n") + PlayControls::help);
    return [options] { return runPlay(*options); };
}
