#pragma once

#include "BRAQAudio/BRAQExtendedAudioFile.h"

namespace braq {

/// The options that a dictionary holds. Raises for a value of the wrong kind.
BRAQExtendedAudioFileOptions optionsIn(const BRAQExtendedAudioFileOptionDictionary& dictionary);

} // namespace braq
