#include "tools/braq/shared/PipedFile.h"

#include "tests/support/TemporaryFolder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace {

using testing::HasSubstr;

class Tool_PipedFile : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(::pipe2(mEnds, O_CLOEXEC), 0);
        ::setenv("TMPDIR", folder.path().c_str(), 1);
    }
    void TearDown() override {
        closeEnd(0);
        closeEnd(1);
        ::unsetenv("TMPDIR");
    }

    std::string pipe() const { return "/dev/fd/" + std::to_string(mEnds[0]); }
    void write(const std::string& text) const {
        ASSERT_EQ(::write(mEnds[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    void closeEnd(int end) {
        if (mEnds[end] >= 0) {
            ::close(mEnds[end]);
            mEnds[end] = -1;
        }
    }
    static std::string content(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static std::string troubleOf(const PipedFile& file) {
        try {
            return "it is at " + file.path();
        } catch (const std::runtime_error& raised) {
            return raised.what();
        }
    }

    braq::tests::TemporaryFolder folder;
    int mEnds[2] = {-1, -1};
};

TEST_F(Tool_PipedFile, IsWhatCanBeReadForwardsOnly) {
    const std::string file = folder.path() / "file";
    std::ofstream(file) << "audio";
    const std::string named = folder.path() / "named";
    ASSERT_EQ(::mkfifo(named.c_str(), 0600), 0);
    EXPECT_TRUE(PipedFile::isAt(pipe()));
    EXPECT_TRUE(PipedFile::isAt(named));
    EXPECT_FALSE(PipedFile::isAt(file));
    EXPECT_FALSE(PipedFile::isAt(folder.path()));
    EXPECT_FALSE(PipedFile::isAt(folder.path() / "none"));
    EXPECT_FALSE(PipedFile::isAt("/dev/null")) << "devices are not opened";
    const int open = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    const std::string path = "/dev/fd/" + std::to_string(open);
    EXPECT_FALSE(PipedFile::isAt(path)) << "a file that is read from its beginning";
    char byte = 0;
    ASSERT_EQ(::read(open, &byte, 1), 1);
    EXPECT_TRUE(PipedFile::isAt(path)) << "the rest of one";
    ::close(open);
}

TEST_F(Tool_PipedFile, IsThereWhenThePipeIsClosed) {
    PipedFile file(pipe());
    file.take();
    EXPECT_FALSE(file.isComplete());
    write("first ");
    file.take();
    EXPECT_EQ(file.bytes(), 6U);
    EXPECT_FALSE(file.isComplete());
    write("second");
    closeEnd(1);
    file.take();
    EXPECT_TRUE(file.isComplete());
    EXPECT_EQ(file.descriptor(), -1);
    EXPECT_EQ(content(file.path()), "first second");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path())) << "its file has no name";
}

TEST_F(Tool_PipedFile, WaitsForSomebodyWhoWritesIntoANamedPipe) {
    const std::string named = folder.path() / "named";
    ASSERT_EQ(::mkfifo(named.c_str(), 0600), 0);
    PipedFile file(named);
    file.take();
    EXPECT_FALSE(file.isComplete());
    const int end = ::open(named.c_str(), O_WRONLY | O_CLOEXEC);
    file.take();
    EXPECT_FALSE(file.isComplete());
    ASSERT_EQ(::write(end, "audio", 5), 5);
    ::close(end);
    file.take();
    EXPECT_EQ(content(file.path()), "audio");
}

TEST_F(Tool_PipedFile, SaysWhyThereIsNone) {
    const PipedFile none(folder.path() / "none");
    EXPECT_EQ(troubleOf(none), "No such file or directory");
    {
        PipedFile empty(pipe());
        closeEnd(1);
        empty.take();
        EXPECT_EQ(troubleOf(empty), "it is empty");
    }
    ::setenv("TMPDIR", "/no/such/folder", 1);
    const PipedFile homeless(pipe());
    EXPECT_TRUE(homeless.isComplete());
    EXPECT_THAT(troubleOf(homeless), HasSubstr("it cannot be kept in /no/such/folder: No such file"));
}

TEST_F(Tool_PipedFile, IsMeasuredInMegabytes) {
    EXPECT_EQ(bytesText(0), "0.0 MB");
    EXPECT_EQ(bytesText(12'345'678), "12.3 MB");
}

} // namespace
