#pragma once

#include <cstddef>
#include <string>

/// Lines that are drawn over and over at one place of a terminal, without its cursor. Operations throw what `writeOutput`
/// throws.
class Drawing {
  public:
    Drawing();
    /// Whatever happened, the terminal gets its cursor back.
    ~Drawing();
    Drawing(const Drawing&) = delete;
    Drawing& operator=(const Drawing&) = delete;

    /// @param lines each with its end, none wider than the terminal
    void draw(const std::string& lines);
    /// Takes the lines away, for something else to be written in their place; the next ones are drawn below that.
    void erase();

  private:
    std::string toTheFirstLine() const;

    std::size_t mLines = 0; // above the cursor
};

/// How wide the terminal is that is written to; as is usual for what does not say.
std::size_t terminalColumns();
