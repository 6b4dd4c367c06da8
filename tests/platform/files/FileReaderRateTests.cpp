#include "tests/platform/files/ReadFile.h"
#include "tests/support/NumberedFiles.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <random>

namespace {

using namespace braq::tests;

constexpr double pi = std::numbers::pi;

double decibels(double ratio) { return 20 * std::log10(ratio + 1e-15); }

// A mono float WAVE file, with the header written here.
void writeWave(const std::filesystem::path& path, const std::vector<Float32>& samples, UInt32 rate) {
    std::string bytes;
    const auto number = [&](auto value) { bytes.append(reinterpret_cast<const char*>(&value), sizeof value); };
    const auto dataBytes = static_cast<UInt32>(samples.size() * sizeof(Float32));
    bytes += "RIFF";
    number(dataBytes + 36);
    bytes += "WAVEfmt ";
    number(UInt32{16});
    number(UInt16{3}); // float
    number(UInt16{1});
    number(rate);
    number(UInt32{rate * 4});
    number(UInt16{4});
    number(UInt16{32});
    bytes += "data";
    number(dataBytes);
    bytes.append(reinterpret_cast<const char*>(samples.data()), dataBytes);
    writeBytes(path, bytes);
}

std::vector<Float32> sine(Float64 frequency, UInt32 rate, std::size_t frames) {
    std::vector<Float32> samples(frames);
    for (std::size_t i = 0; i < frames; ++i) {
        samples[i] = static_cast<Float32>(0.5 * std::sin(2 * pi * frequency / rate * static_cast<double>(i)));
    }
    return samples;
}

std::vector<Float32> noise(std::size_t frames) {
    std::mt19937 random(7);
    std::uniform_real_distribution<Float32> uniform(-0.5F, 0.5F);
    std::vector<Float32> samples(frames);
    std::ranges::generate(samples, [&] { return uniform(random); });
    return samples;
}

// The sine of a frequency that is nearest to samples, and what is left without it.
struct Fit {
    double amplitude;
    double phase;
    double signalToNoise; // dB
};

Fit fit(const std::vector<Float32>& samples, Float64 frequency, Float64 rate) {
    const std::size_t begin = samples.size() / 4;
    const std::size_t end = samples.size() * 3 / 4;
    double cc = 0;
    double ss = 0;
    double cs = 0;
    double xc = 0;
    double xs = 0;
    const auto angle = [&](std::size_t i) { return 2 * pi * frequency / rate * static_cast<double>(i); };
    for (std::size_t i = begin; i < end; ++i) {
        const double c = std::cos(angle(i));
        const double s = std::sin(angle(i));
        cc += c * c;
        ss += s * s;
        cs += c * s;
        xc += samples[i] * c;
        xs += samples[i] * s;
    }
    const double determinant = cc * ss - cs * cs;
    const double a = (xc * ss - xs * cs) / determinant;
    const double b = (xs * cc - xc * cs) / determinant;
    double signal = 0;
    double rest = 0;
    for (std::size_t i = begin; i < end; ++i) {
        const double value = a * std::cos(angle(i)) + b * std::sin(angle(i));
        signal += value * value;
        rest += (samples[i] - value) * (samples[i] - value);
    }
    return {std::hypot(a, b), std::atan2(a, b), 10 * std::log10(signal / rest)};
}

struct Rates {
    UInt32 file;
    UInt32 client;
    Float64 nyquist() const { return std::min(file, client) / 2.0; }
};
constexpr Rates pairs[] = {{44100, 48000}, {48000, 44100}, {44100, 96000},  {96000, 44100},
                           {44100, 22050}, {8000, 48000},  {192000, 44100}, {44100, 44101}};

class FileReader_Rate : public ::testing::Test {
  protected:
    std::filesystem::path write(const std::vector<Float32>& samples, UInt32 rate) const {
        const auto path = mFolder.path() / "sound.wav";
        writeWave(path, samples, rate);
        return path;
    }
    std::vector<Float32> convert(const std::vector<Float32>& samples, const Rates& rates) const {
        ReadFile file(write(samples, rates.file));
        file.setClient(rates.client, 1);
        return file.readRest()[0];
    }

