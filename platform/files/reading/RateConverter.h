#pragma once

#include "platform/files/reading/MixedSource.h"
#include "platform/samples/FixedRateConverter.h"

#include <memory>
#include <vector>

namespace braq {

/// A file's frames at another rate. Frame k is the audio k / rate seconds after the frame that was sought. The stream
/// is as long as the rest of the file, to the nearest frame.
///
/// The output depends on where reading began, not on the sizes of the calls: the file is converted in blocks of one
/// size. The converter first gets the frames before the one that was sought, so that the audio begins as if the
/// converter had been running. If the ratio of the rates has no short enough period, it begins from silence.
class RateConverter {
  public:
    /// @param source must outlive this object
    RateConverter(MixedSource& source, Float64 rate);
    RateConverter(const RateConverter&) = delete;
    RateConverter& operator=(const RateConverter&) = delete;

    /// @return false if the converter does not support these rates
    bool isGood() const { return mConverter != nullptr; }

    /// Frame 0 becomes this frame of the file.
    void seek(SInt64 fileFrame);
    /// The file's frame nearest to the next one.
    SInt64 positionInFile() const;

    /// @return frames; fewer at the end
    UInt32 read(UInt32 frames, float* const* planes);

  private:
    void findLead();
    void start();
    void fillInput();
    bool convert();

    MixedSource& mSource;
    const Float64 mRate;
    const Float64 mFileRate;
    std::unique_ptr<FixedRateConverter> mConverter;
    SInt64 mLeadInFile = 0; // frames given to the converter before the one that was sought
    SInt64 mLeadOut = 0;    // the same in output frames

    bool mIsStarted = false;
    SInt64 mStart = 0;     // the frame that was sought
    SInt64 mTotal = 0;     // frames to deliver
    SInt64 mDelivered = 0; // of them
    SInt64 mNextInput = 0; // frame of the file, negative for silence before it
    bool mIsAtEnd = false; // of the file
    SInt64 mSkip = 0;      // lead frames that are still to come out
    Planes mInput;
    UInt32 mInputBegin = 0; // first frame that the converter has not taken yet
    UInt32 mInputEnd = 0;
    Planes mOutput;
    UInt32 mOutputBegin = 0; // first frame that was not delivered yet
    UInt32 mOutputEnd = 0;
    std::vector<float*> mPlanes;
};

} // namespace braq
