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

/// Records into a file, controlled by the keyboard.
class RecordSession {
  public:
    RecordSession(const RecordOptions& options, const RecordFormat& format)
        : mOptions(options),
          mAttention(Keyboard::Suspending::impossible),
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
            std::filesystem::remove(mOptions.file, ignored);
            throw std::runtime_error(trouble + "; nothing was recorded");
        }
        tell(frames);
        if (!trouble.empty()) {
            throw std::runtime_error(trouble);
        }
        requireReadable(frames);
    }

  private:
    std::shared_ptr<RecordedFile> create(const RecordFormat& format) {
        if (!mOptions.force && std::filesystem::exists(std::filesystem::symlink_status(mOptions.file))) {
            throw std::runtime_error(printable(mOptions.file) + " already exists; --force replaces it");
        }
        mRate = mDevice->recordingNominalSampleRate();
        if (mOptions.durationSeconds) {
            mMost = std::llround(*mOptions.durationSeconds * mRate);
        }
        const auto channels = static_cast<UInt32>(mChannels.size());
        try {
            return RecordedFile::create(mOptions.file, format.fileType,
                                        descriptionOf(format, channels, mOptions.rate.value_or(mRate)), mDevice, mMost);
        } catch (const NSException&) {
            throw std::runtime_error(printable(mOptions.file) + ": " + reasonOfCaughtException());
        }
    }

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
        } catch (const ReaderIsGone&) {
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
        Display display;
        Meters meters(recordedDevice(), mChannels);
        // A level covers the last eighth of a second; before that it is meaningless.
        constexpr double meaninglessSeconds = 0.25;
        const double firstLevel = static_cast<double>(recorder.currentFrame()) / mRate + meaninglessSeconds;
        bool hasSaidSo = false;
        auto next = Clock::now();
        while (true) {
            const auto happened = mAttention.wait(next);
            if (!hasSaidSo && recorder.currentFrame() > 0) {
                display.say("recording " + printable(mFacts.name) + " into " + printable(mOptions.file));
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
            if (const auto error = recorder.lastError()) {
                return printable(mOptions.file) + " could not be written to its end: " + error->localizedDescription();
            }
            if (!mIsPaused && !recorder.isFileRecording()) {
                return deviceTrouble();
            }
            if (Clock::now() >= next || !happened.keys.empty()) {
                display.show(statusOf(recorder, meters, firstLevel));
                next = Clock::now() + betweenPictures;
            }
        }
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

    void tell(SInt64 frames) const {
        writeOutput("recorded " + timeText(static_cast<double>(frames) / mRate) + " (" + std::to_string(frames) +
                    " frames at " + rateText(mRate) + " Hz) into " + printable(mOptions.file) + ", " +
                    std::to_string(mOverruns) + (mOverruns == 1 ? " overrun" : " overruns") +
                    (mLostFrames != 0 ? ", dropouts of " + secondsText(static_cast<double>(mLostFrames) / mRate) +
                                            " filled with silence\n"
                                      : "\n"));
    }

    const RecordOptions& mOptions;
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
