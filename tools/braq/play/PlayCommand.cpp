#include "tools/braq/play/PlayCommand.h"

#include "tools/braq/play/FilePlayback.h"
#include "tools/braq/play/FilesToPlay.h"
#include "tools/braq/play/LoopPlayback.h"
#include "tools/braq/play/OpenToPlay.h"
#include "tools/braq/play/PlayControls.h"
#include "tools/braq/shared/ChooseDevice.h"
#include "tools/braq/shared/PipedFile.h"
#include "tools/braq/shared/Text.h"
#include "tools/braq/shared/TimeText.h"
#include "tools/braq/shared/Trouble.h"
#include "tools/braq/terminal/Attention.h"
#include "tools/braq/terminal/Display.h"
#include "tools/braq/terminal/Output.h"
#include "tools/braq/terminal/PeakHold.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <deque>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using Clock = Attention::Clock;

/// The device was removed or refuses: no other file can be played either.
class DeviceTrouble : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// In words for users.
std::string nameOf(const std::string& path) { return path == standardInputPath ? "standard input" : printable(path); }

bool isStandardInput(const std::string& argument) { return argument == "-" || argument == standardInputPath; }

double decibelsOf(float level) { return 20.0 * std::log10(static_cast<double>(level)); }

/// The gain of the system's mixer.
std::string mixerText(Float32 level) {
    return level == 0.0F ? "muted in the mixer" : NSStringWithFormat("mixer %+.0f dB", decibelsOf(level));
}

/// Plays the files, controlled by the keyboard.
class PlaySession {
  public:
    explicit PlaySession(const PlayOptions& options)
        : mOptions(options),
          mAttention(Keyboard::Suspending::possible, std::ranges::any_of(options.files, isStandardInput)
                                                         ? Keyboard::Source::controllingTerminal
                                                         : Keyboard::Source::standardInput),
          mDevice(choosePlaybackDevice(lookAtDevices(), options.device)),
          mControls(options.speed, options.decibels, options.keepPitch) {}

    /// @return whether every file could be played
    bool run() {
        findFiles();
        auto start = mOptions.startSeconds;
        std::optional<std::size_t> index = mFiles.empty() ? std::nullopt : std::optional<std::size_t>(0);
        while (index && mFailuresInARow < mFiles.size()) {
            mIndex = *index;
            const Wish wish =
                isStep() ? PlayControls::wishOf(takeKey()) : tryToPlay(std::exchange(start, std::nullopt));
            if (wish == Wish::quit) {
                break;
            }
            index = wish == Wish::previous ? indexBefore(mIndex) : indexAfter(mIndex);
        }
        return !mHasFailed;
    }

  private:
    using Wish = PlayControls::Wish;

    /// The file that is to be heard next, or what is wrong with those before it.
    struct Next {
        bool backwards = false;
        std::size_t index = 0;
        std::vector<std::string> skipped{}; // why, each with its path
        std::optional<double> leftAt{};     // where the user left the one before for it, in seconds
    };

    void findFiles() {
        FilesToPlay found = filesToPlay(mOptions.files);
        for (const auto& trouble : found.troubles) {
            complain(trouble);
        }
        mFiles = std::move(found.files);
        for (const auto& path : mFiles) {
            if (PipedFile::isAt(path)) {
                mPiped.try_emplace(path, path);
            }
        }
        if (mOptions.shuffle) {
            std::ranges::shuffle(mFiles, std::mt19937(std::random_device()()));
        }
    }

    const std::string& path() const { return mFiles[mIndex]; }

    /// @return nothing behind the last file
    std::optional<std::size_t> indexAfter(std::size_t index) const {
        if (index + 1 < mFiles.size()) {
            return index + 1;
        }
        return mOptions.repeat ? std::optional<std::size_t>(0) : std::nullopt;
    }
    std::size_t indexBefore(std::size_t index) const {
        return index > 0 ? index - 1 : mOptions.repeat ? mFiles.size() - 1 : 0;
    }

    /// Whether a key that has been pressed already goes to another file than the one whose turn it is.
    bool isStep() const { return !mKeys.empty() && (mKeys.front() == Key::n || mKeys.front() == Key::p); }

    Wish tryToPlay(std::optional<double> start) {
        try {
            return play(start);
        } catch (const DeviceTrouble&) {
            throw;
        } catch (const ReaderIsGone&) {
            throw;
        } catch (const std::exception&) {
            complain(nameOf(path()) + ": " + reasonOfCaughtException());
            ++mFailuresInARow;
            return Wish::next;
        }
    }

    Wish play(std::optional<double> start) {
        if (const Wish wish = awaitFile(); wish != Wish::nothing) {
            return wish;
        }
        const auto playback = open(path());
        goToBeginning(*playback, start);
        announce(*playback);
        mControls.start(*playback);
        requireDevice(*playback);
        mNext.reset();
        const Wish wish = playOn(*playback);
        tellOfEnd(playback->played());
        return wish;
    }

