#pragma once

#include <unistd.h>

#include <cstddef>
#include <string>

/// Lines that are redrawn in place on a terminal, with the cursor hidden. Operations throw what `writeOutput` throws.
class Drawing {
  public:
    explicit Drawing(int terminal = STDOUT_FILENO);
    /// Restores the cursor in any case.
    ~Drawing();
    Drawing(const Drawing&) = delete;
    Drawing& operator=(const Drawing&) = delete;

    /// @param lines each with its line end, none wider than the terminal
    void draw(const std::string& lines);
    /// Erases the lines, so that something else can be written in their place; the next ones are drawn below that.
    void erase();

  private:
    std::string toTheFirstLine() const;

    const int mTerminal;
    std::size_t mLines = 0; // above the cursor
};

/// The width of a terminal; the usual width if it does not tell.
std::size_t terminalColumns(int terminal = STDOUT_FILENO);
