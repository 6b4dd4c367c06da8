#include "BRAQAudio/platform/foundation/NSError.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <limits>

TEST(Foundation_NSError, HoldsDomainCodeAndDetails) {
    const auto error = NSError::errorWithDomain("Domain", -50, {{"key", std::string("value")}});
    EXPECT_EQ(error->domain(), "Domain");
    EXPECT_EQ(error->code(), -50);
    ASSERT_EQ(error->userInfo().size(), 1U);
    EXPECT_EQ(std::get<std::string>(error->userInfo().at("key")), "value");
}

TEST(Foundation_NSError, LocalizedDescriptionIsTheDetailOfThatKey) {
    const auto error = NSError::errorWithDomain("Domain", 1, {{NSLocalizedDescriptionKey, std::string("no device")}});
    EXPECT_EQ(error->localizedDescription(), "no device");
}

TEST(Foundation_NSError, LocalizedDescriptionIsInWordsForAStatus) {
    for (const char* const domain : {NSOSStatusErrorDomain, NSMachErrorDomain}) {
        EXPECT_EQ(NSError::errorWithDomain(domain, -50)->localizedDescription(), "an argument is not valid");
    }
    EXPECT_EQ(NSError::errorWithDomain(NSPOSIXErrorDomain, EIO)->localizedDescription(), "Input/output error");
}

TEST(Foundation_NSError, LocalizedDescriptionNamesDomainAndCodeOfWhatIsNoStatus) {
    EXPECT_EQ(NSError::errorWithDomain(NSCocoaErrorDomain, -50)->localizedDescription(),
              "The operation couldn't be completed. (NSCocoaErrorDomain error -50.)");
    EXPECT_EQ(NSError::errorWithDomain(NSOSStatusErrorDomain, std::int64_t{1} << 32)->localizedDescription(),
              "The operation couldn't be completed. (NSOSStatusErrorDomain error 4294967296.)");
}

TEST(Foundation_NSError, LocalizedDescriptionOfAStatusHasTheReason) {
    const auto error = NSError::errorWithDomain(NSOSStatusErrorDomain, -50,
                                                {{NSLocalizedFailureReasonErrorKey, std::string("it is too large")}});
    EXPECT_EQ(error->localizedFailureReason(), "it is too large");
    EXPECT_EQ(error->localizedDescription(), "an argument is not valid (it is too large)");
    EXPECT_EQ(error->description(), "NSOSStatusErrorDomain error -50 (an argument is not valid): "
                                    "NSLocalizedFailureReason = \"it is too large\"");
}

TEST(Foundation_NSError, LocalizedDescriptionDoesNotRepeatItselfInTheReason) {
    const auto error = NSError::errorWithDomain(
        NSOSStatusErrorDomain, -43, {{NSLocalizedFailureReasonErrorKey, std::string("No such file or directory")}});
    EXPECT_EQ(error->localizedDescription(), "no such file or directory");
    EXPECT_EQ(error->localizedFailureReason(), "No such file or directory");
}

TEST(Foundation_NSError, ADescriptionThatWasGivenStaysToTheLetter) {
    const auto error = NSError::errorWithDomain(NSOSStatusErrorDomain, -50,
                                                {{NSLocalizedDescriptionKey, std::string("no device")},
                                                 {NSLocalizedFailureReasonErrorKey, std::string("it is gone")}});
    EXPECT_EQ(error->localizedDescription(), "no device");
    EXPECT_EQ(error->description(), "NSOSStatusErrorDomain error -50: NSLocalizedDescription = \"no device\", "
                                    "NSLocalizedFailureReason = \"it is gone\"");
}

TEST(Foundation_NSError, HasNoFailureReasonUnlessItIsAText) {
    EXPECT_EQ(NSError::errorWithDomain("D", 2)->localizedFailureReason(), "");
    EXPECT_EQ(NSError::errorWithDomain("D", 2, {{NSLocalizedFailureReasonErrorKey, 3.0}})->localizedFailureReason(),
              "");
}

TEST(Foundation_NSError, LocalizedDescriptionIgnoresADetailOfThatKeyThatIsNoText) {
    const auto error = NSError::errorWithDomain("D", 2, {{NSLocalizedDescriptionKey, std::int64_t{3}}});
    EXPECT_EQ(error->localizedDescription(), "The operation couldn't be completed. (D error 2.)");
}

TEST(Foundation_NSError, AnEmptyLocalizedDescriptionStaysEmpty) {
    EXPECT_EQ(NSError::errorWithDomain("D", 2, {{NSLocalizedDescriptionKey, std::string()}})->localizedDescription(),
              "");
}

TEST(Foundation_NSError, DescriptionWithoutDetailsIsDomainAndCode) {
    EXPECT_EQ(NSError::errorWithDomain("Domain", std::numeric_limits<std::int64_t>::min())->description(),
              "Domain error -9223372036854775808");
}

TEST(Foundation_NSError, DescriptionHasEveryKindOfDetailInKeyOrder) {
    const auto below = NSError::errorWithDomain("Below", 7, {{"why", std::string("because")}});
    const auto error = NSError::errorWithDomain("Domain", 1,
                                                {{"d", std::string("text")},
                                                 {"c", std::int64_t{-3}},
                                                 {"b", 0.1},
                                                 {"a", below},
                                                 {"e", std::shared_ptr<NSError>()}});
    EXPECT_EQ(error->description(),
              "Domain error 1: a = (Below error 7: why = \"because\"), b = 0.1, c = -3, d = \"text\", e = nothing");
}

TEST(Foundation_NSError, DescriptionIsOneLineWhateverIsInside) {
    const auto error = NSError::errorWithDomain("Do\nmain", 1, {{"k\rey", std::string("a\r\nb\vc\fd")}});
    EXPECT_EQ(error->description(), "Do main error 1: k ey = \"a  b c d\"");
}

TEST(Foundation_NSError, DescriptionWritesNumbersThatReadBackTheSame) {
    const auto error = NSError::errorWithDomain("D", 1, {{"k", -std::numeric_limits<double>::denorm_min()}});
    EXPECT_EQ(error->description(), "D error 1: k = -5e-324");
    EXPECT_EQ(NSError::errorWithDomain("D", 1, {{"k", -2.2250738585072014e-308}})->description(),
              "D error 1: k = -2.2250738585072014e-308");
}

TEST(Foundation_NSError, TheKeysAndDomainsHaveTheirNames) {
    EXPECT_STREQ(NSCocoaErrorDomain, "NSCocoaErrorDomain");
    EXPECT_STREQ(NSPOSIXErrorDomain, "NSPOSIXErrorDomain");
    EXPECT_STREQ(NSMachErrorDomain, "NSMachErrorDomain");
    EXPECT_STREQ(NSOSStatusErrorDomain, "NSOSStatusErrorDomain");
    EXPECT_STRNE(NSLocalizedDescriptionKey, NSLocalizedFailureReasonErrorKey);
}
