#include "tools/braq/terminal/LevelText.h"

#include <BRAQAudio/BRAQAudio.h>

std::string levelText(double decibels) {
    constexpr double hardlyThere = -199.0;
    if (!(decibels > hardlyThere)) {
        return "-inf";
    }
    const std::string text = NSStringWithFormat("%.1f", decibels);
    return text == "-0.0" ? "0.0" : text;
}
