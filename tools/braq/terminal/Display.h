#pragma once

#include "tools/braq/terminal/Drawing.h"
#include "tools/braq/terminal/StatusLine.h"

#include <BRAQAudio/BRAQAudio.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// Time between two updates of the display.
constexpr std::chrono::milliseconds betweenPictures{50};

/// The output of a command while it works: on a terminal a line that is redrawn, with messages above it; elsewhere
/// messages only. Main thread. Operations throw what `writeOutput` throws, unless the command goes on without output.
class Display {
  public:
    /// What becomes of a command whose output cannot be written.
    enum class WithoutOutput { ends, goesOn };

    explicit Display(int descriptor = STDOUT_FILENO, WithoutOutput withoutOutput = WithoutOutput::ends);
    /// Writes pending messages and restores the log.
    ~Display();
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    /// Whether there is a line that is redrawn.
    bool isTerminal() const noexcept { return mIsTerminal && !mIsLost; }
    /// A line that stays, on a terminal above the redrawn one.
    void say(const std::string& line);
    /// The same for a problem, to the standard error.
    void complain(const std::string& line);
    /// Does nothing without a terminal.
    void show(const Status& status);
    /// The same with other words, of which as many are shown as fit.
    void show(const std::string& words);

    /// Restores the cursor while the program is suspended.
    void suspend() { mDrawing.reset(); }
    void resume();

  private:
    void write(const std::function<void()>& operation);
    void draw(const std::string& line);
    void complainOfWhatWasLogged();

    const int mDescriptor;
    const WithoutOutput mWithoutOutput;
    const bool mIsTerminal;
    bool mIsLost = false; // it could not be written once
    std::optional<Drawing> mDrawing;
    NSLogSink mSinkBefore;
    std::mutex mLogMutex;
    std::vector<std::string> mLogged; // under mLogMutex: errors, which the next redraw would overwrite
};
