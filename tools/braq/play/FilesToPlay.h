#pragma once

#include <string>
#include <vector>

/// What is found where users say what to play.
struct FilesToPlay {
    std::vector<std::string> files;
    std::vector<std::string> troubles{}; ///< what could not be read, each with its path, in words for users
};

/// The files that arguments stand for, in their order:
/// - a folder: the audio files in it and in its folders, in the order of their names, in which numbers count as such.
///   What is hidden is left out.
/// - a list (.m3u, .m3u8, .pls): its files and folders. Their paths may be relative to the list, and `file:` URLs.
/// - a hyphen: the standard input.
/// - anything else: itself, whether it is there or not.
FilesToPlay filesToPlay(const std::vector<std::string>& arguments);

/// Whether a name comes before another one: letters regardless of their case, numbers by their value.
bool comesBefore(const std::string& one, const std::string& other);
