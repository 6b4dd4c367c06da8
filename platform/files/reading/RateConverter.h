#pragma once

#include "platform/files/reading/MixedSource.h"

#include <memory>
#include <vector>

struct soxr;

namespace braq {

/// A file's frames at another rate. Frame k is the sound k / rate seconds after the frame that was sought, and the stream
/// is as long as the rest of the file, to the nearest frame.
///
/// What comes out depends on where reading began, not on the sizes that it is read in: the file is converted in blocks of
/// one size. Before the frame that was sought the converter is given those that come before it in the file, so that the
/// sound begins as if it had been running; where the rates have no common measure that is short enough, it begins out of
/// silence.
class RateConverter {
  public:
    /// @param source lives longer than this object
    RateConverter(MixedSource& source, Float64 rate);
    ~RateConverter();
    RateConverter(const RateConverter&) = delete;
    RateConverter& operator=(const RateConverter&) = delete;

    /// @return false when the converter cannot convert between these rates
    bool isGood() const { return mConverter != nullptr; }

    /// Frame 0 becomes that of the file.
    void seek(SInt64 fileFrame);
    /// The file's frame that is nearest to the next one.
    SInt64 positionInFile() const;

    /// @return frames, fewer at the end
    UInt32 read(UInt32 frames, float* const* planes);

  private:
    struct Deleter {
        void operator()(soxr* converter) const;
    };
    void findLead();
    void start();
    void fillInput();
    bool convert();

    MixedSource& mSource;
    const Float64 mRate;
    const Float64 mFileRate;
    std::unique_ptr<soxr, Deleter> mConverter;
    SInt64 mLeadInFile = 0; // frames that the converter is given before the one that was sought
    SInt64 mLeadOut = 0;    // what they become

    bool mIsStarted = false;
    SInt64 mStart = 0;     // the frame that was sought
    SInt64 mTotal = 0;     // frames to deliver
    SInt64 mDelivered = 0; // of them
    SInt64 mNextInput = 0; // frame of the file, below 0 for silence before it
    bool mIsAtEnd = false; // of the file
    SInt64 mSkip = 0;      // frames of the lead that are still to come out
    Planes mInput;
    UInt32 mInputBegin = 0; // of what the converter has not taken yet
    UInt32 mInputEnd = 0;
    Planes mOutput;
    UInt32 mOutputBegin = 0; // of what was not delivered yet
    UInt32 mOutputEnd = 0;
    std::vector<float*> mPlanes;
};

} // namespace braq
