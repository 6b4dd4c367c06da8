#include "tools/braq/terminal/Drawing.h"

#include "tools/braq/terminal/Output.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <exception>

Drawing::Drawing(int terminal) : mTerminal(terminal) { writeOutput("\x1b[?25l", mTerminal); }

// If the reader closed the pipe, there is no terminal.
Drawing::~Drawing() {
    try {
        writeOutput("\x1b[?25h", mTerminal);
    } catch (const std::exception&) {
    }
}

std::string Drawing::toTheFirstLine() const { return mLines != 0 ? "\x1b[" + std::to_string(mLines) + "A" : ""; }

void Drawing::draw(const std::string& lines) {
    std::string picture = toTheFirstLine();
    for (const char letter : lines) {
        picture += letter == '\n' ? "\x1b[K\n" : std::string(1, letter);
    }
    writeOutput(picture, mTerminal);
    mLines = static_cast<std::size_t>(std::ranges::count(lines, '\n'));
}

void Drawing::erase() {
    writeOutput(toTheFirstLine() + "\x1b[J", mTerminal);
    mLines = 0;
}

std::size_t terminalColumns(int terminal) {
    constexpr std::size_t usual = 80;
    ::winsize size{};
    return ::ioctl(terminal, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : usual;
}
