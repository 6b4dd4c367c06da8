#pragma once

#include "tools/braq/info/AudioFileFacts.h"

#include <string>
#include <vector>

/// What is known of a file, for people: its name, then a line for each fact, indented.
std::string fileAsText(const AudioFileFacts& facts);

/// The same of several files for programs, as one JSON object: "files" is an array in the same order. What is not known is
/// null, as is the level of silence.
std::string filesAsJSON(const std::vector<AudioFileFacts>& files);
