#include "BRAQAudio/platform/BRAQAudioFileFormats.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <string>
#include <string_view>
#include <vector>

// The tables of the page about formats say what the library's own table says.

namespace {

using testing::Contains;
using testing::ElementsAreArray;
using testing::Not;

using Row = std::vector<std::string>; // its cells

std::string joined(const std::vector<std::string>& words, const char* separator) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : separator) + word;
    }
    return text;
}

/// 1000000 as 1,000,000.
std::string withCommas(UInt32 number) {
    std::string text = std::to_string(number);
    for (auto place = static_cast<std::ptrdiff_t>(text.size()) - 3; place > 0; place -= 3) {
        text.insert(static_cast<std::size_t>(place), 1, ',');
    }
    return text;
}

/// "pcm16" and "flac" as "16", "float" as it is, "aac" as nothing.
std::string bitsOf(const std::string& name) {
    static const std::map<std::string, std::string> depths{
        {"pcm8", "8"},    {"pcm16", "16"}, {"pcm24", "24"},  {"pcm32", "32"},    {"alac", "16"},
        {"alac24", "24"}, {"flac", "16"},  {"flac24", "24"}, {"float", "float"}, {"double", "double"}};
    return depths.contains(name) ? depths.at(name) : "";
}

std::string codingText(const BRAQAudioFileFormat& format) {
    std::vector<std::string> integers;
    std::vector<std::string> others;
    std::vector<std::string> inBothOrders;
    for (const BRAQAudioFileSample& sample : format.samples) {
        const std::string bits = bitsOf(sample.name);
        const bool isOther = bits == "float" || bits == "double";
        std::vector<std::string>& list = isOther ? others : integers;
        if (!bits.empty()) {
            (std::ranges::find(list, bits) == list.end() ? list : inBothOrders).push_back(bits);
        }
    }
    if (integers.empty()) {
        return format.formatName;
    }
    std::vector<std::string> parts{joined(integers, ", ") + " bits"};
    parts.insert(parts.end(), others.begin(), others.end());
    const bool areAll = inBothOrders.size() == integers.size() + others.size();
    if (!inBothOrders.empty()) {
        parts.push_back((areAll ? "" : joined(inBothOrders, ", ") + " bits ") + "in either byte order");
    }
    return std::string(format.formatName) + ": " + joined(parts, ", ");
}

std::string survivalText(const BRAQAudioFileFormat& format) {
    const std::string others = format.survivesForOthers ? "" : ", but other programs see a length of 0";
    switch (format.survival) {
    case BRAQAudioFileSurvival::everything: return "complete" + others;
    case BRAQAudioFileSurvival::mostPackets:
        return "lacks the last " + std::to_string(format.mostPacketsLost) + " packets at most" + others;
    default: return format.canBeWritten ? "lost" : "";
    }
}

Row formatRow(const BRAQAudioFileFormat& format) {
    return {format.fileTypeName, joined(format.extensions, " "), codingText(format), format.canBeWritten ? "yes" : "no",
            survivalText(format)};
}

std::string ratesText(const BRAQAudioFileFormat& format) {
    std::vector<std::string> parts;
    for (const auto& [first, last, step] : format.rates) {
        const std::string range = withCommas(first) + (last > first ? " to " + withCommas(last) : "");
        parts.push_back(range + (step > 1 ? " in steps of " + std::to_string(step) : ""));
    }
    return joined(parts, "; ");
}

std::string channelsText(const BRAQAudioFileFormat& format) {
    std::string text;
    for (std::size_t first = 0; first < format.channels.size();) {
        std::size_t last = first;
        while (last + 1 < format.channels.size() && format.channels[last + 1] == format.channels[last] + 1) {
            ++last;
        }
        text += (text.empty() ? "" : "; ") + std::to_string(format.channels[first]);
        text += last > first ? " to " + std::to_string(format.channels[last]) : "";
        first = last + 1;
    }
    return text;
}

/// The rows of the table of the page whose first heading is this, without the heading.
std::vector<Row> tableOfPage(const std::string& heading) {
    std::ifstream page(BRAQ_FORMATS_PAGE);
    std::vector<Row> rows;
    bool isInside = false;
    for (std::string line; std::getline(page, line);) {
        isInside = line.starts_with("| " + heading + " |") || (isInside && line.starts_with("|"));
        if (!isInside || line.starts_with("|-") || line.starts_with("| " + heading + " |")) {
            continue;
        }
        Row row;
        for (std::size_t begin = 2; begin < line.size();) {
            const std::size_t end = std::min(line.find(" |", begin == 0 ? 0 : begin - 1), line.size());
            row.push_back(end > begin ? line.substr(begin, end - begin) : "");
            begin = end + 3;
        }
        rows.push_back(row);
    }
    return rows;
}

TEST(Files_FormatsPage, HasARowForEachFormatThatSaysTheSame) {
    std::vector<Row> rows = tableOfPage("type");
    for (Row& row : rows) {
        ASSERT_EQ(row.size(), 6U) << row.front();
        row.pop_back(); // memory, which the table does not have
    }
    std::vector<Row> expected;
    std::ranges::transform(BRAQAudioFileFormats(), std::back_inserter(expected), formatRow);
    EXPECT_THAT(rows, ElementsAreArray(expected));
}

TEST(Files_FormatsPage, HasTheRatesAndChannelsOfEachCoding) {
    const std::vector<Row> rows = tableOfPage("coding");
    std::size_t codings = 0;
    for (const BRAQAudioFileFormat& format : BRAQAudioFileFormats()) {
        if (format.canBeWritten) {
            const auto usual = std::ranges::find(rows, Row{format.formatName, ratesText(format), channelsText(format)});
            const std::string special = std::string(format.formatName) + " in " + format.fileTypeName;
            if (usual == rows.end()) {
                EXPECT_THAT(rows, Contains(Row{special, ratesText(format), channelsText(format)}));
            } else {
                EXPECT_THAT(rows, Not(Contains(Contains(special))));
            }
        }
    }
    for (const Row& row : rows) {
        codings += std::ranges::any_of(BRAQAudioFileFormats(), [&](const BRAQAudioFileFormat& format) {
            return format.canBeWritten &&
                   (row.front() == format.formatName ||
                    row.front() == std::string(format.formatName) + " in " + format.fileTypeName);
        });
    }
    EXPECT_EQ(codings, rows.size());
    EXPECT_EQ(codings, 5U);
}

} // namespace
