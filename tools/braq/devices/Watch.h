#pragma once

#include "tools/braq/shared/DeviceFacts.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

/// Tells of every change among the devices, a line each. What the library reports comes through the main queue; new
/// defaults are found by looking again. Main thread.
class Watch {
  public:
    /// Looks for the first time, silently.
    /// @param tell gets each line, with its end
    explicit Watch(std::function<void(const std::string& line)> tell);
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    /// What was there at the last look.
    const std::vector<DeviceFacts>& devices() const noexcept { return mDevices; }

    /// Looks, and tells what is another than at the last look.
    void look();

  private:
    struct Listener;

    void tellChangesTo(const std::vector<DeviceFacts>& now) const;
    void tellDefault(const char* of, DirectionFacts DeviceFacts::*direction, const std::vector<DeviceFacts>& now) const;
    void listenTo(const std::vector<DeviceFacts>& now);

    const std::function<void(const std::string&)> mTell;
    const std::shared_ptr<Listener> mListener;
    std::vector<DeviceFacts> mDevices;
    std::map<AudioDeviceID, std::shared_ptr<BRAQAudioDevice>> mListenedTo;
};
