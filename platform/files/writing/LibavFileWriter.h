#pragma once

#include "platform/files/writing/Coder.h"
#include "platform/files/writing/Container.h"
#include "platform/files/writing/FileWriter.h"
#include "platform/files/writing/OutputFile.h"
#include "platform/samples/PushResampler.h"

#include <memory>
#include <string>

namespace braq {

/// Frames go from the client's list through the rate converter, if there is one, and the coder into the container.
/// `createFile` or `createFileOn` creates the file itself.
class LibavFileWriter final : public FileWriter {
  public:
    LibavFileWriter(std::string path, const FileCoding& coding);
    ~LibavFileWriter() override { LibavFileWriter::close(); }

    AudioFileTypeID fileType() const override { return mCoding.type; }
    AudioStreamBasicDescription fileFormat() const override { return mCoding.description; }
    SInt64 lengthFrames() const override { return mFrames; }
    AudioStreamBasicDescription clientFormat() const override { return mClientFormat; }
    UInt32 bitRate() const override { return mBitRate; }

    OSStatus setClientFormat(const AudioStreamBasicDescription& format) override;
    OSStatus setBitRate(UInt32 bitRate) override;
    AudioConverterPrimeInfo primeInfo() const override;
    OSStatus write(UInt32 frames, const AudioBufferList& list) override;
    OSStatus close() override;

    /// Checks whether a coder supports the rate, and sets what depends on it.
    OSStatus settleRate(Float64 rate);
    OSStatus createFileOn(int descriptor) { return OutputFile::writeForwards(mPath, descriptor, mFile); }
    OSStatus createFile() { return OutputFile::create(mPath, mCoding.muxer->largestFile, Container::ownBytes, mFile); }

  private:
    OSStatus prepareCoder();
    OSStatus reserve(SInt64 clientFrames);
    OSStatus begin(bool isEmpty);
    int encodeList(UInt32 frames, const AudioBufferList& list);
    int encode();
    int add(AVPacket& packet);
    int finishCoding();
    OSStatus statusOf(int error);
    void giveUp(OSStatus status, UInt64 bytes, SInt64 frames);
    void endWith(OSStatus status);

    const std::string mPath;
    const bool mFollowsClient; // the file was created without a rate
    const UInt32 mOwnBitRate;  // unless another is set; 0 if the coding has none
    FileCoding mCoding;
    std::unique_ptr<OutputFile> mFile;         // null: not created
    std::unique_ptr<Coder> mCoder;             // from the first write or closing on
    std::unique_ptr<Container> mContainer;     // from the first write that found space, or closing, on
    std::unique_ptr<PushResampler> mResampler; // if the rates differ
    AudioStreamBasicDescription mClientFormat;
    FramePlanes mClientFrames;
    FramePlanes mFileFrames;
    UInt32 mBitRate;
    UInt32 mPrimingFrames = 0;
    SInt64 mFrames = 0;    // passed to the coder
    UInt64 mPackets = 0;   // in the container
    OSStatus mFailure = 0; // after which nothing can follow
    std::string mFailureReason;
    bool mIsClosed = false;
    unsigned mLinesLeft = 20; // that libav may still write to the log
};

} // namespace braq
