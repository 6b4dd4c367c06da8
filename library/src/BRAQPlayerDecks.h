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
/// heard gets a second one for a seek, so that the old sound goes on until the new one is there.
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

    /// Has a second reader read from where `move` moves it, while the first one's frames are heard, and changes over to
    /// it. Only while the unit runs.
    /// @return false if nothing was changed: there is no second reader now, or it failed
    bool changeOver(const Move& move);
    /// Repeats a range of the file that is heard, from the frame that is pulled next on, if that is possible without a
    /// second reader. A reader that does not run always can.
    /// @return the frames from that one on that are the same with the range; nothing if it is repeated now
    std::optional<UInt64> tryRepeat(const BRAQFrameRange& range, UInt64 rounds) const;
    /// Has a second reader repeat the range, and goes on in it where the first one is then. Only while the unit runs.
    /// @return as `changeOver`
    bool changeOverToRepeat(const BRAQFrameRange& range, UInt64 rounds);
    /// The frame of `playing`'s file that is heard at that time, in nanoseconds of the host's clock: the one that it begins
    /// with as long as the file before it is heard, and the position while nothing is known to be heard.
    SInt64 heardFrameAt(UInt64 hostTime) const;
    /// Lets go of what has been played.
    void release();

  private:
    /// Hands a second reader to the unit.
    using Hand = std::function<void(const std::shared_ptr<BRAQAudioFileReader>& reader)>;

    std::shared_ptr<BRAQAudioFileReader> spareReader();
    bool changeOver(const Move& move, const Hand& hand);
    bool prepare(BRAQAudioFileReader& reader, const Deck& now, const Move& move) const;
    void promote() const;
    static std::optional<BRAQReaderPlace> placeOf(const BRAQAudioBufferQueue* queue) noexcept;

    const std::shared_ptr<BRAQOutputAudioUnit> mUnit;
    mutable std::mutex mMutex;
    mutable Deck mPlaying;                                              // under mMutex, as those that follow
    mutable Deck mNext;                                                 // has begun if the unit plays its ring
    mutable std::shared_ptr<BRAQAudioFileReader> mSpare;                // was heard before the last seek, or none yet
    mutable std::vector<std::shared_ptr<BRAQAudioFileReader>> mReaders; // of files that have been played
    mutable UInt64 mFilesBefore = 0;                                    // that have been played
};
