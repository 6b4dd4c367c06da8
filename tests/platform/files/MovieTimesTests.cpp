#include "platform/files/reading/MovieTimes.h"

#include "tests/platform/files/MadeBytes.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace {

using braq::LocalFile;
using braq::movieTimes;
using braq::tests::MadeBytes;

MadeBytes atom(const char* type, const MadeBytes& contents) {
    return MadeBytes().bigEndian(8 + contents.size(), 4).text(type).add(contents);
}
/// With its size in 64 bits.
MadeBytes longAtom(const char* type, const MadeBytes& contents) {
    return MadeBytes().bigEndian(1, 4).text(type).bigEndian(16 + contents.size(), 8).add(contents);
}

struct Edit {
    UInt64 length; // in units of the movie
    SInt64 mediaTime;
};

/// A movie with one track, or more of them.
struct Movie {
    int version = 0; // of the tables that have times of 32 or 64 bits
    UInt32 movieUnits = 600;
    UInt32 mediaUnits = 44100;
    UInt32 track = 1;
    std::vector<std::pair<UInt32, UInt32>> durations{{10, 1024}, {1, 500}}; // packets, and the units of each
    std::vector<Edit> edits{};
    bool isFragmented = false;

    /// Flags and version, and the times of creation and change.
    MadeBytes times() const { return MadeBytes().bigEndian(UInt64(version) << 24, 4).zeros(version == 1 ? 16 : 8); }
    MadeBytes trackAtom() const {
        MadeBytes table;
        table.zeros(4).bigEndian(durations.size(), 4);
        for (const auto& [count, units] : durations) {
            table.bigEndian(count, 4).bigEndian(units, 4);
        }
        MadeBytes contents = atom("tkhd", times().bigEndian(track, 4).zeros(60));
        if (!edits.empty()) {
            const int bytes = version == 1 ? 8 : 4;
            MadeBytes list = MadeBytes().bigEndian(UInt64(version) << 24, 4).bigEndian(edits.size(), 4);
            for (const Edit& edit : edits) {
                list.bigEndian(edit.length, bytes).bigEndian(static_cast<UInt64>(edit.mediaTime), bytes);
                list.bigEndian(0x10000, 4);
            }
            contents.add(atom("edts", atom("elst", list)));
        }
        const MadeBytes tables = atom("stbl", atom("stsd", MadeBytes().zeros(20)).add(atom("stts", table)));
        contents.add(atom("mdia", atom("mdhd", times().bigEndian(mediaUnits, 4).zeros(12)).add(atom("minf", tables))));
        return atom("trak", contents);
    }
    MadeBytes header() const { return atom("mvhd", times().bigEndian(movieUnits, 4).zeros(80)); }
    MadeBytes contents() const {
        MadeBytes made = header().add(trackAtom());
        return isFragmented ? made.add(atom("mvex", MadeBytes().zeros(8))) : made;
    }
    MadeBytes file() const {
        return atom("ftyp", MadeBytes().text("M4A ").zeros(4))
            .add(atom("mdat", MadeBytes().zeros(99)))
            .add(atom("moov", contents()));
    }
};

class Files_MovieTimes : public testing::Test {
  protected:
    std::optional<braq::MovieTimes> read(const MadeBytes& bytes, UInt32 track = 1) const {
        bytes.write(folder.path() / "movie.m4a");
        std::unique_ptr<LocalFile> file;
        EXPECT_EQ(LocalFile::open(folder.path() / "movie.m4a", file), 0);
        return movieTimes(*file, track);
    }
    braq::tests::TemporaryFolder folder;
};

TEST_F(Files_MovieTimes, AreReadWithTimesOf32And64Bits) {
    for (const int version : {0, 1}) {
        const auto times = read(Movie{.version = version}.file());
        ASSERT_TRUE(times) << version;
        EXPECT_EQ(times->unitsPerSecond, 44100U);
        EXPECT_EQ(times->mediaUnits, 10740);
        EXPECT_EQ(times->tolerance, 73.5);
        EXPECT_FALSE(times->edit);
        EXPECT_FALSE(times->isFragmented);
    }
}

TEST_F(Files_MovieTimes, SayWhatIsPresented) {
    for (const int version : {0, 1}) {
        const auto times = read(Movie{.version = version, .edits = {{60, 2112}}}.file());
        ASSERT_TRUE(times && times->edit) << version;
        EXPECT_EQ(times->edit->mediaTime, 2112);
        EXPECT_EQ(times->edit->mediaUnits, 4410.0);
        const auto late = read(Movie{.version = version, .edits = {{600, -1}, {60, 100}}}.file());
        ASSERT_TRUE(late && late->edit);
        EXPECT_EQ(late->edit->mediaTime, 100) << "behind silence";
        EXPECT_EQ(late->edit->mediaUnits, 4410.0);
        const auto two = read(Movie{.version = version, .edits = {{60, 100}, {120, 5000}}}.file());
        ASSERT_TRUE(two && two->edit);
        EXPECT_EQ(two->edit->mediaTime, 100);
        EXPECT_EQ(two->edit->mediaUnits, 4900.0 + 8820.0) << "to the end of the last one";
        const auto back = read(Movie{.version = version, .edits = {{60, 5000}, {120, 100}}}.file());
        ASSERT_TRUE(back && back->edit);
        EXPECT_EQ(back->edit->mediaTime, 5000);
        EXPECT_EQ(back->edit->mediaUnits, 4410.0) << "one that goes back is no part of it";
        const auto same = read(Movie{.version = version, .edits = {{60, 100}, {120, 100}}}.file());
        EXPECT_EQ(same->edit->mediaUnits, 8820.0);
        EXPECT_FALSE(read(Movie{.version = version, .edits = {{600, -1}}}.file())->edit);
    }
}

