// Lists the audio devices and hears of a new one. It appears here because this program makes it; a user would plug it in.
#include <BRAQAudio/BRAQAudio.h>

#include <iostream>
#include <memory>

namespace {

void listDevices() {
    for (const auto& device : BRAQAudioHardware::allDevices()) {
        std::cout << device->deviceName().value_or("?") << ": " << device->numberOfPlaybackChannels() << " out, "
                  << device->numberOfRecordChannels() << " in, " << device->playbackNominalSampleRate() << " Hz\n";
    }
}

// Any class can be a delegate; what it has of the operations is called, on the thread that runs the main queue.
struct Listener {
    void audioHardwareDeviceListDidChange() {
        std::cout << "Now there are:\n";
        listDevices();
        BRAQMainQueue::mainQueue().stop();
    }
};

} // namespace

int main() {
    listDevices();
    BRAQAudioHardware::sharedInstance()->addDelegate(std::make_shared<Listener>());

    const auto added = BRAQSoftwareDevice::deviceWithOptions({.uid = "example", .name = "Made here"});
    BRAQMainQueue::mainQueue().run(); // or any event loop that watches the queue's descriptor
}