    /// Whether a file can be opened, or never will.
    bool isThere(const std::string& path) const {
        const auto piped = mPiped.find(path);
        return piped == mPiped.end() || piped->second.isComplete();
    }
    /// Where it can be opened.
    std::string placeOf(const std::string& path) const {
        const auto piped = mPiped.find(path);
        return piped == mPiped.end() ? path : piped->second.path();
    }

    /// Waits until all of the file at hand has come out of its pipe.
    /// @return what the user wishes instead
    Wish awaitFile() {
        auto next = Clock::now();
        while (!isThere(path())) {
            if (Clock::now() >= next) {
                mDisplay.show(nameOf(path()) + ": " + bytesText(mPiped.at(path()).bytes()));
                next = Clock::now() + betweenPictures;
            }
            const auto happened = wait(!mKeys.empty()          ? Clock::now()
                                       : mDisplay.isTerminal() ? next
                                                               : Attention::forever);
            if (happened.isToEnd) {
                return Wish::quit;
            }
            if (happened.isToSuspend) {
                suspend();
            }
            while (!mKeys.empty()) {
                const Wish wish = PlayControls::wishOf(takeKey());
                if (wish == Wish::help) {
                    mDisplay.say(PlayControls::help);
                } else if (wish != Wish::nothing) {
                    return wish;
                }
            }
        }
        return Wish::nothing;
    }

    /// Takes what comes out of pipes meanwhile, and keeps the keys.
    Attention::Happened wait(Clock::time_point until) {
        std::vector<int> sources;
        for (const auto& [path, piped] : mPiped) {
            if (!piped.isComplete()) {
                sources.push_back(piped.descriptor());
            }
        }
        auto happened = mAttention.wait(until, sources);
        mKeys.insert(mKeys.end(), happened.keys.begin(), happened.keys.end());
        for (auto& [path, piped] : mPiped) {
            piped.take();
        }
        return happened;
    }

    std::unique_ptr<Playback> open(const std::string& path) const {
        const auto file = openToPlay(placeOf(path));
        const auto device = mOptions.device.empty() ? nullptr : BRAQAudioDevice::initWithDeviceID(mDevice.id);
        std::unique_ptr<Playback> playback;
        if (mOptions.loop) {
            playback = std::make_unique<LoopPlayback>(file, device);
        } else {
            playback = std::make_unique<FilePlayback>(file, device);
        }
        playback->setUnscaledDownmix(mOptions.unscaledDownmix);
        return playback;
    }

    void announce(const Playback& playback) {
        mDisplay.say("playing " + nameOf(path()) + " (" + describe(playback) + ") on " + printable(mDevice.name));
        mHolds.assign(playback.channels(), {});
        BRAQApplication::setTitle(path() == standardInputPath ? nameOf(path())
                                                              : std::filesystem::path(path()).filename().string());
        mFailuresInARow = 0;
    }

    // Once, however often the files are repeated.
    void complain(const std::string& trouble) {
        if (mTold.insert(trouble).second) {
            mDisplay.complain(trouble);
        }
        mHasFailed = true;
    }

    // Files that cannot be opened are told of when it is their turn.
    void prepareNext(Playback& playback) {
        if (mNext && mNext->backwards == mControls.isReverse()) {
            return;
        }
        if (const auto after = indexAfter(mIndex); after && !isThere(mFiles[*after])) {
            return;
        }
        playback.clearNext();
        goOnWithNext(playback); // what was next until now may have begun
        mNext = {.backwards = mControls.isReverse()};
        auto index = indexAfter(mIndex);
        for (std::size_t tried = 0; index && tried < mFiles.size() && isThere(mFiles[*index]);
             ++tried, index = indexAfter(*index)) {
            const std::string& path = mFiles[*index];
            try {
                playback.setNext(placeOf(path), mNext->backwards);
                mNext->index = *index;
                return;
            } catch (const std::exception&) {
                mNext->skipped.push_back(nameOf(path) + ": " + reasonOfCaughtException());
            }
        }
    }

    void goOnWithNext(Playback& playback) {
        auto played = playback.takePlayed();
        if (!played || !mNext) {
            return;
        }
        played->seconds = mNext->leftAt.value_or(played->seconds);
        tellOfEnd(*played);
        for (const auto& trouble : mNext->skipped) {
            complain(trouble);
        }
        mIndex = mNext->index;
        mNext.reset();
        mControls.forgetLoop();
        announce(playback);
    }

