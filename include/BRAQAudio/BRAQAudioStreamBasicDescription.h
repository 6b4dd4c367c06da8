#pragma once

#include "BRAQAudio/platform/foundation.h"
#include "BRAQAudio/platform/types.h"

#include <memory>
#include <string>

/// @addtogroup files
/// @{

/// An audio stream format as a mutable value. No operation reports errors. One thread at a time uses an object; not on
/// an I/O thread unless marked.
///
/// Operations that create an object of the class they are called on take that class as a template argument. The class
/// declares its own `init` and `initWithAudioStreamBasicDescription`.
class BRAQ_EXPORT BRAQAudioStreamBasicDescription {
  public:
    /// Linear PCM of 2 channels; every other field is 0.
    static std::shared_ptr<BRAQAudioStreamBasicDescription> init();
    /// Copies the record without checks. @return null if it is null
    static std::shared_ptr<BRAQAudioStreamBasicDescription>
    initWithAudioStreamBasicDescription(const AudioStreamBasicDescription* description);

    /// Same as `init`.
    template <class Class = BRAQAudioStreamBasicDescription>
    static std::shared_ptr<Class> streamDescription() {
        return Class::init();
    }
    /// The library's processing format: 32-bit float, packed, interleaved, 2 channels; no sample rate.
    template <class Class = BRAQAudioStreamBasicDescription>
    static std::shared_ptr<Class> nativeStreamDescription() {
        auto description = streamDescription<Class>();
        description->setNativeFormat();
        return description;
    }
    /// The same, not interleaved, as units and rings take it.
    /// @param rate frames per second
    template <class Class = BRAQAudioStreamBasicDescription>
    static std::shared_ptr<Class> planarStreamDescription(UInt32 channels, Float64 rate) {
        auto description = nativeStreamDescription<Class>();
        description->setIsInterleaved(false);
        description->setChannelsPerFrame(channels);
        description->setSampleRate(rate);
        return description;
    }
    /// 'alac', 2 channels; no sample rate.
    template <class Class = BRAQAudioStreamBasicDescription>
    static std::shared_ptr<Class> alacStreamDescription() {
        auto description = streamDescription<Class>();
        description->setFormatID(kAudioFormatAppleLossless);
        return description;
    }
    /// 'aac ', 2 channels; no sample rate.
    template <class Class = BRAQAudioStreamBasicDescription>
    static std::shared_ptr<Class> aacStreamDescription() {
        auto description = streamDescription<Class>();
        description->setFormatID(kAudioFormatMPEG4AAC);
        return description;
    }
    /// 16-bit signed integers, packed, interleaved, 2 channels; no sample rate. If the class's `init` sets another
    /// coding, its result is returned unchanged.
    template <class Class = BRAQAudioStreamBasicDescription>
    static std::shared_ptr<Class> pcm16StreamDescription() {
        auto description = streamDescription<Class>();
        static_cast<BRAQAudioStreamBasicDescription&>(*description).setPCM16Format();
        return description;
    }
    /// Same as `initWithAudioStreamBasicDescription`.
    template <class Class = BRAQAudioStreamBasicDescription>
    static std::shared_ptr<Class>
    streamDescriptionWithAudioStreamBasicDescription(const AudioStreamBasicDescription* description) {
        return Class::initWithAudioStreamBasicDescription(description);
    }

    virtual ~BRAQAudioStreamBasicDescription();

    /// Four-character code of the coding.
    UInt32 formatID() const noexcept { return mASBD.mFormatID; }
    void setFormatID(UInt32 formatID) noexcept { mASBD.mFormatID = formatID; }
    UInt32 formatFlags() const noexcept { return mASBD.mFormatFlags; }
    void setFormatFlags(UInt32 flags) noexcept { mASBD.mFormatFlags = flags; }
    UInt32 bytesPerPacket() const noexcept { return mASBD.mBytesPerPacket; }
    void setBytesPerPacket(UInt32 bytes) noexcept { mASBD.mBytesPerPacket = bytes; }
    /// Bytes of one frame in one buffer: of all channels if interleaved, else of one channel.
    UInt32 bytesPerFrame() const noexcept { return mASBD.mBytesPerFrame; }
    void setBytesPerFrame(UInt32 bytes) noexcept { mASBD.mBytesPerFrame = bytes; }
    UInt32 framesPerPacket() const noexcept { return mASBD.mFramesPerPacket; }
    void setFramesPerPacket(UInt32 frames) noexcept { mASBD.mFramesPerPacket = frames; }
    UInt32 channelsPerFrame() const noexcept { return mASBD.mChannelsPerFrame; }
    void setChannelsPerFrame(UInt32 channels) noexcept { mASBD.mChannelsPerFrame = channels; }
    UInt32 bitsPerChannel() const noexcept { return mASBD.mBitsPerChannel; }
    void setBitsPerChannel(UInt32 bits) noexcept { mASBD.mBitsPerChannel = bits; }
    /// Frames per second; 0 if unknown.
    Float64 sampleRate() const noexcept { return mASBD.mSampleRate; }
    void setSampleRate(Float64 rate) noexcept { mASBD.mSampleRate = rate; }

    /// Whether the non-interleaved flag is clear. The coding does not matter.
    bool isInterleaved() const noexcept;
    /// Does nothing unless the coding is linear PCM. Byte counts are updated in the canonical format only; in any other
    /// the caller sets them.
    void setIsInterleaved(bool interleaved) noexcept;
    /// Canonical and interleaved.
    bool isNativeFormat() const noexcept;
    bool isLinearPCMFormat() const noexcept;
    /// 32-bit packed float in native byte order, interleaved or not. Byte counts and channels are not checked.
    bool isCanonicalFormat() const noexcept;
    /// A copy of the record.
    AudioStreamBasicDescription audioStreamBasicDescription() const noexcept { return mASBD; }

    /// Sets coding, flags, bits and frames per packet of the library's processing format, and the byte counts for the
    /// current channel count. Channels and sample rate stay.
    void setNativeFormat() noexcept;
    /// Sets the nominal sample rate of the default input device; 0.0 if there is none or it cannot be read.
    void setDefaultInputDeviceSampleRate();
    /// Sets the nominal sample rate of the default output device; 0.0 if there is none or it cannot be read.
    void setDefaultOutputDeviceSampleRate();

    /// The format in the user's language, such as "2ch-44100.00hz-16bit-'mcpl' signed-integer little-endian packed".
    /// The coding's bytes are printed in memory order, deliberately, so its code reads backwards on a little-endian
    /// machine.
    std::string description() const;
    /// The bundle with the words of `description`, table "StreamDescription".
    static std::shared_ptr<NSBundle> bundleForDescriptionStrings();

  protected:
    BRAQAudioStreamBasicDescription() noexcept;
    explicit BRAQAudioStreamBasicDescription(const AudioStreamBasicDescription& description) noexcept;

  private:
    void normalizeBytesForChannels() noexcept;
    void setPCM16Format() noexcept;
    void setSampleRateOfDefaultDevice(UInt32 selector);

    AudioStreamBasicDescription mASBD{};
};

/// @}
