#pragma once

#include "BRAQAudio/platform/foundation/NSLog.h"

#include <algorithm>
#include <iterator>
#include <mutex>
#include <string>
#include <vector>

namespace braq::tests {

/// Takes the place of the log while it lives.
class CapturedLog {
  public:
    CapturedLog()
        : mBefore(NSLogSetSink([this](const std::string& line) {
              const std::lock_guard lock(mMutex);
              mLines.push_back(line);
          })) {}
    ~CapturedLog() { NSLogSetSink(mBefore); }
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;

    std::vector<std::string> lines() const {
        const std::lock_guard lock(mMutex);
        return mLines;
    }
    /// The lines that report errors; others, such as what scheduling a thread was given, come when they come.
    std::vector<std::string> errors() const {
        const std::lock_guard lock(mMutex);
        std::vector<std::string> found;
        std::ranges::copy_if(mLines, std::back_inserter(found),
                             [](const std::string& line) { return line.starts_with("(ERROR)"); });
        return found;
    }

  private:
    mutable std::mutex mMutex;
    std::vector<std::string> mLines;
    NSLogSink mBefore;
};

} // namespace braq::tests
