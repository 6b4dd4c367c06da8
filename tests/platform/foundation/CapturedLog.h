#pragma once

#include "BRAQAudio/platform/foundation/NSLog.h"

#include <mutex>
#include <string>
#include <utility>
#include <vector>

/// Collects the lines of the log while it lives.
class CapturedLog {
  public:
    CapturedLog()
        : mPrevious(NSLogSetSink([this](const std::string& line) {
              const std::lock_guard lock(mMutex);
              mLines.push_back(line);
          })) {}
    ~CapturedLog() { NSLogSetSink(std::move(mPrevious)); }
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;

    std::vector<std::string> lines() const {
        const std::lock_guard lock(mMutex);
        return mLines;
    }

  private:
    mutable std::mutex mMutex;
    std::vector<std::string> mLines;
    NSLogSink mPrevious;
};
