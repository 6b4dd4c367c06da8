// An event loop that carries the main queue: each line entered makes a device appear or disappear, and the delegate
// reports it.
#include <BRAQAudio/BRAQAudio.h>

#include <poll.h>
#include <unistd.h>

#include <array>
#include <iostream>
#include <memory>

namespace {

struct Listener {
    void audioHardwareDeviceListDidChange() {
        std::cout << BRAQAudioHardware::allDevices().size() << " devices" << std::endl;
    }
};

} // namespace

int main() {
    BRAQAudioHardware::sharedInstance()->addDelegate(std::make_shared<Listener>());
    auto& queue = BRAQMainQueue::mainQueue();
    std::array watched{pollfd{queue.fileDescriptor(), POLLIN, 0}, pollfd{STDIN_FILENO, POLLIN, 0}};

    std::shared_ptr<BRAQSoftwareDevice> device;
    while (::poll(watched.data(), watched.size(), -1) > 0) {
        if (watched[0].revents != 0) {
            queue.drain(); // calls the delegates, on this thread
        }
        if (watched[1].revents != 0) {
            std::array<char, 256> line{};
            if (::read(STDIN_FILENO, line.data(), line.size()) <= 0) {
                break;
            }
            device = device == nullptr ? BRAQSoftwareDevice::deviceWithOptions({.uid = "example"}) : nullptr;
        }
    }
}
