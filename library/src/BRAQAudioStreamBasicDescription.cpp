#include "BRAQAudio/BRAQAudioStreamBasicDescription.h"

#include "BRAQAudio/platform/hardware.h"

#include <cstring>

namespace {

constexpr UInt32 nativeFlags = kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked;
constexpr UInt32 nativeBits = 32;

class Words {
  public:
    explicit Words(const NSBundle& bundle) : mBundle(bundle) {}
    std::string operator()(const char* key) const { return mBundle.localizedString(key, "StreamDescription"); }

  private:
    const NSBundle& mBundle;
};

const char* sampleKind(UInt32 flags) {
    if ((flags & kAudioFormatFlagIsFloat) != 0) {
        return "floating-point";
    }
    return (flags & kAudioFormatFlagIsSignedInteger) != 0 ? "signed-integer" : "unsigned-integer";
}

const char* byteOrder(UInt32 flags) {
    return (flags & kAudioFormatFlagIsBigEndian) != 0 ? "big-endian" : "little-endian";
}

const char* alignment(UInt32 flags) {
    if ((flags & kAudioFormatFlagIsPacked) != 0) {
        return "packed";
    }
    return (flags & kAudioFormatFlagIsAlignedHigh) != 0 ? "aligned-high" : "aligned-low";
}

// The memory layout of samples; nothing for a coded format, or for the format that everybody here uses.
std::string sampleWords(const AudioStreamBasicDescription& format, const Words& words) {
    if (format.mFormatID != kAudioFormatLinearPCM || format.mFormatFlags == nativeFlags) {
        return {};
    }
    const UInt32 flags = format.mFormatFlags;
    return " " + words(sampleKind(flags)) + " " + words(byteOrder(flags)) + " " + words(alignment(flags));
}

} // namespace

std::shared_ptr<BRAQAudioStreamBasicDescription> BRAQAudioStreamBasicDescription::init() {
    return std::shared_ptr<BRAQAudioStreamBasicDescription>(new BRAQAudioStreamBasicDescription());
}

std::shared_ptr<BRAQAudioStreamBasicDescription>
BRAQAudioStreamBasicDescription::initWithAudioStreamBasicDescription(const AudioStreamBasicDescription* description) {
    if (description == nullptr) {
        return nullptr;
    }
    return std::shared_ptr<BRAQAudioStreamBasicDescription>(new BRAQAudioStreamBasicDescription(*description));
}

BRAQAudioStreamBasicDescription::BRAQAudioStreamBasicDescription() noexcept {
    mASBD.mFormatID = kAudioFormatLinearPCM;
    mASBD.mChannelsPerFrame = 2;
}

BRAQAudioStreamBasicDescription::BRAQAudioStreamBasicDescription(
    const AudioStreamBasicDescription& description) noexcept
    : mASBD(description) {}

BRAQAudioStreamBasicDescription::~BRAQAudioStreamBasicDescription() = default;

bool BRAQAudioStreamBasicDescription::isInterleaved() const noexcept {
    return (mASBD.mFormatFlags & kAudioFormatFlagIsNonInterleaved) == 0;
}

void BRAQAudioStreamBasicDescription::setIsInterleaved(bool interleaved) noexcept {
    if (!isLinearPCMFormat()) {
        return;
    }
    mASBD.mFormatFlags &= ~kAudioFormatFlagIsNonInterleaved;
    if (!interleaved) {
        mASBD.mFormatFlags |= kAudioFormatFlagIsNonInterleaved;
    }
    if (isCanonicalFormat()) {
        normalizeBytesForChannels();
    }
}

bool BRAQAudioStreamBasicDescription::isNativeFormat() const noexcept { return isCanonicalFormat() && isInterleaved(); }

bool BRAQAudioStreamBasicDescription::isLinearPCMFormat() const noexcept {
    return mASBD.mFormatID == kAudioFormatLinearPCM;
}

bool BRAQAudioStreamBasicDescription::isCanonicalFormat() const noexcept {
    return isLinearPCMFormat() && (mASBD.mFormatFlags & ~kAudioFormatFlagIsNonInterleaved) == nativeFlags &&
           mASBD.mBitsPerChannel == nativeBits && mASBD.mFramesPerPacket == 1;
}

void BRAQAudioStreamBasicDescription::setNativeFormat() noexcept {
    mASBD.mFormatID = kAudioFormatLinearPCM;
    mASBD.mFormatFlags = nativeFlags;
    mASBD.mBitsPerChannel = nativeBits;
    mASBD.mFramesPerPacket = 1;
    normalizeBytesForChannels();
}

// Assumes 32-bit samples whatever the bits per channel: only the canonical format gets here.
void BRAQAudioStreamBasicDescription::normalizeBytesForChannels() noexcept {
    constexpr UInt32 bytesPerSample = sizeof(Float32);
    mASBD.mBytesPerFrame = isInterleaved() ? bytesPerSample * mASBD.mChannelsPerFrame : bytesPerSample;
    mASBD.mBytesPerPacket = mASBD.mBytesPerFrame;
}

void BRAQAudioStreamBasicDescription::setPCM16Format() noexcept {
    constexpr UInt32 bits = 16;
    if (mASBD.mFormatID != 0 && mASBD.mFormatID != kAudioFormatLinearPCM) {
        return;
    }
    mASBD.mFormatID = kAudioFormatLinearPCM;
    mASBD.mFormatFlags = kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked;
    mASBD.mBitsPerChannel = bits;
    mASBD.mBytesPerFrame = (bits >> 3) * mASBD.mChannelsPerFrame;
    mASBD.mBytesPerPacket = mASBD.mBytesPerFrame;
    mASBD.mFramesPerPacket = 1;
}

void BRAQAudioStreamBasicDescription::setDefaultInputDeviceSampleRate() {
    setSampleRateOfDefaultDevice(kAudioHardwarePropertyDefaultInputDevice);
}

void BRAQAudioStreamBasicDescription::setDefaultOutputDeviceSampleRate() {
    setSampleRateOfDefaultDevice(kAudioHardwarePropertyDefaultOutputDevice);
}

// Failures are silent: a machine without sound has no rate, which 0.0 expresses.
void BRAQAudioStreamBasicDescription::setSampleRateOfDefaultDevice(UInt32 selector) {
    Float64 rate = 0.0;
    AudioDeviceID device = kAudioObjectUnknown;
    UInt32 size = sizeof(device);
    AudioObjectPropertyAddress address{selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
    if (AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, &size, &device) == 0) {
        address.mSelector = kAudioDevicePropertyNominalSampleRate;
        size = sizeof(rate);
        AudioObjectGetPropertyData(device, &address, 0, nullptr, &size, &rate);
    }
    setSampleRate(rate);
}

std::string BRAQAudioStreamBasicDescription::description() const {
    const auto bundle = bundleForDescriptionStrings();
    const Words words(*bundle);
    char code[sizeof(mASBD.mFormatID)];
    std::memcpy(code, &mASBD.mFormatID, sizeof(code));
    return NSStringWithFormat("%d%s-%.2f%s-%d%s-'%4.4s'%s", static_cast<SInt32>(mASBD.mChannelsPerFrame),
                              words("ch").c_str(), mASBD.mSampleRate, words("hz").c_str(),
                              static_cast<SInt32>(mASBD.mBitsPerChannel), words("bit").c_str(), code,
                              sampleWords(mASBD, words).c_str());
}

std::shared_ptr<NSBundle> BRAQAudioStreamBasicDescription::bundleForDescriptionStrings() {
    return NSBundle::libraryBundle();
}