    /// Cross-fades into another file, in the playback of the one that is heard: a playback of its own would begin after a
    /// while. Not for keys in a row, of which each counts from where the one before went.
    /// @return false if that cannot be
    bool changeTo(std::optional<std::size_t> index, Playback& playback) {
        const bool isOnItsWay = mNext && mNext->leftAt;
        if (!index || mControls.isPaused() || mControls.loop().to || !mKeys.empty() || isOnItsWay ||
            !isThere(mFiles[*index])) {
            return false;
        }
        const double leftAt = static_cast<double>(playback.frame()) / playback.rate();
        try {
            if (!playback.setNext(placeOf(mFiles[*index]), mControls.isReverse())) {
                return false;
            }
        } catch (const std::exception&) { // told when it is opened again
            return false;
        }
        mNext = {.backwards = mControls.isReverse(), .index = *index, .leftAt = leftAt};
        playback.goTo(mControls.isReverse() ? 0 : playback.frames());
        return true;
    }
    std::optional<std::size_t> indexFor(Wish wish) const {
        return wish == Wish::next       ? indexAfter(mIndex)
               : wish == Wish::previous ? std::optional(indexBefore(mIndex))
                                        : std::nullopt;
    }

    void goToBeginning(Playback& playback, std::optional<double> start) const {
        if (!start) {
            playback.goTo(mControls.isReverse() ? playback.frames() : 0);
            return;
        }
        const double frame = *start * playback.rate();
        if (frame > static_cast<double>(playback.frames())) {
            throw std::runtime_error("it cannot start at " + timeText(*start) + ": it is " + lengthOf(playback) +
                                     " long");
        }
        playback.goTo(static_cast<SInt64>(frame));
    }

    Wish playOn(Playback& playback) {
        auto next = Clock::now();
        while (true) {
            prepareNext(playback);
            const auto happened = wait(!mKeys.empty() ? Clock::now() : mDisplay.isTerminal() ? next : endOf(playback));
            if (happened.isToEnd) {
                return Wish::quit;
            }
            goOnWithNext(playback);
            if (playback.hasEnded()) {
                show(playback);
                return Wish::next;
            }
            if (happened.isToSuspend) {
                suspend(playback);
            }
            const bool hasKeys = !mKeys.empty();
            if (const Wish wish = pressKeys(playback); wish != Wish::nothing) {
                return wish;
            }
            requireDevice(playback);
            followDevice(playback);
            if (Clock::now() >= next || hasKeys) {
                show(playback);
                next = Clock::now() + betweenPictures;
            }
        }
    }

    /// @return what they ask of the program, if it cannot be done in the playback at hand
    Wish pressKeys(Playback& playback) {
        while (!mKeys.empty()) {
            const Wish wish = mControls.press(takeKey(), playback);
            if (wish == Wish::help) {
                mDisplay.say(PlayControls::help);
            } else if (wish != Wish::nothing && !changeTo(indexFor(wish), playback)) {
                mIndex = mNext && mNext->leftAt ? mNext->index : mIndex; // it is on its way there
                return wish;
            }
        }
        return Wish::nothing;
    }

