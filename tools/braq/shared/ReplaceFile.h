#pragma once

#include <string>

/// Throws std::runtime_error unless `path` names a regular file or nothing yet, in a writable folder. Links, folders
/// and devices are never replaced.
void checkReplaceable(const std::string& path);

/// Writes a file. An existing regular file is replaced and its permissions are kept. The bytes go to a temporary file
/// beside it first, which is then renamed, so a failure loses nothing. Throws std::runtime_error.
void replaceFile(const std::string& path, const std::string& bytes);
