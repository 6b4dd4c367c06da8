#pragma once

#include "tools/braq/terminal/Drawing.h"
#include "tools/braq/terminal/StatusLine.h"

#include <BRAQAudio/BRAQAudio.h>

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// How often a command shows what it does.
constexpr std::chrono::milliseconds betweenPictures{50};

/// What a command shows while it works: on a terminal a line that is drawn over and over, and above it what is said; elsewhere
/// only that. Main thread. Operations throw what `writeOutput` throws.
class Display {
  public:
    Display();
    /// Says what is left to be said, and gives the log back.
    ~Display();
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    bool isTerminal() const noexcept { return mIsTerminal; }
    /// A line that stays; on a terminal above what is shown.
    void say(const std::string& line);
    /// The same for something that went wrong, which goes to the standard error.
    void complain(const std::string& line);
    /// Does nothing where there is no terminal.
    void show(const Status& status);

    /// Gives the terminal its cursor back while the program is suspended.
    void suspend() { mDrawing.reset(); }
    void resume();

  private:
    void complainOfWhatWasLogged();

    const bool mIsTerminal;
    std::optional<Drawing> mDrawing;
    NSLogSink mSinkBefore;
    std::mutex mLogMutex;
    std::vector<std::string> mLogged; // under mLogMutex: errors, which the next picture would draw over
};
