// Lists the audio devices and reports changes until Ctrl-C.
#include <BRAQAudio/BRAQAudio.h>

#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <utility>

namespace {

// Any object can be a delegate. Those of the operations that it has are called on the thread that runs the main queue.
struct RateListener {
    void audioDeviceNominalSampleRateDidChange(const std::shared_ptr<BRAQAudioDevice>& device) {
        std::cout << device->deviceName().value_or("?") << ": " << device->playbackNominalSampleRate() << " Hz"
                  << std::endl;
    }
};

class ListListener {
  public:
    void audioHardwareDeviceListDidChange() {
        std::map<AudioDeviceID, Known> now;
        for (const auto& device : BRAQAudioHardware::allDevices()) {
            if (auto known = mKnown.extract(device->deviceID())) {
                now.insert(std::move(known));
            } else {
                now.emplace(device->deviceID(), welcome(device));
            }
        }
        for (const auto& [id, gone] : mKnown) {
            std::cout << "gone: " << gone.name << std::endl;
        }
        mKnown = std::move(now);
    }

  private:
    struct Known {
        std::shared_ptr<BRAQAudioDevice> device; // keeps the notifications coming
        std::string name;                        // a removed device cannot be asked for it
    };

    Known welcome(const std::shared_ptr<BRAQAudioDevice>& device) {
        const std::string name = device->deviceName().value_or("?");
        std::cout << "here: " << name << ", " << device->numberOfPlaybackChannels() << " out, "
                  << device->numberOfRecordChannels() << " in, " << device->playbackNominalSampleRate() << " Hz"
                  << std::endl;
        try {
            device->addDelegate(mRateListener);
        } catch (const NSException&) {
            // It was removed meanwhile; the next change of the list follows.
        }
        return {device, name};
    }

    const std::shared_ptr<RateListener> mRateListener = std::make_shared<RateListener>();
    std::map<AudioDeviceID, Known> mKnown;
};

} // namespace

int main() {
    const auto listener = std::make_shared<ListListener>();
    BRAQAudioHardware::sharedInstance()->addDelegate(listener);
    listener->audioHardwareDeviceListDidChange(); // lists all devices
    BRAQMainQueue::mainQueue().run();             // or any event loop that watches the queue's descriptor
}
