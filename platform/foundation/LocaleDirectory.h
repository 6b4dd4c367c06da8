#pragma once

#include <filesystem>

namespace braq {

/// The file, with symbolic links resolved, of the program or shared library with the code at `address`; empty if
/// unknown.
std::filesystem::path fileOfCode(const void* address);

/// The file of the running program; empty if unknown.
std::filesystem::path fileOfProgram();

/// `../share/NAME/locale`, relative to the folder of `file`.
std::filesystem::path localeDirectoryBeside(const std::filesystem::path& file, const std::filesystem::path& name);

/// The library's own locale directory: the one beside `file` with the NAME of `installed` if it exists, else
/// `installed`.
std::filesystem::path libraryLocaleDirectory(const std::filesystem::path& file, const std::filesystem::path& installed);

} // namespace braq
