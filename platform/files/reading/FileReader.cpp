#include "platform/files/reading/FileReader.h"

#include "platform/files/formats/ClientFormat.h"
#include "platform/files/libav/LibavLogScope.h"
#include "platform/files/reading/BackwardReading.h"
#include "platform/files/reading/MixedSource.h"
#include "platform/files/reading/OpenSource.h"
#include "platform/files/reading/RateConverter.h"
#include "platform/samples/StreamFormat.h"

#include <algorithm>

namespace braq {
namespace {

constexpr UInt32 deliveredAtOnce = 4096;

// The conversion between a file and one client format.
struct Conversion {
    Conversion(SampleSource& source, const AudioStreamBasicDescription& client)
        : format(client),
          mixed(source, client.mChannelsPerFrame),
          interleaved(client.mChannelsPerFrame, deliveredAtOnce) {
        if (format.mSampleRate != mixed.sampleRate()) {
            rate.emplace(mixed, format.mSampleRate);
        }
    }
    const AudioStreamBasicDescription format;
    MixedSource mixed;
    std::optional<RateConverter> rate; // if the rates differ
    Planes interleaved;                // planes to be interleaved
};

class SourceReader final : public FileReader {
  public:
    explicit SourceReader(std::unique_ptr<SampleSource> source) : mSource(std::move(source)) {
        const AudioStreamBasicDescription& file = facts().format;
        mConversion =
            std::make_unique<Conversion>(*mSource, planarFloatFormat(file.mSampleRate, file.mChannelsPerFrame));
    }

    AudioFileTypeID fileType() const override { return facts().type; }
    AudioStreamBasicDescription fileFormat() const override { return facts().format; }
    SInt64 lengthFrames() const override { return facts().lengthFrames; }
    SInt64 packetCount() const override { return mSource->packetCount(); }
    std::optional<AudioFilePacketTableInfo> packetTable() const override { return mSource->packetTable(); }
    std::optional<SInt64> frameOfPacket(SInt64 packet) override { return mSource->frameOfPacket(packet); }

    AudioStreamBasicDescription clientFormat() const override { return mConversion->format; }
    ChannelPositions clientPositions() const override { return mConversion->mixed.positions(); }
    OSStatus setClientFormat(const AudioStreamBasicDescription& format) override;
    OSStatus read(UInt32& frames, AudioBufferList& list) override;
    OSStatus seek(SInt64 frame) override;

  private:
    const FileFacts& facts() const { return mSource->facts(); }
    UInt32 readPlanes(UInt32 frames, float* const* planes);
    UInt32 readInterleaved(UInt32 frames, float* samples);
    UInt32 interleave(UInt32 frames, float* samples);
    UInt32 readPlanar(UInt32 frames, const AudioBufferList& list);

    const std::unique_ptr<SampleSource> mSource;
    std::unique_ptr<Conversion> mConversion; // never null
    SInt64 mPosition = 0;                    // in the file, if the rates are equal
    std::vector<float*> mPlanes;
};

OSStatus SourceReader::setClientFormat(const AudioStreamBasicDescription& format) {
    if (const OSStatus status = checkClientFormat(format); status != 0) {
        return status;
    }
    AudioStreamBasicDescription complete = format;
    if (complete.mSampleRate == 0) {
        complete.mSampleRate = facts().format.mSampleRate;
    }
    auto conversion = std::make_unique<Conversion>(*mSource, complete);
    if (conversion->rate && !conversion->rate->isGood()) {
        return kExtAudioFileError_InvalidDataFormat;
    }
    const SInt64 position = mConversion->rate ? mConversion->rate->positionInFile() : mPosition;
    mConversion = std::move(conversion);
    return seek(position);
}

OSStatus SourceReader::seek(SInt64 frame) {
    if (frame < 0) {
        return kExtAudioFileError_InvalidSeek;
    }
    mPosition = std::min(frame, facts().lengthFrames); // clamped to the end
    if (mConversion->rate) {
        mConversion->rate->seek(mPosition);
    }
    return 0;
}

UInt32 SourceReader::readPlanes(UInt32 frames, float* const* planes) {
    if (mConversion->rate) {
        return mConversion->rate->read(frames, planes);
    }
    const UInt32 got = mConversion->mixed.read(mPosition, frames, planes);
    mPosition += got;
    return got;
}

UInt32 SourceReader::readPlanar(UInt32 frames, const AudioBufferList& list) {
    mPlanes.clear();
    for (UInt32 i = 0; i < list.mNumberBuffers; ++i) {
        mPlanes.push_back(static_cast<float*>(list.mBuffers[i].mData));
    }
    return readPlanes(frames, mPlanes.data());
}

UInt32 SourceReader::readInterleaved(UInt32 frames, float* samples) {
    const bool isAsInFile =
        !mConversion->rate && mConversion->format.mChannelsPerFrame == facts().format.mChannelsPerFrame;
    if (isAsInFile) {
        if (const auto got = mSource->readInterleaved(mPosition, frames, samples)) {
            mPosition += *got;
            return *got;
        }
    }
    return interleave(frames, samples);
}

UInt32 SourceReader::interleave(UInt32 frames, float* samples) {
    const Planes& planes = mConversion->interleaved;
    const std::size_t channels = planes.channels();
    UInt32 done = 0;
    while (done < frames) {
        const UInt32 wanted = std::min(frames - done, deliveredAtOnce);
        const UInt32 got = readPlanes(wanted, planes.get());
        for (std::size_t channel = 0; channel < channels; ++channel) {
            const float* const plane = planes.get()[channel];
            float* const to = samples + done * channels + channel;
            for (std::size_t i = 0; i < got; ++i) {
                to[i * channels] = plane[i];
            }
        }
        done += got;
        if (got < wanted) {
            break;
        }
    }
    return done;
}

OSStatus SourceReader::read(UInt32& frames, AudioBufferList& list) {
    const AudioStreamBasicDescription& format = mConversion->format;
    if (!fits(list, format, frames)) {
        return kAudio_ParamError;
    }
    const bool isPlanar = (format.mFormatFlags & kAudioFormatFlagIsNonInterleaved) != 0;
    frames = isPlanar ? readPlanar(frames, list) : readInterleaved(frames, static_cast<float*>(list.mBuffers[0].mData));
    for (UInt32 i = 0; i < list.mNumberBuffers; ++i) {
        list.mBuffers[i].mDataByteSize = frames * format.mBytesPerFrame;
    }
    return 0;
}

} // namespace

OSStatus FileReader::open(const std::string& path, std::unique_ptr<FileReader>& reader) {
    std::unique_ptr<LocalFile> file;
    if (const OSStatus status = LocalFile::open(path, file); status != 0) {
        return status;
    }
    unsigned linesLeft = 4;
    const LibavLogScope scope(path, &linesLeft);
    auto source = openSource(std::move(file));
    if (!source) {
        return kAudioFileInvalidFileError;
    }
    const bool isLinear = source->facts().format.mFormatID == kAudioFormatLinearPCM;
    reader = std::make_unique<SourceReader>(isLinear ? std::move(source)
                                                     : std::make_unique<BackwardReading>(std::move(source)));
    return 0;
}

} // namespace braq
