#include "BRAQAudio/platform/foundation/CFURL.h"

#include "BRAQAudio/platform/foundation/NSURL.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using URL = std::unique_ptr<const NSURL, decltype(&CFURLRelease)>;

TEST(Foundation_CFURL, OfAPathIsTheFileURLOfThatPath) {
    for (const char* path : {"/music/Björk 100%#1?.wav", "a b.wav", ""}) {
        const URL url(CFURLCreateFromFileSystemRepresentation(path), &CFURLRelease);
        ASSERT_NE(url, nullptr) << path;
        EXPECT_TRUE(url->isEqual(NSURL::fileURLWithPath(path).get())) << path;
        EXPECT_EQ(url->path(), NSURL::fileURLWithPath(path)->path());
    }
}

TEST(Foundation_CFURL, NullIsNoURLAndNeedsNoRelease) {
    EXPECT_EQ(CFURLCreateFromFileSystemRepresentation(nullptr), nullptr);
    CFURLRelease(nullptr);
}

} // namespace
