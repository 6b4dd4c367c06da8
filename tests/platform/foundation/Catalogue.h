#pragma once

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

/// The entries of a translation file or template whose texts are single lines, without its header.
inline std::map<std::string, std::string> catalogueEntries(const std::filesystem::path& file) {
    const auto quoted = [](const std::string& line) {
        const std::size_t first = line.find('"');
        return line.substr(first + 1, line.rfind('"') - first - 1);
    };
    std::map<std::string, std::string> entries;
    std::ifstream lines(file);
    std::string key;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("msgid ")) {
            key = quoted(line);
        } else if (line.starts_with("msgstr ") && !key.empty()) {
            entries[key] = quoted(line);
        }
    }
    return entries;
}