TEST_F(Files_MovieTimes, AreThoseOfTheTrackThatIsAskedFor) {
    const Movie first{.mediaUnits = 48000, .track = 2, .durations = {{3, 10}}};
    const Movie second{.mediaUnits = 8000, .track = 7, .durations = {{4, 10}}};
    const MadeBytes both = atom("moov", MadeBytes(first.header()).add(first.trackAtom()).add(second.trackAtom()));
    EXPECT_EQ(read(both, 2)->mediaUnits, 30);
    EXPECT_EQ(read(both, 7)->mediaUnits, 40);
    EXPECT_EQ(read(both, 7)->unitsPerSecond, 8000U);
    EXPECT_FALSE(read(both, 1));
}

TEST_F(Files_MovieTimes, AreFoundInAtomsOfEverySizeField) {
    const Movie movie;
    EXPECT_TRUE(read(longAtom("free", MadeBytes().zeros(40)).add(longAtom("moov", movie.contents()))));
    EXPECT_TRUE(read(MadeBytes().zeros(4).text("moov").add(movie.contents()))) << "0: to the end of the file";
}

TEST_F(Files_MovieTimes, SayThatPacketsAreInFragments) {
    const auto times = read(Movie{.durations = {}, .isFragmented = true}.file());
    ASSERT_TRUE(times);
    EXPECT_TRUE(times->isFragmented);
    EXPECT_EQ(times->mediaUnits, 0);
}

TEST_F(Files_MovieTimes, AreNoneWithoutTheirTables) {
    const Movie movie;
    ASSERT_TRUE(read(movie.file()));
    for (const char* type : {"moov", "mvhd", "trak", "tkhd", "mdia", "mdhd", "minf", "stbl", "stts"}) {
        MadeBytes bytes = movie.file();
        const std::string text(bytes.get().begin(), bytes.get().end());
        bytes[text.find(type)] = 'x';
        EXPECT_FALSE(read(bytes)) << type;
    }
    EXPECT_FALSE(read(Movie{.movieUnits = 0}.file()));
    EXPECT_FALSE(read(Movie{.mediaUnits = 0}.file()));
}

TEST_F(Files_MovieTimes, AreNoneInAtomsThatAreLongerThanWhatHoldsThem) {
    const Movie movie;
    EXPECT_FALSE(read(MadeBytes().bigEndian(9 + movie.contents().size(), 4).text("moov").add(movie.contents())));
    EXPECT_FALSE(read(MadeBytes().bigEndian(7, 4).text("free").add(movie.file()))) << "shorter than its header";
    EXPECT_FALSE(read(MadeBytes().bigEndian(1, 4).text("free").bigEndian(15, 8).add(movie.file())));
    EXPECT_FALSE(read(MadeBytes().bigEndian(1, 4).text("moov").bigEndian(~UInt64{0} >> 1, 8).add(movie.contents())));
}

TEST_F(Files_MovieTimes, AreReadFromWithinTheirAtomsOnly) {
    const Movie movie;
    const MadeBytes exact = movie.times().bigEndian(600, 4);
    const auto with = [&](const MadeBytes& header) {
        return read(atom("moov", atom("mvhd", header).add(movie.trackAtom())));
    };
    EXPECT_EQ(with(exact)->tolerance, 73.5);
    MadeBytes shorter;
    for (std::size_t i = 0; i + 1 < exact.size(); ++i) {
        shorter.bigEndian(exact.get()[i], 1);
    }
    EXPECT_FALSE(with(shorter)) << "the units of the movie are not all there";
}

TEST_F(Files_MovieTimes, OfTablesThatClaimTooMuchAreWhatIsThere) {
    MadeBytes bytes = Movie{}.file();
    const std::string text(bytes.get().begin(), bytes.get().end());
    bytes[text.find("stts") + 8] = 0x7F; // of how many entries there are, the highest byte
    EXPECT_EQ(read(bytes)->mediaUnits, 10740);
    EXPECT_EQ(read(Movie{.durations = {{0xFFFFFFFF, 0xFFFFFFFF}}}.file())->mediaUnits, 0) << "too long to be sound";
    const UInt32 quarter = 0x50000000;
    EXPECT_EQ(read(Movie{.durations = {{quarter, quarter}, {quarter, quarter}, {1, 1}}}.file())->mediaUnits, 0);
}

} // namespace