  private:
    TemporaryFolder mFolder;
};

TEST_F(FileReader_Rate, KeepsSinesInPlaceLevelAndPurityUpToNineTenthsOfTheBand) {
    for (const Rates& rates : pairs) {
        SCOPED_TRACE(std::to_string(rates.file) + " to " + std::to_string(rates.client));
        for (const double place : {0.01, 0.1, 0.3, 0.5, 0.7, 0.85, 0.9}) {
            const Float64 frequency = place * rates.nyquist();
            const Fit found = fit(convert(sine(frequency, rates.file, rates.file), rates), frequency, rates.client);
            EXPECT_NEAR(decibels(found.amplitude / 0.5), 0, 0.1) << frequency;
            EXPECT_GT(found.signalToNoise, 110) << frequency; // images count as noise
            const double framesLate = found.phase / (2 * pi * frequency) * rates.client;
            EXPECT_NEAR(framesLate, 0, 1e-3) << frequency;
        }
    }
}

TEST_F(FileReader_Rate, LetsNothingFoldDownFromAboveTheBand) {
    for (const Rates& rates : pairs) {
        SCOPED_TRACE(std::to_string(rates.file) + " to " + std::to_string(rates.client));
        for (const double place : {1.0, 1.02, 1.1, 1.3, 1.9}) {
            const Float64 frequency = place * rates.nyquist();
            if (frequency >= rates.file / 2.0) {
                continue;
            }
            const auto found = convert(sine(frequency, rates.file, rates.file), rates);
            // Without the ends, where a sine that begins and stops is no sine.
            const auto begin = found.begin() + static_cast<std::ptrdiff_t>(found.size() / 4);
            const auto end = found.end() - static_cast<std::ptrdiff_t>(found.size() / 4);
            const auto loudest = std::abs(*std::max_element(
                begin, end, [](Float32 one, Float32 other) { return std::abs(one) < std::abs(other); }));
            EXPECT_LT(decibels(loudest / 0.5), -110) << frequency;
        }
    }
}

TEST_F(FileReader_Rate, IsAsLongAsTheFileToOneFrame) {
    for (const Rates& rates : pairs) {
        for (const std::size_t length : {1U, 2U, 100U, 4096U, 4097U, 30001U}) {
            const auto found = convert(noise(length), rates);
            const double exact = static_cast<double>(length) * rates.client / rates.file;
            EXPECT_LE(std::abs(static_cast<double>(found.size()) - exact), 1)
                << length << " frames, " << rates.file << " to " << rates.client;
        }
    }
}

TEST_F(FileReader_Rate, DeliversTheSameSamplesInCallsOfAnySize) {
    for (const Rates& rates : pairs) {
        const auto path = write(noise(30000), rates.file);
        const auto inCallsOf = [&](UInt32 size) {
            ReadFile file(path);
            file.setClient(rates.client, 1);
            file.reader().seek(700);
            return file.readRest(size);
        };
        const Sound one = inCallsOf(1000000);
        for (const UInt32 size : {4096U, 1000U, 17U}) {
            EXPECT_EQ(largestDifference(inCallsOf(size), one), 0)
                << size << " frames, " << rates.file << " to " << rates.client;
        }
    }
}

// Where a frame of the file is a frame of the client, the sound after a seek is the one that had been running.
TEST_F(FileReader_Rate, BeginsAtTheFrameThatIsSoughtAsIfItHadBeenRunning) {
    for (const Rates& rates : pairs) {
        SCOPED_TRACE(std::to_string(rates.file) + " to " + std::to_string(rates.client));
        const auto path = write(noise(rates.file * 2), rates.file);
        ReadFile file(path);
        file.setClient(rates.client, 1);
        const Sound all = file.readRest();
        for (const SInt64 seconds : {1, 0}) {
            file.reader().seek(seconds * rates.file);
            const Sound found = file.readRest();
            const Sound expected = part(all, seconds * rates.client, frames(all));
            EXPECT_LT(decibels(largestDifference(found, expected)), -130);
        }
    }
}

TEST_F(FileReader_Rate, PlacesTheFirstFrameAtTheFrameThatIsSought) {
    const Rates rates{44100, 48000};
    const Float64 frequency = 1000;
    ReadFile file(write(sine(frequency, rates.file, rates.file), rates.file));
    file.setClient(rates.client, 1);
    for (const SInt64 place : {1, 1001, 12345}) {
        const auto found = file.readAt(place, 10000)[0];
        for (std::size_t i = 0; i < found.size(); ++i) {
            const double time = static_cast<double>(place) / rates.file + static_cast<double>(i) / rates.client;
            // From the first frame on: there is no click.
            if (place > 1000) {
                ASSERT_NEAR(found[i], 0.5 * std::sin(2 * pi * frequency * time), 1e-5) << i << " after " << place;
            }
        }
        const double phase = fit(found, frequency, rates.client).phase;
        EXPECT_NEAR(phase, std::remainder(2 * pi * frequency * static_cast<double>(place) / rates.file, 2 * pi), 1e-5);
    }
}

TEST_F(FileReader_Rate, DeliversNothingAtAndBeyondTheEnd) {
    ReadFile file(write(noise(5000), 44100));
    file.setClient(48000, 1);
    EXPECT_EQ(frames(file.readAt(5000, 100)), 0);
    EXPECT_EQ(frames(file.readAt(1000000, 100)), 0);
    EXPECT_EQ(frames(file.readAt(4999, 100)), 1);
}

TEST_F(FileReader_Rate, ConvertsCodedFilesAndMixesThem) {
    ReadFile file(audioFile("lossy-vorbis.ogg"));
    file.setClient(22050, 1);
    ReadFile linear(audioFile("reference-44k-stereo-16.wav"));
    linear.setClient(22050, 1);
    const Sound found = file.readRest();
    const Sound expected = linear.readRest();
    ASSERT_EQ(frames(found), 88200);
    ASSERT_EQ(frames(expected), 88200);
    EXPECT_LT(largestDifference(found, expected), 0.2);
}

} // namespace