    // Without a picture, only what happens wakes the program. The news of the end may be lost if threads or memory run
    // out, so it looks for it when the end should be over.
    Clock::time_point endOf(Playback& playback) const {
        constexpr double patienceSeconds = 1.0;
        const SInt64 left = mControls.isReverse() ? playback.frame() : playback.frames() - playback.frame();
        const double seconds = static_cast<double>(left) / playback.rate() / std::fabs(mControls.speed());
        return Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                  std::chrono::duration<double>(std::max(seconds, 0.0) + patienceSeconds));
    }

    Key takeKey() {
        const Key key = mKeys.front();
        mKeys.pop_front();
        return key;
    }

    void suspend(Playback& playback) {
        if (!mControls.isPaused()) {
            playback.pause();
        }
        suspend();
        if (!mControls.isPaused()) {
            playback.resume();
        }
    }
    void suspend() {
        mDisplay.suspend();
        mAttention.suspend();
        mDisplay.resume();
    }

    // Polled, because nothing notifies that a device has stopped.
    void requireDevice(const Playback& playback) const {
        if (mControls.isPaused() || playback.isRunning()) {
            return;
        }
        const auto devices = lookAtDevices();
        const bool isThere = std::ranges::find(devices, mDevice.id, &DeviceFacts::id) != devices.end();
        throw DeviceTrouble(isThere ? printable(mDevice.name) + " does not play" : "the device is gone");
    }

    // Without --device it goes where the user has it go.
    void followDevice(const Playback& playback) {
        const auto device = playback.device();
        const AudioDeviceID now = device != nullptr ? device->deviceID() : kAudioObjectUnknown;
        if (now == mPresent.value_or(mDevice.id)) {
            mPresent = now;
            return;
        }
        mPresent = now;
        const auto devices = lookAtDevices();
        const auto found = std::ranges::find(devices, now, &DeviceFacts::id);
        if (found != devices.end()) {
            mDevice = *found;
            mDisplay.say("now on " + printable(mDevice.name));
        } else if (now == kAudioObjectUnknown) {
            mDisplay.say("the device is gone; waiting for another one");
        }
    }

    void show(Playback& playback) {
        if (!mDisplay.isTerminal()) {
            return;
        }
        Status status{
            .mark = mControls.isPaused()    ? "||"
                    : mControls.isReverse() ? "<"
                                            : ">",
            .seconds = static_cast<double>(playback.frame()) / playback.rate(),
            .length = static_cast<double>(playback.frames()) / playback.rate(),
            .channels = levelsOf(playback),
            .facts = {NSStringWithFormat(mControls.keepsPitch() ? "x%.2f at its pitch" : "x%.2f", mControls.speed()),
                      NSStringWithFormat("%+.0f dB", mControls.decibels())}};
        if (const auto& loop = mControls.loop(); loop.from) {
            status.facts.insert(status.facts.begin(), loopText(loop, playback.rate()));
        }
        const auto device = playback.device();
        if (const Float32 level = device != nullptr ? device->playbackMixerLevel() : 1.0F; level != 1.0F) {
            status.facts.push_back(mixerText(level));
        }
        const UInt64 underruns = playback.underruns();
        status.facts.push_back(std::to_string(underruns) + (underruns == 1 ? " underrun" : " underruns"));
        if (const UInt64 lost = playback.lostFrames(); lost != 0) {
            status.facts.push_back("dropouts " + secondsText(static_cast<double>(lost) / playback.rate()));
        }
        mDisplay.show(status);
    }

    static std::string loopText(const PlayControls::Loop& loop, Float64 rate) {
        const auto text = [&](SInt64 frame) { return timeText(static_cast<double>(frame) / rate); };
        return "loop " + text(*loop.from) + "-" + (loop.to ? text(*loop.to) : "");
    }

    std::vector<MeteredChannel> levelsOf(Playback& playback) {
        const double seconds = std::chrono::duration<double>(betweenPictures).count();
        std::vector<MeteredChannel> levels;
        for (UInt32 channel = 0; channel < playback.channels(); ++channel) {
            const double level = decibelsOf(playback.takeLevel(channel));
            levels.push_back({channel + 1, level, mHolds[channel].add(level, seconds)});
        }
        return levels;
    }

    void tellOfEnd(const Played& played) {
        if (!mDisplay.isTerminal()) {
            mDisplay.say("played " + nameOf(path()) + " to " + timeText(played.seconds) + ", " +
                         std::to_string(played.underruns) + (played.underruns == 1 ? " underrun" : " underruns") +
                         (played.lostSeconds > 0.0 ? ", dropouts of " + secondsText(played.lostSeconds) : ""));
        }
        if (played.lastError != nullptr) {
            complain(nameOf(path()) + ": it could not be read to its end: " + played.lastError->localizedDescription());
        }
    }

    static std::string lengthOf(const Playback& playback) {
        return timeText(static_cast<double>(playback.frames()) / playback.rate());
    }
    static std::string describe(const Playback& playback) {
        return lengthOf(playback) + ", " + rateText(playback.fileRate()) + " Hz, " +
               std::to_string(playback.channels()) + (playback.channels() == 1 ? " channel" : " channels");
    }

    const PlayOptions& mOptions;
    Attention mAttention; // before anything that starts threads
    DeviceFacts mDevice;  // last played on, or chosen
    std::optional<AudioDeviceID> mPresent{};
    PlayControls mControls;
    Display mDisplay;
    std::vector<PeakHold> mHolds;
    std::vector<std::string> mFiles{};         // in the order in which they are played
    std::map<std::string, PipedFile> mPiped{}; // those that come out of a pipe
    std::size_t mIndex = 0;                    // of the file that is heard
    std::optional<Next> mNext{};
    std::deque<Key> mKeys;           // pressed, and not handled yet: some may be for another file
    std::size_t mFailuresInARow = 0; // files that could not be played since one could
    std::set<std::string> mTold{};   // what has been complained of
    bool mHasFailed = false;
};

} // namespace

bool runPlay(const PlayOptions& options) {
    if (options.loop && options.repeat) {
        throw WrongUsage("--loop plays one file for ever, and --repeat all of them; use one of them");
    }
    if (options.loop && options.speed < 0.0) {
        throw WrongUsage("--loop plays forwards only; use a speed above 0");
    }
    constexpr double fastestAtItsPitch = 4.0;
    const double factor = std::fabs(options.speed);
    if (options.keepPitch && (factor > fastestAtItsPitch || factor < 1.0 / fastestAtItsPitch)) {
        throw WrongUsage("--keep-pitch works at speeds from 1/4 (0.25) to 4, forwards and backwards");
    }
    return PlaySession(options).run();
}
