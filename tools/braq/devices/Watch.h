#pragma once

#include "tools/braq/shared/DeviceFacts.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

/// Reports every change among the devices, one line each. Notifications of the library come through the main queue; new
/// defaults are found by polling. Main thread.
class Watch {
  public:
    /// Takes the first look, without a report.
    /// @param tell receives each line, including its line end
    explicit Watch(std::function<void(const std::string& line)> tell);
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    /// The devices at the last look.
    const std::vector<DeviceFacts>& devices() const noexcept { return mDevices; }

    /// Looks at the devices and reports the differences from the last look.
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
