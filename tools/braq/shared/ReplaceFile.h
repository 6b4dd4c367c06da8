#pragma once

#include <string>

/// Throws std::runtime_error unless `path` names a regular file or nothing yet, in a folder that can be written to: links,
/// folders and devices are left alone.
void checkReplaceable(const std::string& path);

/// Writes a file, in the place of a regular one that is there, whose permissions it takes over. The bytes go to a file beside
/// it first, which then takes its name, so that nothing is lost when that fails. Throws std::runtime_error.
void replaceFile(const std::string& path, const std::string& bytes);
