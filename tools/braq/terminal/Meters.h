#pragma once

#include "tools/braq/terminal/LevelBar.h"
#include "tools/braq/terminal/PeakHold.h"

#include <BRAQAudio/BRAQAudio.h>

#include <cstddef>
#include <memory>
#include <vector>

/// Channels of a device and their meters, each of which has one or two channels. Main thread.
class Meters {
  public:
    /// Starts metering. Raises what the library raises.
    /// @param device null: the default device, wherever it goes
    /// @param channels from 1; the device must have all of them now
    Meters(const std::shared_ptr<BRAQAudioDevice>& device, const std::vector<unsigned>& channels);
    ~Meters() { invalidate(); }
    Meters(const Meters&) = delete;
    Meters& operator=(const Meters&) = delete;

    /// Hears what happens to the device; not retained.
    void setDelegate(const std::shared_ptr<BRAQAudioUnitDelegate>& delegate);

    /// The levels over the last eighth of a second.
    std::vector<MeteredChannel> look(double secondsSinceLast);

  private:
    struct Meter {
        std::shared_ptr<BRAQAudioInputMeter> meter;
        std::size_t channels;
    };
    struct Channel {
        unsigned number;
        PeakHold hold;
    };

    void invalidate();

    std::vector<Meter> mMeters;
    std::vector<Channel> mChannels;
};
