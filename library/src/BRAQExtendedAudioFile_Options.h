#pragma once

#include "BRAQAudio/BRAQExtendedAudioFile.h"

namespace braq {

/// The options in a dictionary. Raises for a value of the wrong type.
BRAQExtendedAudioFileOptions optionsIn(const BRAQExtendedAudioFileOptionDictionary& dictionary);

} // namespace braq
