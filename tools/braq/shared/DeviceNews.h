#pragma once

#include <BRAQAudio/BRAQAudio.h>

#include <memory>
#include <string>
#include <vector>

/// Puts into words what happens to the device of a unit or a recorder: where it goes if it follows the default device, and
/// what a recorder has lost. Their delegate.
/// Main thread.
class DeviceNews final : public BRAQAudioUnitDelegate {
  public:
    /// What has happened since the last call, a line each.
    std::vector<std::string> take();

    void audioUnitDeviceDidChange(const std::shared_ptr<BRAQAudioUnit>& unit,
                                  const std::shared_ptr<BRAQAudioDevice>& device) override;
    void audioUnitDeviceIsGone(const std::shared_ptr<BRAQAudioUnit>& unit) override;
    void audioUnitDeviceIsBack(const std::shared_ptr<BRAQAudioUnit>& unit,
                               const std::shared_ptr<BRAQAudioDevice>& device) override;

    void audioFileRecorderDeviceDidChange(const std::shared_ptr<BRAQExtendedAudioFileRecorder>& recorder,
                                          const std::shared_ptr<BRAQAudioDevice>& device);
    void audioFileRecorderDeviceIsGone(const std::shared_ptr<BRAQExtendedAudioFileRecorder>& recorder);
    void audioFileRecorderDeviceIsBack(const std::shared_ptr<BRAQExtendedAudioFileRecorder>& recorder,
                                       const std::shared_ptr<BRAQAudioDevice>& device);

    /// A recording goes on behind silence of the same length.
    void audioFileRecorderDidLoseFrames(const std::shared_ptr<BRAQExtendedAudioFileRecorder>& recorder,
                                        const BRAQLostStretch& stretch);

  private:
    void tellOf(const BRAQAudioDevice& device);
    void tellOfNone();

    std::vector<std::string> mLines;
};
