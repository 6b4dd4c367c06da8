#include "platform/foundation/LocaleDirectory.h"

#include <dlfcn.h>
#include <link.h>

#include <system_error>

namespace braq {
namespace {

std::filesystem::path resolved(const std::filesystem::path& path) {
    std::error_code error;
    return std::filesystem::canonical(path, error);
}

} // namespace

std::filesystem::path fileOfProgram() { return resolved("/proc/self/exe"); }

std::filesystem::path fileOfCode(const void* address) {
    Dl_info info;
    void* map = nullptr;
    if (::dladdr1(address, &info, &map, RTLD_DL_LINKMAP) == 0 || map == nullptr) {
        return {};
    }
    // The program itself has no name in the list of loaded files, and its argv[0] may not be a path.
    const char* name = static_cast<const link_map*>(map)->l_name;
    return name[0] != '\0' ? resolved(name) : fileOfProgram();
}

std::filesystem::path localeDirectoryBeside(const std::filesystem::path& file, const std::filesystem::path& name) {
    return file.parent_path().parent_path() / "share" / name / "locale";
}

std::filesystem::path libraryLocaleDirectory(const std::filesystem::path& file,
                                             const std::filesystem::path& installed) {
    if (file.empty()) {
        return installed;
    }
    const std::filesystem::path beside = localeDirectoryBeside(file, installed.parent_path().filename());
    std::error_code error;
    return std::filesystem::is_directory(beside, error) ? beside : installed;
}

} // namespace braq
