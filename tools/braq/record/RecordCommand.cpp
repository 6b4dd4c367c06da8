#include "tools/braq/record/RecordCommand.h"

#include "tools/braq/record/RecordFormats.h"
#include "tools/braq/record/RecordedFile.h"
#include "tools/braq/shared/ChooseDevice.h"
#include "tools/braq/shared/DeviceNews.h"
#include "tools/braq/shared/Text.h"
#include "tools/braq/shared/TimeText.h"
#include "tools/braq/shared/Trouble.h"
#include "tools/braq/terminal/Attention.h"
#include "tools/braq/terminal/Display.h"
#include "tools/braq/terminal/Meters.h"
#include "tools/braq/terminal/Output.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace {

using Clock = Attention::Clock;

/// Records into a file, controlled by the keyboard, or into the standard output. Nothing else goes there then. A file
/// needs nobody who reads what the tool says.
class RecordSession {
  public:
    RecordSession(const RecordOptions& options, const RecordFormat& format)
        : mOptions(options),
          mIsOutput(options.file == "-"),
          mAttention(Keyboard::Suspending::impossible, Keyboard::Source::standardInput,
                     mIsOutput ? Attention::Needs::output : Attention::Needs::nothing),
          mFacts(chooseRecordDevice(lookAtDevices(), options.device)),
          mChannels(chooseRecordChannels(mFacts, options.channels)),
          mDevice(BRAQAudioDevice::initWithDeviceID(mFacts.id)),
          mFile(create(format)) {}

    void run() {
        const std::string trouble = tryToRecord();
        const SInt64 frames = mFile->framesWritten();
        mFile->closeFile(); // a pending notification still holds the recorder, and so the file
        if (frames == 0 && !trouble.empty()) {
            std::error_code ignored;
            if (!mIsOutput) {
                std::filesystem::remove(mOptions.file, ignored);
            }
            throw std::runtime_error(trouble + "; nothing was recorded");
        }
        tell(frames);
        if (!trouble.empty()) {
            throw std::runtime_error(trouble);
        }
        if (!mIsOutput) {
            requireReadable(frames);
        }
    }

  private:
    std::shared_ptr<RecordedFile> create(const RecordFormat& format) {
        if (mIsOutput && ::isatty(STDOUT_FILENO) != 0) {
            throw WrongUsage("the standard output is a terminal; a pipe or a file has to take its place");
        }
        if (!mIsOutput && !mOptions.force && std::filesystem::exists(std::filesystem::symlink_status(mOptions.file))) {
            throw std::runtime_error(printable(mOptions.file) + " already exists; --force replaces it");
        }
        mRate = mDevice->recordingNominalSampleRate();
        if (mOptions.durationSeconds) {
            mMost = std::llround(*mOptions.durationSeconds * mRate);
        }
        const auto description =
            descriptionOf(format, static_cast<UInt32>(mChannels.size()), mOptions.rate.value_or(mRate));
        try {
            return mIsOutput ? RecordedFile::createOnOutput(format.fileType, description, mDevice, mMost)
                             : RecordedFile::create(mOptions.file, format.fileType, description, mDevice, mMost);
        } catch (const NSException&) {
            throw std::runtime_error(nameOfFile() + ": " + reasonOfCaughtException());
        }
    }

    std::string nameOfFile() const { return mIsOutput ? "the standard output" : printable(mOptions.file); }
    /// Of what is said: not that of what is recorded.
    int reportDescriptor() const { return mIsOutput ? STDERR_FILENO : STDOUT_FILENO; }
    bool hasLostReader() const { return mIsOutput && isReaderGone(STDOUT_FILENO); }

    /// @return what went wrong; empty if nothing did
    std::string tryToRecord() {
        try {
            return record();
        } catch (const std::exception&) {
            return reasonOfCaughtException();
        }
    }

    std::string record() {
        std::vector<SInt32> fromZero;
        std::ranges::transform(mChannels, std::back_inserter(fromZero),
                               [](unsigned channel) { return static_cast<SInt32>(channel) - 1; });
        const auto recorder = BRAQExtendedAudioFileRecorder::initWithFile(mFile, recordedDevice(), fromZero);
        const auto news = std::make_shared<DeviceNews>();
        recorder->setDelegate(news);
        recorder->setFillsLostFrames(true);
        std::string trouble;
        try {
            recorder->startRecording();
            trouble = recordOn(*recorder, *news);
        } catch (const std::exception&) {
            trouble = reasonOfCaughtException();
        }
        try {
            recorder->stopRecording();
        } catch (const std::exception&) {
            trouble = trouble.empty() ? reasonOfCaughtException() : trouble;
        }
        mOverruns += recorder->errorCount();
        mLostFrames = recorder->lostFrames();
        recorder->invalidate();
        return trouble;
    }

    /// Null: the default device, wherever it goes.
    std::shared_ptr<BRAQAudioDevice> recordedDevice() const { return mOptions.device.empty() ? nullptr : mDevice; }

