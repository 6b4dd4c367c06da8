#pragma once

#include <BRAQAudio/BRAQAudio.h>

#include <memory>
#include <string>

/// Opens a file to be played. Throws std::runtime_error with the reason.
/// @param path UTF-8
/// @param format what it is converted to; null: its own channels and rate
std::shared_ptr<BRAQExtendedAudioFile>
openToPlay(const std::string& path, const std::shared_ptr<BRAQAudioStreamBasicDescription>& format = nullptr);
