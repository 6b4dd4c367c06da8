#include "tools/braq/terminal/Display.h"

#include "tools/braq/terminal/Output.h"

#include <unistd.h>

#include <cstdio>
#include <exception>
#include <utility>

Display::Display(int descriptor, WithoutOutput withoutOutput)
    : mDescriptor(descriptor), mWithoutOutput(withoutOutput), mIsTerminal(::isatty(descriptor) != 0) {
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

// The output of a command that goes on is no more than a report: without somebody who reads it, nothing is lost.
void Display::write(const std::function<void()>& operation) {
    if (mIsLost) {
        return;
    }
    try {
        operation();
    } catch (const std::exception&) {
        if (mWithoutOutput == WithoutOutput::ends) {
            throw;
        }
        mIsLost = true;
        mDrawing.reset();
    }
}

void Display::say(const std::string& line) {
    write([&] {
        if (mDrawing) {
            mDrawing->erase();
        }
        writeOutput(line + "\n", mDescriptor);
    });
}

void Display::complain(const std::string& line) {
    write([&] {
        if (mDrawing) {
            mDrawing->erase();
        }
    });
    std::fprintf(stderr, "braq: %s\n", line.c_str());
}

void Display::show(const Status& status) {
    if (mDrawing) {
        draw(statusLine(status, terminalColumns(mDescriptor)));
    }
}

void Display::show(const std::string& words) {
    if (mDrawing) {
        draw(words.substr(0, terminalColumns(mDescriptor)));
    }
}

void Display::draw(const std::string& line) {
    complainOfWhatWasLogged();
    write([&] { mDrawing->draw(line + "\n"); });
}

void Display::resume() {
    if (isTerminal()) {
        write([&] { mDrawing.emplace(mDescriptor); });
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
