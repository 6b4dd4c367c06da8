#pragma once

#include <filesystem>

namespace braq {

/// The file, without symbolic links, of the program or shared library that holds the code at `address`; empty where that
/// cannot be told.
std::filesystem::path fileOfCode(const void* address);

/// The file of the running program; empty where that cannot be told.
std::filesystem::path fileOfProgram();

/// `../share/NAME/locale` as seen from the folder of `file`.
std::filesystem::path localeDirectoryBeside(const std::filesystem::path& file, const std::filesystem::path& name);

/// The library's own: that of the same NAME as `installed` beside `file` where it is a directory, else `installed`.
std::filesystem::path libraryLocaleDirectory(const std::filesystem::path& file, const std::filesystem::path& installed);

} // namespace braq
