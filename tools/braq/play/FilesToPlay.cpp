#include "tools/braq/play/FilesToPlay.h"

#include "tools/braq/shared/PipedFile.h"
#include "tools/braq/shared/Text.h"

#include <BRAQAudio/BRAQAudio.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string_view>
#include <system_error>

namespace {

namespace fs = std::filesystem;

bool isDigit(char letter) { return letter >= '0' && letter <= '9'; }

char lowerCase(char letter) { return static_cast<char>(std::tolower(static_cast<unsigned char>(letter))); }

std::string lowerCase(std::string text) {
    std::ranges::transform(text, text.begin(), [](char letter) { return lowerCase(letter); });
    return text;
}

/// Takes the digits at the beginning of a text, without zeros in front.
std::string_view takeNumber(std::string_view& text) {
    const std::size_t end = std::min(text.find_first_not_of("0123456789"), text.size());
    std::string_view number = text.substr(0, end);
    text.remove_prefix(end);
    number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
    return number;
}

std::string extensionOf(const fs::path& path) {
    const std::string extension = lowerCase(path.extension().string());
    return extension.empty() ? extension : extension.substr(1);
}

bool isAudio(const fs::path& path) {
    static const std::set<std::string> extensions = [] {
        std::set<std::string> all;
        for (const auto& format : BRAQAudioFileFormats()) {
            all.insert(format.extensions.begin(), format.extensions.end());
        }
        return all;
    }();
    return extensions.contains(extensionOf(path));
}

bool isDirectory(const fs::path& path) {
    std::error_code ignored; // then it is none
    return fs::is_directory(path, ignored);
}

void addTrouble(FilesToPlay& found, const fs::path& path, const std::string& reason) {
    found.troubles.push_back(printable(path.string()) + ": " + reason);
}

// Links to folders are not followed further down: they may lead back.
void addFolder(FilesToPlay& found, const fs::path& folder) {
    std::error_code error;
    std::vector<fs::path> entries;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        entries.push_back(entry->path());
    }
    if (error) {
        addTrouble(found, folder, error.message());
    }
    std::ranges::sort(entries, comesBefore, [](const fs::path& path) { return path.filename().string(); });
    for (const auto& entry : entries) {
        if (entry.filename().string().starts_with('.')) {
            continue;
        }
        if (isDirectory(entry)) {
            std::error_code ignored;
            if (!fs::is_symlink(entry, ignored)) {
                addFolder(found, entry);
            }
        } else if (isAudio(entry)) {
            found.files.push_back(entry.string());
        }
    }
}

void addFileOrFolder(FilesToPlay& found, const fs::path& path) {
    if (!isDirectory(path)) {
        found.files.push_back(path.string());
        return;
    }
    const std::size_t before = found.files.size() + found.troubles.size();
    addFolder(found, path);
    if (found.files.size() + found.troubles.size() == before) {
        addTrouble(found, path, "there are no audio files in this folder");
    }
}

fs::path pathInList(const fs::path& list, std::string entry) {
    if (entry.starts_with("file:")) {
        if (const auto url = NSURL::urlWithString(entry); url != nullptr && url->isFileURL()) {
            return url->path();
        }
    }
    fs::path path = list.parent_path() / entry;
    std::error_code ignored;
    if (!fs::exists(path, ignored) && entry.find('\\') != std::string::npos) { // written on another system
        std::ranges::replace(entry, '\\', '/');
        path = list.parent_path() / entry;
    }
    return path;
}

/// The entries of a list with a line for each, and comments.
std::vector<std::string> entriesOfM3U(const std::vector<std::string>& lines) {
    std::vector<std::string> entries;
    std::ranges::copy_if(lines, std::back_inserter(entries),
                         [](const std::string& line) { return !line.empty() && !line.starts_with('#'); });
    return entries;
}

/// The entries of a list with lines such as "File12=song.flac", in the order of their numbers.
std::vector<std::string> entriesOfPLS(const std::vector<std::string>& lines) {
    constexpr std::string_view key = "file";
    std::map<std::string, std::string, decltype(&comesBefore)> entries(&comesBefore);
    for (const auto& line : lines) {
        const std::size_t equals = line.find('=');
        const std::string name = lowerCase(line.substr(0, equals));
        if (equals != std::string::npos && name.starts_with(key) && name.size() > key.size() &&
            std::all_of(name.begin() + key.size(), name.end(), isDigit)) {
            entries[name] = line.substr(equals + 1);
        }
    }
    std::vector<std::string> inOrder;
    std::ranges::transform(entries, std::back_inserter(inOrder), [](const auto& numbered) { return numbered.second; });
    return inOrder;
}

/// The lines without the spaces around them and without a byte order mark.
std::vector<std::string> linesOf(std::istream& file) {
    constexpr const char* spaces = " \t\r";
    constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        if (lines.empty() && line.starts_with(byteOrderMark)) {
            line.erase(0, byteOrderMark.size());
        }
        const std::size_t first = line.find_first_not_of(spaces);
        lines.push_back(first == std::string::npos ? ""
                                                   : line.substr(first, line.find_last_not_of(spaces) + 1 - first));
    }
    return lines;
}

void addList(FilesToPlay& found, const fs::path& list) {
    std::ifstream file(list);
    if (!file) {
        addTrouble(found, list, std::generic_category().message(errno));
        return;
    }
    const auto lines = linesOf(file);
    const auto entries = extensionOf(list) == "pls" ? entriesOfPLS(lines) : entriesOfM3U(lines);
    if (entries.empty()) {
        addTrouble(found, list, "there are no files in this list");
    }
    for (const auto& entry : entries) {
        addFileOrFolder(found, pathInList(list, entry));
    }
}

} // namespace

FilesToPlay filesToPlay(const std::vector<std::string>& arguments) {
    static const std::set<std::string> lists{"m3u", "m3u8", "pls"};
    FilesToPlay found;
    for (const fs::path path : arguments) {
        if (path == "-") {
            found.files.emplace_back(standardInputPath);
        } else if (lists.contains(extensionOf(path)) && !isDirectory(path)) {
            addList(found, path);
        } else {
            addFileOrFolder(found, path);
        }
    }
    return found;
}

bool comesBefore(const std::string& one, const std::string& other) {
    std::string_view left = one;
    std::string_view right = other;
    while (!left.empty() && !right.empty()) {
        if (isDigit(left.front()) && isDigit(right.front())) {
            const std::string_view number = takeNumber(left);
            const std::string_view otherNumber = takeNumber(right);
            if (number != otherNumber) {
                return number.size() != otherNumber.size() ? number.size() < otherNumber.size() : number < otherNumber;
            }
        } else if (lowerCase(left.front()) != lowerCase(right.front())) {
            return lowerCase(left.front()) < lowerCase(right.front());
        } else {
            left.remove_prefix(1);
            right.remove_prefix(1);
        }
    }
    return left.size() != right.size() ? left.size() < right.size() : one < other;
}
