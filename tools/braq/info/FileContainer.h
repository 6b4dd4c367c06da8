#pragma once

#include <BRAQAudio/BRAQAudio.h>

#include <string>

/// The container of an audio file by its first bytes, or if these do not tell, by its coding, as for MP3. Empty if
/// unknown.
std::string fileContainer(const std::string& path, UInt32 formatID);
