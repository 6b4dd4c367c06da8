#pragma once

#include <string>
#include <vector>

/// Text cells in aligned columns for a terminal.
class Table {
  public:
    enum class Align { left, right };
    struct Column {
        std::string title;
        Align align = Align::left;
    };

    explicit Table(std::vector<Column> columns) : mColumns(std::move(columns)) {}

    /// @param cells printable texts, one per column
    void addRow(std::vector<std::string> cells) { mRows.push_back(std::move(cells)); }

    /// The titles and the rows, one line each, without trailing spaces.
    std::string text() const;

  private:
    const std::vector<Column> mColumns;
    std::vector<std::vector<std::string>> mRows;
};
