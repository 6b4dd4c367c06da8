#pragma once

#include "tools/braq/terminal/Drawing.h"
#include "tools/braq/terminal/StatusLine.h"

#include <BRAQAudio/BRAQAudio.h>

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// Time between two updates of the display.
constexpr std::chrono::milliseconds betweenPictures{50};

/// The output of a command while it works: on a terminal a line that is redrawn, with messages above it; elsewhere
/// messages only. Main thread. Operations throw what `writeOutput` throws.
class Display {
  public:
    Display();
    /// Writes pending messages and restores the log.
    ~Display();
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    bool isTerminal() const noexcept { return mIsTerminal; }
    /// A line that stays, on a terminal above the redrawn one.
    void say(const std::string& line);
    /// The same for a problem, to the standard error.
    void complain(const std::string& line);
    /// Does nothing without a terminal.
    void show(const Status& status);

    /// Restores the cursor while the program is suspended.
    void suspend() { mDrawing.reset(); }
    void resume();

  private:
    void complainOfWhatWasLogged();

    const bool mIsTerminal;
    std::optional<Drawing> mDrawing;
    NSLogSink mSinkBefore;
    std::mutex mLogMutex;
    std::vector<std::string> mLogged; // under mLogMutex: errors, which the next redraw would overwrite
};
