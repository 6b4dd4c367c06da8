#include "platform/files/reading/OggPage.h"

#include "tests/platform/files/MadeBytes.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <numeric>

namespace {

using braq::FileWindow;
using braq::findOggPage;
using braq::LocalFile;
using braq::oggPageAt;
using braq::tests::MadeBytes;

/// The fields of a page.
struct Page {
    UInt32 flags = 0;
    SInt64 position = 1234;
    UInt32 stream = 77;
    UInt32 sequence = 3;
    std::vector<UInt32> segments{255, 255, 10, 0, 20};
};

MadeBytes made(const Page& of) {
    MadeBytes bytes;
    bytes.text("OggS").bigEndian(0, 1).bigEndian(of.flags, 1).littleEndian(static_cast<UInt64>(of.position), 8);
    bytes.littleEndian(of.stream, 4).littleEndian(of.sequence, 4).zeros(4).bigEndian(of.segments.size(), 1);
    for (const UInt32 segment : of.segments) {
        bytes.bigEndian(segment, 1);
    }
    for (UInt32 i = 0; i < std::accumulate(of.segments.begin(), of.segments.end(), 0U); ++i) {
        bytes.bigEndian(i * 31 + 7, 1);
    }
    const MadeBytes sum = MadeBytes().littleEndian(braq::tests::slowChecksum(bytes.get(), 32, 0x04C11DB7), 4);
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[22 + i] = sum.get()[i];
    }
    return bytes;
}

class Files_OggPage : public testing::Test {
  protected:
    /// Makes the file of these bytes, read through a small window.
    void open(const MadeBytes& bytes) {
        bytes.write(folder.path() / "pages.ogg");
        ASSERT_EQ(LocalFile::open(folder.path() / "pages.ogg", file), 0);
        window = std::make_unique<FileWindow>(*file, 64);
    }
    auto at(SInt64 offset) { return oggPageAt(*window, offset, file->size()); }
    auto find(SInt64 offset) { return findOggPage(*window, offset, file->size()); }

    braq::tests::TemporaryFolder folder;
    std::unique_ptr<LocalFile> file;
    std::unique_ptr<FileWindow> window;
};

TEST_F(Files_OggPage, IsReadAsItWasMade) {
    const MadeBytes bytes = made({.flags = 5, .position = 0x123456789A, .stream = 0xFEDCBA98, .sequence = 0x10203});
    open(MadeBytes().zeros(100).add(bytes));
    const auto page = at(100);
    ASSERT_TRUE(page);
    EXPECT_EQ(page->offset, 100);
    EXPECT_EQ(page->position, 0x123456789A);
    EXPECT_EQ(page->stream, 0xFEDCBA98U);
    EXPECT_EQ(page->sequence, 0x10203U);
    EXPECT_TRUE(page->continues);
    EXPECT_TRUE(page->isLast);
    EXPECT_EQ(page->segments, 5U);
    EXPECT_EQ(page->segmentBytes[2], 10);
    EXPECT_EQ(page->headerBytes, 32U);
    EXPECT_EQ(page->bodyBytes, 540U);
    EXPECT_EQ(page->body(), 132);
    EXPECT_EQ(page->end(), 672);
    EXPECT_FALSE(at(99));
    EXPECT_FALSE(at(101));
}

TEST_F(Files_OggPage, HasFlagsOfItsOwn) {
    for (const UInt32 flags : {0U, 1U, 2U, 4U}) {
        open(made({.flags = flags, .position = -1}));
        const auto page = at(0);
        ASSERT_TRUE(page);
        EXPECT_EQ(page->continues, flags == 1);
        EXPECT_EQ(page->isLast, flags == 4);
        EXPECT_EQ(page->position, -1);
    }
}

TEST_F(Files_OggPage, MayHaveNoSegmentsOrAsManyAsThereAre) {
    open(made({.segments = {}}).add(made({.segments = std::vector<UInt32>(255, 255)})));
    const auto empty = at(0);
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->end(), 27);
    const auto full = at(27);
    ASSERT_TRUE(full);
    EXPECT_EQ(full->bodyBytes, 65025U);
    EXPECT_EQ(full->end(), file->size());
    EXPECT_TRUE(find(1));
}

TEST_F(Files_OggPage, IsFoundAsTheLastBytesOfTheFile) {
    open(MadeBytes().zeros(5).add(made({.segments = {}})));
    const auto page = find(0);
    ASSERT_TRUE(page);
    EXPECT_EQ(page->offset, 5);
}

TEST_F(Files_OggPage, IsNoneWhereTheFileEndsBefore) {
    const MadeBytes whole = made({});
    open(whole);
    ASSERT_TRUE(at(0));
    EXPECT_FALSE(oggPageAt(*window, 0, file->size() - 1));
    for (const std::size_t length : {std::size_t{0}, std::size_t{4}, std::size_t{26}, std::size_t{27}, std::size_t{31},
                                     std::size_t{32}, whole.size() - 1}) {
        MadeBytes cut;
        for (std::size_t i = 0; i < length; ++i) {
            cut.bigEndian(whole.get()[i], 1);
        }
        open(cut);
        EXPECT_FALSE(at(0)) << length;
        EXPECT_FALSE(find(0)) << length;
    }
}

TEST_F(Files_OggPage, IsNoneOfAnotherVersionOrName) {
    for (const std::size_t byte : {0U, 1U, 2U, 3U, 4U}) {
        MadeBytes bytes = made({});
        ++bytes[byte];
        open(bytes);
        EXPECT_FALSE(at(0)) << byte;
    }
}

TEST_F(Files_OggPage, IsFoundBehindWhatOnlyLooksLikeOne) {
    MadeBytes bytes;
    bytes.text("OOggOggSOggS").zeros(200).text("O").add(made({.sequence = 8})).text("OggS");
    open(bytes);
    const auto page = find(0);
    ASSERT_TRUE(page);
    EXPECT_EQ(page->offset, 213);
    EXPECT_EQ(page->sequence, 8U);
    EXPECT_EQ(find(213)->offset, 213);
    EXPECT_FALSE(find(214)) << "there is no other one";
}

TEST_F(Files_OggPage, IsNotFoundWithAnyWrongByte) {
    const MadeBytes whole = made({.segments = {30}});
    const MadeBytes next = made({.sequence = 9});
    for (std::size_t byte = 0; byte < whole.size(); ++byte) {
        MadeBytes bytes = whole;
        bytes[byte] ^= 0x10;
        open(bytes.add(next));
        const auto page = find(0);
        ASSERT_TRUE(page) << byte;
        EXPECT_EQ(page->sequence, 9U) << byte;
    }
}

} // namespace
