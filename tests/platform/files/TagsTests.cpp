#include "platform/files/reading/Tags.h"

#include "tests/platform/files/MadeBytes.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace {

using braq::LocalFile;
using braq::tests::MadeBytes;

/// With a size of 4 times 7 bits.
MadeBytes leadingTag(UInt32 length, bool hasFooter = false) {
    MadeBytes bytes;
    bytes.text("ID3").bigEndian(4, 1).bigEndian(0, 1).bigEndian(hasFooter ? 0x10 : 0, 1);
    for (int shift = 21; shift >= 0; shift -= 7) {
        bytes.bigEndian(length >> shift & 0x7F, 1);
    }
    return bytes.zeros(length + (hasFooter ? 10 : 0));
}

MadeBytes trailingTag() { return MadeBytes().text("TAG").zeros(125); }

/// @param length of the items and the footer
MadeBytes apeTag(UInt32 length, bool hasHeader) {
    MadeBytes bytes;
    bytes.zeros((hasHeader ? 32U : 0U) + length - 32);
    return bytes.text("APETAGEX")
        .littleEndian(2000, 4)
        .littleEndian(length, 4)
        .littleEndian(3, 4)
        .littleEndian(hasHeader ? 0x80000000U : 0U, 4)
        .zeros(8);
}

class Files_Tags : public testing::Test {
  protected:
    braq::SoundBounds read(const MadeBytes& bytes) const {
        bytes.write(folder.path() / "tagged.mp3");
        std::unique_ptr<LocalFile> file;
        EXPECT_EQ(LocalFile::open(folder.path() / "tagged.mp3", file), 0);
        return braq::soundBounds(*file);
    }
    void expectBounds(const MadeBytes& bytes, std::size_t begin, std::size_t end) const {
        const auto bounds = read(bytes);
        EXPECT_EQ(bounds.begin, static_cast<SInt64>(begin));
        EXPECT_EQ(bounds.end, static_cast<SInt64>(end));
    }
    static MadeBytes sound() {
        MadeBytes bytes;
        for (UInt32 i = 0; i < 300; ++i) {
            bytes.bigEndian(i * 7 + 1, 1);
        }
        return bytes;
    }
    braq::tests::TemporaryFolder folder;
};

TEST_F(Files_Tags, WithoutThemAllIsSound) {
    expectBounds(sound(), 0, 300);
    expectBounds(MadeBytes(), 0, 0);
    expectBounds(MadeBytes().text("TAG"), 0, 3);
}

TEST_F(Files_Tags, LeadingOnesAreLeftOut) {
    for (const UInt32 length : {0U, 1U, 127U, 128U, 20'000U, 3'000'000U}) {
        expectBounds(leadingTag(length).add(sound()), 10 + length, 310 + length);
    }
    expectBounds(leadingTag(50, true).add(sound()), 70, 370);
    expectBounds(leadingTag(50).add(leadingTag(60)).add(sound()), 130, 430);
    MadeBytes bad = leadingTag(50);
    for (const std::size_t byte : {6U, 7U, 8U, 9U}) {
        MadeBytes none = bad;
        none[byte] |= 0x80;
        expectBounds(none.add(sound()), 0, 360);
    }
    MadeBytes beyond = leadingTag(50);
    beyond[7] = 0x7F;
    expectBounds(beyond.add(sound()), 360, 360);
}

TEST_F(Files_Tags, TrailingOnesAreLeftOut) {
    expectBounds(sound().add(trailingTag()), 0, 300);
    expectBounds(trailingTag(), 0, 0);
    expectBounds(sound().add(apeTag(100, false)), 0, 300);
    expectBounds(sound().add(apeTag(100, true)), 0, 300);
    expectBounds(sound().add(apeTag(100, true)).add(trailingTag()), 0, 300);
    expectBounds(apeTag(32, false), 0, 0);
    expectBounds(leadingTag(20).add(sound()).add(apeTag(64, true)).add(trailingTag()), 30, 330);
    MadeBytes beyond = sound().add(apeTag(100, false));
    beyond[beyond.size() - 18] = 0x7F; // of its length
    expectBounds(beyond, 0, 0);
    expectBounds(leadingTag(20).add(apeTag(100, false)), 30, 30);
}

} // namespace
