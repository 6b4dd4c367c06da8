#include "platform/files/reading/MovieTimes.h"

#include "platform/files/reading/Bytes.h"
#include "platform/files/reading/FileWindow.h"

#include <algorithm>

namespace braq {
namespace {

struct Atom {
    UInt32 type;
    SInt64 begin; // of the contents
    SInt64 end;
};

// One level of atoms, in sequence.
class Atoms {
  public:
    Atoms(LocalFile& file, SInt64 begin, SInt64 end) : mFile(file), mNext(begin), mEnd(end) {}

    std::optional<Atom> next() {
        std::uint8_t header[16];
        if (mNext + 8 > mEnd || !mFile.readAll(mNext, header, 8)) {
            return {};
        }
        SInt64 headerBytes = 8;
        SInt64 bytes = bigEndianAt<UInt32>(header);
        if (bytes == 1) {
            if (!mFile.readAll(mNext, header, 16)) {
                return {};
            }
            headerBytes = 16;
            bytes = bigEndianAt<SInt64>(header + 8);
        } else if (bytes == 0) {
            bytes = mEnd - mNext;
        }
        if (bytes < headerBytes || bytes > mEnd - mNext) {
            return {};
        }
        const Atom atom{codeAt(header + 4), mNext + headerBytes, mNext + bytes};
        mNext += bytes;
        return atom;
    }

    std::optional<Atom> find(const char (&type)[5]) {
        while (const auto atom = next()) {
            if (atom->type == BRAQFourCharCode(type)) {
                return atom;
            }
        }
        return {};
    }

  private:
    LocalFile& mFile;
    SInt64 mNext;
    const SInt64 mEnd;
};

std::optional<Atom> find(LocalFile& file, const std::optional<Atom>& in, const char (&type)[5]) {
    return in ? Atoms(file, in->begin, in->end).find(type) : std::nullopt;
}

// The integer at an offset of an atom, or 0.
template <class Integer>
Integer number(LocalFile& file, const Atom& atom, SInt64 offset) {
    std::uint8_t bytes[sizeof(Integer)] = {};
    if (atom.begin + offset + static_cast<SInt64>(sizeof bytes) <= atom.end) {
        file.read(atom.begin + offset, bytes, sizeof bytes);
    }
    return bigEndianAt<Integer>(bytes);
}

// Version 1 has 64-bit times, version 0 has 32-bit times.
bool isLong(LocalFile& file, const Atom& atom) { return number<UInt32>(file, atom, 0) >> 24 == 1; }

UInt32 timeScale(LocalFile& file, const Atom& header) {
    return number<UInt32>(file, header, isLong(file, header) ? 20 : 12);
}

UInt32 trackNumber(LocalFile& file, const Atom& header) {
    return number<UInt32>(file, header, isLong(file, header) ? 20 : 12);
}

// The sum of all packets' durations.
SInt64 sumOfDurations(LocalFile& file, const Atom& table) {
    const SInt64 entries = std::min<SInt64>(number<UInt32>(file, table, 4), (table.end - table.begin - 8) / 8);
    FileWindow window(file);
    SInt64 sum = 0;
    for (SInt64 i = 0; i < entries; ++i) {
        const auto entry = window.at(table.begin + 8 + i * 8, 8);
        if (entry.size() < 8) {
            break;
        }
        const UInt64 product = UInt64{bigEndianAt<UInt32>(entry.data())} * bigEndianAt<UInt32>(entry.data() + 4);
        if (product > INT64_MAX / 4 || sum > INT64_MAX / 4) {
            return 0; // too long to be audio
        }
        sum += static_cast<SInt64>(product);
    }
    return sum;
}

std::optional<MovieTimes::Edit> presentedPart(LocalFile& file, const Atom& edits, Float64 mediaUnitsPerMovieUnit) {
    const bool isVersion1 = isLong(file, edits);
    const SInt64 entryBytes = isVersion1 ? 20 : 12;
    const SInt64 entries = std::min<SInt64>(number<UInt32>(file, edits, 4), (edits.end - edits.begin - 8) / entryBytes);
    std::optional<MovieTimes::Edit> part;
    constexpr SInt64 mostEdits = 1000; // audio players need no more
    for (SInt64 i = 0; i < std::min(entries, mostEdits); ++i) {
        const SInt64 offset = 8 + i * entryBytes;
        const Float64 length =
            mediaUnitsPerMovieUnit * (isVersion1 ? static_cast<Float64>(number<UInt64>(file, edits, offset))
                                                 : number<UInt32>(file, edits, offset));
        const SInt64 mediaTime =
            isVersion1 ? number<SInt64>(file, edits, offset + 8) : number<SInt32>(file, edits, offset + 4);
        if (mediaTime < 0) {
            continue; // silence before the audio begins, which is not part of it
        }
        if (!part) {
            part = MovieTimes::Edit{mediaTime, length};
        } else if (mediaTime >= part->mediaTime) {
            part->mediaUnits = static_cast<Float64>(mediaTime - part->mediaTime) + length;
        }
    }
    return part;
}

std::optional<Atom> findTrack(LocalFile& file, const Atom& movie, UInt32 track) {
    Atoms atoms(file, movie.begin, movie.end);
    while (const auto candidate = atoms.find("trak")) {
        const auto header = find(file, candidate, "tkhd");
        if (header && trackNumber(file, *header) == track) {
            return candidate;
        }
    }
    return {};
}

} // namespace

std::optional<MovieTimes> movieTimes(LocalFile& file, UInt32 track) {
    const auto movie = Atoms(file, 0, file.size()).find("moov");
    const auto movieHeader = find(file, movie, "mvhd");
    const auto trackAtom = movie ? findTrack(file, *movie, track) : std::nullopt;
    const auto media = find(file, trackAtom, "mdia");
    const auto mediaHeader = find(file, media, "mdhd");
    const auto samples = find(file, find(file, media, "minf"), "stbl");
    const auto durations = find(file, samples, "stts");
    if (!movieHeader || !mediaHeader || !durations) {
        return {};
    }
    MovieTimes times;
    times.unitsPerSecond = timeScale(file, *mediaHeader);
    times.mediaUnits = sumOfDurations(file, *durations);
    times.isFragmented = find(file, movie, "mvex").has_value();
    const UInt32 movieUnitsPerSecond = timeScale(file, *movieHeader);
    if (times.unitsPerSecond == 0 || movieUnitsPerSecond == 0) {
        return {};
    }
    times.tolerance = static_cast<Float64>(times.unitsPerSecond) / movieUnitsPerSecond;
    if (const auto edits = find(file, find(file, trackAtom, "edts"), "elst")) {
        times.edit = presentedPart(file, *edits, times.tolerance);
    }
    return times;
}

} // namespace braq
