#include "tools/braq/shared/Table.h"

#include "tools/braq/shared/Text.h"

#include <algorithm>

std::string Table::text() const {
    std::vector<std::vector<std::string>> lines(1);
    std::ranges::transform(mColumns, std::back_inserter(lines.front()), &Column::title);
    lines.insert(lines.end(), mRows.begin(), mRows.end());

    std::vector<std::size_t> widths(mColumns.size());
    for (const auto& line : lines) {
        for (std::size_t column = 0; column < widths.size(); ++column) {
            widths[column] = std::max(widths[column], columnsOf(line[column]));
        }
    }

    std::string text;
    for (const auto& line : lines) {
        std::string written;
        for (std::size_t column = 0; column < widths.size(); ++column) {
            const std::string space(widths[column] - columnsOf(line[column]), ' ');
            written += column > 0 ? "  " : "";
            written += mColumns[column].align == Align::right ? space + line[column] : line[column] + space;
        }
        written.erase(written.find_last_not_of(' ') + 1);
        text += written + "\n";
    }
    return text;
}
