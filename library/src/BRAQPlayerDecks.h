#pragma once

#include "BRAQAudio/BRAQAudioFileReader.h"
#include "BRAQAudio/BRAQExtendedAudioFile.h"
#include "BRAQAudio/BRAQOutputAudioUnit.h"
#include "library/src/BRAQHeardFrames.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

/// The files of a player: the one that is heard, and the one after it. Each has a reader of its own, and the one that is
/// heard gets a second one for a seek, so that the old sound goes on until the new one is there, and a third one for a
/// seek while the first one still fades out. A reader that has been handed to the unit, but waits for its turn, is taken
/// back and moved again.
///
/// `playing` and `release` may be called on any thread but an I/O thread, the others on one of them at a time.
class BRAQPlayerDecks {
  public:
    struct Deck {
        std::shared_ptr<BRAQExtendedAudioFile> file;
        std::shared_ptr<BRAQAudioFileReader> reader;
    };
    using Move = std::function<void(BRAQAudioFileReader& reader)>;

    /// Makes the reader of the first file the unit's ring.
    BRAQPlayerDecks(const std::shared_ptr<BRAQOutputAudioUnit>& unit,
                    const std::shared_ptr<BRAQExtendedAudioFile>& file);

    /// What is heard. The file after another one is from the cycle on in which its first frame is pulled.
    Deck playing() const;
    std::shared_ptr<BRAQExtendedAudioFile> next() const;
    /// Reads the beginning of a file, or the end of one that is reversed, which follows the one that is heard when that ends; null: none follows.
    void setNext(const std::shared_ptr<BRAQExtendedAudioFile>& file);

    /// Has another reader read from where `move` moves it, while the first one's frames are heard, and changes over to
    /// it. While the unit does not run, only a reader that waits for its turn.
    /// @return false if nothing was changed: nothing is heard now, or the other reader failed
    /// Raises what moving a reader that waits raises; it is stopped then.
    bool changeOver(const Move& move);
    /// The same for a reader that waits for its turn; false if none does.
    bool moveWaiting(const Move& move);
    /// Repeats a range of the file that is heard, from the frame that is pulled next on, if that is possible without a
    /// second reader. A reader that does not run always can.
    /// @return the frames from that one on that are the same with the range; nothing if it is repeated now
    std::optional<UInt64> tryRepeat(const BRAQFrameRange& range, UInt64 rounds) const;
    /// Has another reader repeat the range, and goes on in it where the first one is then.
    /// @return as `changeOver`, and raises like that
    bool changeOverToRepeat(const BRAQFrameRange& range, UInt64 rounds);
    /// The place of the frame that is pulled last, also if the reader waits for its turn to go on there.
    BRAQLoopWalk walk() const;
    /// The frame of `playing`'s file that is heard at that time, in nanoseconds of the host's clock: the one that it begins
    /// with as long as the file before it is heard, and the position while nothing is known to be heard.
    SInt64 heardFrameAt(UInt64 hostTime) const;
    /// Lets go of what has been played.
    void release();

  private:
    /// Where a reader goes on that has been read from another one's place while frames of that were pulled: as many
    /// frames behind it as were pulled since. That many frames are the same in both (`alike`).
    struct Joint {
        UInt64 pulledBefore;
        UInt64 alike;
    };

    std::shared_ptr<BRAQAudioFileReader> spareReader();
    bool changeOver(const Move& move, const std::optional<Joint>& joint);
    /// Takes the reader back that waits, has it changed, and hands it over again.
    bool changeWaiting(const std::function<void(BRAQAudioFileReader& reader)>& change);
    void handOver(const std::shared_ptr<BRAQAudioFileReader>& reader);
    void waitForTurn() const;
    UInt64 pulled() const;
    bool prepare(BRAQAudioFileReader& reader, const Deck& now, const Move& move) const;
    void promote() const;
    static std::optional<BRAQReaderPlace> placeOf(const BRAQAudioBufferQueue* queue) noexcept;

    const std::shared_ptr<BRAQOutputAudioUnit> mUnit;
    mutable std::mutex mMutex;
    mutable Deck mPlaying;                                              // under mMutex, as those that follow
    mutable Deck mNext;                                                 // has begun if the unit plays its ring
    mutable std::vector<std::shared_ptr<BRAQAudioFileReader>> mSpares;  // were heard before the last seeks
    mutable std::vector<std::shared_ptr<BRAQAudioFileReader>> mReaders; // of files that have been played
    mutable UInt64 mFilesBefore = 0;                                    // that have been played

    // Of the reader that was handed over last; those who move readers.
    std::optional<Joint> mJoint; // none: it begins at its beginning
    UInt64 mPulledBefore = 0;    // when the reader before it lost the file
};