    std::string recordOn(BRAQExtendedAudioFileRecorder& recorder, DeviceNews& news) {
        Display display(reportDescriptor(), Display::WithoutOutput::goesOn);
        std::optional<Meters> meters;
        if (display.isTerminal()) {
            meters.emplace(recordedDevice(), mChannels);
        }
        // A level covers the last eighth of a second; before that it is meaningless.
        constexpr double meaninglessSeconds = 0.25;
        const double firstLevel = static_cast<double>(recorder.currentFrame()) / mRate + meaninglessSeconds;
        bool hasSaidSo = false;
        auto next = Clock::now();
        while (true) {
            const auto happened = mAttention.wait(display.isTerminal() || !hasSaidSo ? next : endOf(recorder));
            if (!hasSaidSo && recorder.currentFrame() > 0) {
                display.say("recording " + printable(mFacts.name) + " into " + nameOfFile());
                hasSaidSo = true;
            }
            for (const auto& line : news.take()) {
                display.say(line);
            }
            const bool isEnough = mMost && recorder.currentFrame() >= *mMost;
            const bool isToQuit = press(happened.keys, recorder);
            if (happened.isToEnd || isEnough || isToQuit) {
                return "";
            }
            if (const auto trouble = troubleOf(recorder)) {
                return *trouble;
            }
            if (Clock::now() >= next || !happened.keys.empty()) {
                if (meters) {
                    display.show(statusOf(recorder, *meters, firstLevel));
                }
                next = Clock::now() + betweenPictures;
            }
        }
    }

    /// @return what ends the recording, empty if that is no fault; nothing if it goes on
    std::optional<std::string> troubleOf(const BRAQExtendedAudioFileRecorder& recorder) const {
        if (const auto error = mFile->failure()) {
            return hasLostReader()
                       ? ""
                       : nameOfFile() + " could not be written to its end: " + error->localizedDescription();
        }
        if (!mIsPaused && !recorder.isFileRecording()) {
            return deviceTrouble();
        }
        return std::nullopt;
    }

    // Without a picture, only what happens wakes the program: news of the device, a failed write, and the end.
    Clock::time_point endOf(const BRAQExtendedAudioFileRecorder& recorder) const {
        if (!mMost || mIsPaused) {
            return Attention::forever;
        }
        constexpr double shortestSeconds = 0.02; // frames come in cycles
        const double seconds = static_cast<double>(*mMost - recorder.currentFrame()) / mRate;
        return Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                  std::chrono::duration<double>(std::max(seconds, shortestSeconds)));
    }

    /// @return whether the user quits
    bool press(const std::vector<Key>& keys, BRAQExtendedAudioFileRecorder& recorder) {
        for (const Key key : keys) {
            if (key == Key::q) {
                return true;
            }
            if (key == Key::space) {
                pauseOrResume(recorder);
            }
        }
        return false;
    }

    // What is captured meanwhile is not in the file. A recorder counts overruns anew at each start.
    void pauseOrResume(BRAQExtendedAudioFileRecorder& recorder) {
        if (mIsPaused) {
            mOverruns += recorder.errorCount();
            recorder.startRecording();
        } else {
            recorder.stopRecording();
        }
        mIsPaused = !mIsPaused;
    }

    std::string deviceTrouble() const {
        const auto devices = lookAtDevices();
        const bool isThere = std::ranges::find(devices, mFacts.id, &DeviceFacts::id) != devices.end();
        return isThere ? printable(mFacts.name) + " does not record" : "the device is gone";
    }

    Status statusOf(BRAQExtendedAudioFileRecorder& recorder, Meters& meters, double firstLevel) const {
        const UInt64 overruns = mOverruns + recorder.errorCount();
        Status status{.mark = mIsPaused ? "||" : "*",
                      .seconds = static_cast<double>(recorder.currentFrame()) / mRate,
                      .length = mOptions.durationSeconds,
                      .facts = {std::to_string(overruns) + (overruns == 1 ? " overrun" : " overruns")}};
        if (const UInt64 lost = recorder.lostFrames(); lost != 0) {
            status.facts.push_back("dropouts " + secondsText(static_cast<double>(lost) / mRate));
        }
        if (status.seconds >= firstLevel) {
            status.channels = meters.look(std::chrono::duration<double>(betweenPictures).count());
        }
        return status;
    }

    // A failure while closing a file is only logged.
    void requireReadable(SInt64 frames) const {
        std::shared_ptr<NSError> error;
        if (frames != 0 && BRAQExtendedAudioFile::initForPlaybackWithFileURL(NSURL::fileURLWithPath(mOptions.file),
                                                                             &error) == nullptr) {
            throw std::runtime_error(printable(mOptions.file) + " is not complete: " + error->localizedDescription());
        }
    }

    // The recording is complete, whether anybody reads this or not.
    void tell(SInt64 frames) const {
        try {
            writeOutput(summary(frames) + "\n", reportDescriptor());
        } catch (const std::exception&) {
        }
    }

    std::string summary(SInt64 frames) const {
        return "recorded " + timeText(static_cast<double>(frames) / mRate) + " (" + std::to_string(frames) +
               " frames at " + rateText(mRate) + " Hz) into " + nameOfFile() + ", " + std::to_string(mOverruns) +
               (mOverruns == 1 ? " overrun" : " overruns") +
               (mLostFrames != 0
                    ? ", dropouts of " + secondsText(static_cast<double>(mLostFrames) / mRate) + " filled with silence"
                    : "") +
               (hasLostReader() ? "; nobody reads it any more" : "");
    }

    const RecordOptions& mOptions;
    const bool mIsOutput; // the standard output takes the place of a file
    Attention mAttention; // before anything that starts threads
    const DeviceFacts mFacts;
    const std::vector<unsigned> mChannels;
    const std::shared_ptr<BRAQAudioDevice> mDevice; // at the beginning
    Float64 mRate = 0.0;                            // of that device; another one's frames are converted to it
    std::optional<SInt64> mMost{};                  // frames at that rate
    std::shared_ptr<RecordedFile> mFile;
    UInt64 mOverruns = 0;   // before the last start
    UInt64 mLostFrames = 0; // when it has ended
    bool mIsPaused = false;
};

} // namespace

void runRecord(const RecordOptions& options) {
    const RecordFormat format = chooseRecordFormat(options.file, options.format);
    RecordSession(options, format).run();
}
