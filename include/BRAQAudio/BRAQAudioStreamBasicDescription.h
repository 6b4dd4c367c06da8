#pragma once

#include "BRAQAudio/platform/foundation.h"
#include "BRAQAudio/platform/types.h"

#include <memory>
#include <string>

/// An audio stream format as a mutable value. No operation reports errors; one thread at a time uses an object, and none
/// of them runs on an I/O thread unless marked.
///
/// The operations that make an object through the class they are called on take that class as a template argument; it
/// declares its own `init` and `initWithAudioStreamBasicDescription`.
class BRAQ_EXPORT BRAQAudioStreamBasicDescription {
  public:
    /// Linear PCM of 2 channels; every other field is 0.
    static std::shared_ptr<BRAQAudioStreamBasicDescription> init();
    /// A copy of the record, taken as it is. @return null for a null record
    static std::shared_ptr<BRAQAudioStreamBasicDescription>
    initWithAudioStreamBasicDescription(const AudioStreamBasicDescription* description);

    /// As `init`.
    template <class Class = BRAQAudioStreamBasicDescription>
    static std::shared_ptr<Class> streamDescription() {
        return Class::init();
    }
    /// The format that the library processes: 32-bit float, packed, interleaved, 2 channels; no sample rate.
    template <class Class = BRAQAudioStreamBasicDescription>
    static std::shared_ptr<Class> nativeStreamDescription() {
        auto description = streamDescription<Class>();
        description->setNativeFormat();
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
    /// 16-bit signed integers, packed, interleaved, 2 channels; no sample rate. A class whose `init` picks another coding
    /// gets what that made, unchanged.
    template <class Class = BRAQAudioStreamBasicDescription>
    static std::shared_ptr<Class> pcm16StreamDescription() {
        auto description = streamDescription<Class>();
        static_cast<BRAQAudioStreamBasicDescription&>(*description).setPCM16Format();
        return description;
    }
    /// As `initWithAudioStreamBasicDescription`.
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
    /// Bytes of one frame in one buffer: of all channels when interleaved, of one when not.
    UInt32 bytesPerFrame() const noexcept { return mASBD.mBytesPerFrame; }
    void setBytesPerFrame(UInt32 bytes) noexcept { mASBD.mBytesPerFrame = bytes; }
    UInt32 framesPerPacket() const noexcept { return mASBD.mFramesPerPacket; }
    void setFramesPerPacket(UInt32 frames) noexcept { mASBD.mFramesPerPacket = frames; }
    UInt32 channelsPerFrame() const noexcept { return mASBD.mChannelsPerFrame; }
    void setChannelsPerFrame(UInt32 channels) noexcept { mASBD.mChannelsPerFrame = channels; }
    UInt32 bitsPerChannel() const noexcept { return mASBD.mBitsPerChannel; }
    void setBitsPerChannel(UInt32 bits) noexcept { mASBD.mBitsPerChannel = bits; }
    /// Frames a second; 0 when not known.
    Float64 sampleRate() const noexcept { return mASBD.mSampleRate; }
    void setSampleRate(Float64 rate) noexcept { mASBD.mSampleRate = rate; }

    /// Whether the non-interleaved flag is clear, whatever the coding.
    bool isInterleaved() const noexcept;
    /// Does nothing unless the coding is linear PCM. Byte counts follow only in the canonical format; in any other they
    /// are the caller's to set.
    void setIsInterleaved(bool interleaved) noexcept;
    /// Canonical and interleaved.
    bool isNativeFormat() const noexcept;
    bool isLinearPCMFormat() const noexcept;
    /// 32-bit packed float in the machine's byte order, interleaved or not; byte counts and channels are not looked at.
    bool isCanonicalFormat() const noexcept;
    /// A copy of the record.
    AudioStreamBasicDescription audioStreamBasicDescription() const noexcept { return mASBD; }

    /// Sets coding, flags, bits and frames per packet of the format that the library processes, and the byte counts that
    /// go with the channel count; channels and sample rate stay.
    void setNativeFormat() noexcept;
    /// Sets the nominal sample rate of the default input device; 0.0 if there is none or it does not say.
    void setDefaultInputDeviceSampleRate();
    /// Sets the nominal sample rate of the default output device; 0.0 if there is none or it does not say.
    void setDefaultOutputDeviceSampleRate();

    /// The format in words of the user's language, such as
    /// "2ch-44100.00hz-16bit-'mcpl' signed-integer little-endian packed". The coding is printed from its bytes as they
    /// lie in memory, deliberately, so its code reads backwards on a little-endian machine.
    std::string description() const;
    /// Where the words of `description` come from, table "StreamDescription".
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
