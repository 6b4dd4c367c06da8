#include "tools/braq/terminal/Display.h"

#include "tools/braq/terminal/Output.h"

#include <unistd.h>

#include <cstdio>
#include <exception>
#include <utility>

Display::Display() : mIsTerminal(::isatty(STDOUT_FILENO) != 0) {
    if (!mIsTerminal) {
        return;
    }
    resume();
    mSinkBefore = NSLogSetSink([this](const std::string& line) {
        if (line.starts_with("(ERROR)")) {
            const std::lock_guard lock(mLogMutex);
            mLogged.push_back(line);
        }
    });
}

Display::~Display() {
    if (!mIsTerminal) {
        return;
    }
    NSLogSetSink(std::move(mSinkBefore));
    try {
        complainOfWhatWasLogged();
    } catch (const std::exception&) { // the reader closed the pipe
    }
}

void Display::say(const std::string& line) {
    if (mDrawing) {
        mDrawing->erase();
    }
    writeOutput(line + "\n");
}

void Display::complain(const std::string& line) {
    if (mDrawing) {
        mDrawing->erase();
    }
    std::fprintf(stderr, "braq: %s\n", line.c_str());
}

void Display::show(const Status& status) {
    if (mDrawing) {
        complainOfWhatWasLogged();
        mDrawing->draw(statusLine(status, terminalColumns()) + "\n");
    }
}

void Display::resume() {
    if (mIsTerminal) {
        mDrawing.emplace();
    }
}

void Display::complainOfWhatWasLogged() {
    std::vector<std::string> logged;
    {
        const std::lock_guard lock(mLogMutex);
        logged.swap(mLogged);
    }
    for (const auto& line : logged) {
        complain(line);
    }
}
