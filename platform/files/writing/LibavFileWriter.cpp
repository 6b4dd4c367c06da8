#include "platform/files/writing/LibavFileWriter.h"

#include "platform/files/formats/ClientFormat.h"
#include "platform/files/libav/LibavLogScope.h"
#include "platform/foundation/FailureReason.h"
#include "platform/samples/StreamFormat.h"

#include <algorithm>
#include <utility>

namespace braq {
namespace {

constexpr std::size_t takenAtOnce = 8192;
constexpr UInt32 bitRateOfChannel = 64000;

UInt32 ownBitRate(const FileCoding& coding) {
    return coding.description.mFormatID == kAudioFormatMPEG4AAC
               ? bitRateOfChannel * coding.description.mChannelsPerFrame
               : 0;
}

} // namespace

LibavFileWriter::LibavFileWriter(std::string path, const FileCoding& coding)
    : mPath(std::move(path)),
      mFollowsClient(coding.description.mSampleRate == 0),
      mOwnBitRate(ownBitRate(coding)),
      mCoding(coding),
      mClientFormat(planarFloatFormat(coding.description.mSampleRate, coding.description.mChannelsPerFrame)),
      mClientFrames(coding.description.mChannelsPerFrame),
      mFileFrames(coding.description.mChannelsPerFrame),
      mBitRate(mOwnBitRate) {}

OSStatus LibavFileWriter::settleRate(Float64 rate) {
    if (!mCoding.format->allowsRate(rate)) {
        noteOwnReason(rateReason);
        return kAudioFileUnsupportedDataFormatError;
    }
    const LibavLogScope scope(mPath, &mLinesLeft);
    std::unique_ptr<Coder> trial;
    const OSStatus status = makeCoder(mCoding, static_cast<UInt32>(rate), mBitRate, trial);
    if (status == 0) {
        mCoding.description.mSampleRate = rate;
        mCoding.description.mFramesPerPacket = trial->framesPerPacket();
        mPrimingFrames = trial->primingFrames();
    }
    return status;
}

OSStatus LibavFileWriter::setClientFormat(const AudioStreamBasicDescription& format) {
    if (mCoder != nullptr || mIsClosed) {
        return kExtAudioFileError_InvalidOperationOrder;
    }
    const OSStatus status = checkClientFormat(format);
    if (status != 0) {
        return status;
    }
    if (format.mChannelsPerFrame != mCoding.description.mChannelsPerFrame) {
        return kExtAudioFileError_InvalidDataFormat;
    }
    const Float64 rate = format.mSampleRate == 0 ? mCoding.description.mSampleRate : format.mSampleRate;
    if (mFollowsClient && rate != 0 && settleRate(rate) != 0) {
        return kExtAudioFileError_InvalidDataFormat;
    }
    const Float64 fileRate = mCoding.description.mSampleRate;
    std::unique_ptr<PushResampler> resampler;
    if (rate != fileRate) {
        resampler = PushResampler::create(rate, fileRate, format.mChannelsPerFrame);
        if (resampler == nullptr) {
            return kExtAudioFileError_InvalidDataFormat;
        }
    }
    mResampler = std::move(resampler);
    mClientFormat = format;
    mClientFormat.mSampleRate = rate;
    return 0;
}

OSStatus LibavFileWriter::setBitRate(UInt32 bitRate) {
    if (mCoder != nullptr || mIsClosed) {
        return kExtAudioFileError_InvalidOperationOrder;
    }
    mBitRate = bitRate == 0 ? mOwnBitRate : bitRate;
    return 0;
}

AudioConverterPrimeInfo LibavFileWriter::primeInfo() const {
    if (mPrimingFrames == 0) {
        return {0, 0};
    }
    const SInt64 coded = static_cast<SInt64>(mPackets) * mCoding.description.mFramesPerPacket;
    const SInt64 trailing = mIsClosed ? std::max<SInt64>(coded - mPrimingFrames - mFrames, 0) : 0;
    return {mPrimingFrames, static_cast<UInt32>(trailing)};
}

OSStatus LibavFileWriter::write(UInt32 frames, const AudioBufferList& list) {
    if (mIsClosed) {
        return kAudioFileNotOpenError;
    }
    if (frames == 0 || mFailure != 0) {
        noteReason(mFailureReason);
        return mFailure;
    }
    if (!fits(list, mClientFormat, frames)) {
        return kAudio_ParamError;
    }
    const LibavLogScope scope(mPath, &mLinesLeft);
    OSStatus status = prepareCoder();
    status = status == 0 ? reserve(frames) : status;
    status = status == 0 ? begin(false) : status;
    if (status != 0) {
        return status;
    }
    const UInt64 bytesBefore = mFile->size();
    const SInt64 framesBefore = mFrames;
    const int error = encodeList(frames, list);
    status = statusOf(error);
    if (status != 0) {
        giveUp(status, bytesBefore, framesBefore);
    }
    return status;
}

OSStatus LibavFileWriter::prepareCoder() {
    if (mCoder != nullptr) {
        return 0;
    }
    const Float64 rate = mCoding.description.mSampleRate;
    return rate == 0 ? kExtAudioFileError_InvalidDataFormat
                     : makeCoder(mCoding, static_cast<UInt32>(rate), mBitRate, mCoder);
}

/// Includes what the coder and the rate converter hold, an index, and a trailer, so that closing needs no more space.
OSStatus LibavFileWriter::reserve(SInt64 clientFrames) {
    const SInt64 added = mResampler == nullptr ? clientFrames : mResampler->framesInAll(clientFrames) - mFrames;
    const auto frames = static_cast<UInt64>(std::max<SInt64>(added, 0));
    const UInt64 packets = mPackets + mCoder->largestPackets(frames);
    return mFile->reserve(mFile->size() + mCoder->largestBytes(frames) + packets * Container::indexBytesOfPacket +
                          Container::ownBytes);
}

OSStatus LibavFileWriter::begin(bool isEmpty) {
    if (mContainer != nullptr) {
        return 0;
    }
    const int error = Container::begin(*mFile, *mCoding.muxer, mCoder->parameters(), isEmpty, mContainer);
    const OSStatus status = statusOf(error);
    if (status != 0) {
        endWith(status);
    }
    return status;
}

int LibavFileWriter::encodeList(UInt32 frames, const AudioBufferList& list) {
    int error = 0;
    for (std::size_t first = 0; first < frames && error == 0; first += takenAtOnce) {
        FramePlanes& taken = mResampler == nullptr ? mFileFrames : mClientFrames;
        copyFrames(list, first, std::min(takenAtOnce, frames - first), taken);
        if (mResampler != nullptr) {
            mFileFrames.resize(0);
            error = mResampler->convert(mClientFrames, mFileFrames) ? 0 : AVERROR(ENOMEM);
        }
        error = error == 0 ? encode() : error;
    }
    return error;
}

int LibavFileWriter::encode() {
    mFrames += static_cast<SInt64>(mFileFrames.frames());
    return mCoder->encode(mFileFrames, [this](AVPacket& packet) { return add(packet); });
}

int LibavFileWriter::add(AVPacket& packet) {
    const int error = mContainer->write(packet);
    mPackets += error == 0 && packet.size > 0 ? 1 : 0;
    return error;
}

int LibavFileWriter::finishCoding() {
    int error = 0;
    if (mFrames == 0 && mCoding.muxer->correction == FileMuxer::Correction::packetTable) {
        // A packet of one frame of silence, which is padding: not much for programs that play it all the same.
        mFileFrames.resize(0);
        mFileFrames.resize(1);
        error = mCoder->encode(mFileFrames, [this](AVPacket& packet) { return add(packet); });
    } else if (mResampler != nullptr) {
        mFileFrames.resize(0);
        error = mResampler->finish(mFileFrames) ? encode() : AVERROR(ENOMEM);
    }
    return error < 0 ? error : mCoder->finish([this](AVPacket& packet) { return add(packet); });
}

/// Maps libav's result, and checks that the bytes have reached the system. The reason is noted and logged.
OSStatus LibavFileWriter::statusOf(int error) {
    const OSStatus status = mFile->flush();
    if (status == 0 && error < 0) {
        const std::string reason = libavErrorText(error);
        noteReason(reason);
        mFile->log(reason);
    }
    return status != 0 || error >= 0 ? status : kAudioFileUnspecifiedError;
}

/// Space was reserved, so this is not an ordinary full disk.
void LibavFileWriter::giveUp(OSStatus status, UInt64 bytes, SInt64 frames) {
    mFrames = frames;
    if (!mFile->isForwards() && mCoding.isLinearPCM() && mCoder->largestPackets(0) == 0 && mResampler == nullptr) {
        // Only the bytes represent the frames.
        mFile->goBackTo(bytes);
        return;
    }
    // Coders and indexes count the missing packets; later packets would be at wrong positions.
    mFile->skipWhatFailed();
    endWith(status);
}

void LibavFileWriter::endWith(OSStatus status) {
    mFailure = status;
    mFailureReason = notedReason();
}

OSStatus LibavFileWriter::close() {
    if (std::exchange(mIsClosed, true) || mFile == nullptr) {
        return 0;
    }
    const LibavLogScope scope(mPath, &mLinesLeft);
    mFile->beginClosing();
    noteReason(mFailureReason);
    OSStatus status = mFailure != 0 ? mFailure : prepareCoder();
    status = status == 0 ? begin(mFrames == 0) : status;
    if (status == 0) {
        const SInt64 frames = mFrames;
        status = statusOf(finishCoding());
        if (status != 0) {
            giveUp(status, mFile->size(), frames);
        }
    }
    if (mContainer != nullptr) {
        const OSStatus finished = statusOf(mContainer->finish(mFrames));
        status = status != 0 ? status : finished;
    }
    // An encoder may log something when it is destroyed.
    mContainer.reset();
    mCoder.reset();
    const OSStatus closed = mFile->close();
    return status != 0 ? status : closed;
}

} // namespace braq
