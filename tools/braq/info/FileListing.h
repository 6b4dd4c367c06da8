#pragma once

#include "tools/braq/info/AudioFileFacts.h"

#include <string>
#include <vector>

/// The facts about a file for people: its name, then one indented line per fact.
std::string fileAsText(const AudioFileFacts& facts);

/// The same for several files, for programs, as one JSON object: "files" is an array in the same order. Unknown values
/// and the level of silence are null.
std::string filesAsJSON(const std::vector<AudioFileFacts>& files);
