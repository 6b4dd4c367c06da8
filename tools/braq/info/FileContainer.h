#pragma once

#include <BRAQAudio/BRAQAudio.h>

#include <string>

/// The type of an audio file by its first bytes, and where these say nothing, by its coding, as for MP3. Empty if unknown.
std::string fileContainer(const std::string& path, UInt32 formatID);
