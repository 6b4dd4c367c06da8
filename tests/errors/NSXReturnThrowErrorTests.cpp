#include "BRAQAudio/errors/NSXReturnThrowError.h"

#include "BRAQAudio/platform/files.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

std::shared_ptr<NSError> check(const char* typeCode, std::intptr_t result) {
    std::shared_ptr<NSError> error;
    NSXMakeErrorImp(typeCode, result, "src/File", 12, "-[Class operation]", "Call( this )", &error);
    return error;
}

template <class Value>
Value detail(const NSError& error, const std::string& key) {
    return std::get<Value>(error.userInfo().at(key));
}

void expectFailure(const char* typeCode, std::intptr_t result, const char* domain, std::int64_t code) {
    const auto error = check(typeCode, result);
    ASSERT_NE(error, nullptr) << typeCode << " " << result;
    EXPECT_EQ(error->domain(), domain) << typeCode << " " << result;
    EXPECT_EQ(error->code(), code) << typeCode << " " << result;
}

void expectSuccess(const char* typeCode, std::intptr_t result) {
    EXPECT_EQ(check(typeCode, result), nullptr) << typeCode << " " << result;
}

TEST(Errors, NamesAreTheDocumentedOnes) {
    EXPECT_STREQ(NSXErrorExceptionName, "NSXError");
    EXPECT_STREQ(NULLPointerErrorDomain, "NULLPointerErrorDomain");
    EXPECT_STREQ(BOOLErrorDomain, "BOOLErrorDomain");
    EXPECT_STREQ(AssertionFailureErrorDomain, "AssertionFailureErrorDomain");
}

TEST(Errors, SuccessLeavesTheOutParameterUntouched) {
    const auto before = NSError::errorWithDomain("before", 1);
    auto error = before;
    NSXMakeErrorImp("i", 0, "f", 1, "m", "o", &error);
    EXPECT_EQ(error, before);
}

TEST(Errors, AnErrorCarriesThePlaceAndTheCall) {
    const auto error = check("i", -50);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->userInfo().size(), 4U);
    EXPECT_EQ(detail<std::string>(*error, "reportingFile"), "src/File");
    EXPECT_EQ(detail<std::int64_t>(*error, "reportingLine"), 12);
    EXPECT_EQ(detail<std::string>(*error, "reportingMethod"), "-[Class operation]");
    EXPECT_EQ(detail<std::string>(*error, "origin"), "Call( this )");
}

TEST(Errors, TheLineIsASigned32BitNumber) {
    std::shared_ptr<NSError> error;
    NSXMakeErrorImp("i", 1, "f", 0xFFFFFFFFU, "m", "o", &error);
    EXPECT_EQ(detail<std::int64_t>(*error, "reportingLine"), -1);
}

TEST(Errors, AStatusBecomesAMachErrorOfItsCode) {
    expectSuccess("i", 0);
    expectFailure("i", -50, "NSMachErrorDomain", -50);
    expectFailure("i", 1852990585, "NSMachErrorDomain", 1852990585);
}

TEST(Errors, AStatusOfMinus1CarriesErrno) {
    errno = ENOSPC;
    expectFailure("i", -1, "NSPOSIXErrorDomain", ENOSPC);
    errno = EACCES;
    constexpr NSXCallSite here{"f", "m"};
    std::shared_ptr<NSError> error;
    EXPECT_TRUE(NSXReturnOnFailure(-1, "o", here, &error));
    EXPECT_EQ(error->domain(), NSPOSIXErrorDomain);
    EXPECT_EQ(error->code(), EACCES);
}

TEST(Errors, NullPointersFail) {
    const int object = 0;
    const auto pointer = reinterpret_cast<std::intptr_t>(&object);
    for (const char* typeCode : {"*", "^", "^{Record}", "r*"}) {
        expectFailure(typeCode, 0, "NULLPointerErrorDomain", -1);
        expectSuccess(typeCode, pointer);
    }
    expectFailure("@", 0, "NSCocoaErrorDomain", -1);
    expectSuccess("@", pointer);
}

TEST(Errors, AFalseBooleanFails) {
    expectFailure("c", 0, "BOOLErrorDomain", -1);
    expectSuccess("c", 1);
    expectSuccess("c", -1);
    expectSuccess("c", 0x100000000);
}

TEST(Errors, ANullOrDeadPortNameFails) {
    expectFailure("I", 0, "NSMachErrorDomain", -1);
    expectFailure("I", 0xFFFFFFFF, "NSMachErrorDomain", -1);
    expectFailure("I", -1, "NSMachErrorDomain", -1);
    expectFailure("I", 0x100000000, "NSMachErrorDomain", -1);
    expectSuccess("I", 5);
}

TEST(Errors, LongAndShortResultsFailUnless0) {
    for (const char* typeCode : {"l", "s"}) {
        expectSuccess(typeCode, 0);
        expectFailure(typeCode, -50, "NSOSStatusErrorDomain", -50);
        expectFailure(typeCode, -1, "NSOSStatusErrorDomain", -1);
        expectFailure(typeCode, 7, "NSOSStatusErrorDomain", 7);
    }
    expectFailure("l", 0x1FFFFFFFE, "NSOSStatusErrorDomain", -2);
    expectFailure("l", 0x100000000, "NSOSStatusErrorDomain", 0);
}

TEST(Errors, AFailureThatNobodyWantsIsNoProblem) {
    NSXMakeErrorImp("i", -50, "f", 1, "m", "o", nullptr);
    constexpr NSXCallSite here{"f", "m"};
    EXPECT_TRUE(NSXReturnOnFailure(-50, "o", here, nullptr));
}

TEST(Errors, MissingTextsAreEmpty) {
    std::shared_ptr<NSError> error;
    NSXMakeErrorImp("i", 1, nullptr, 1, nullptr, nullptr, &error);
    EXPECT_EQ(detail<std::string>(*error, "origin"), "");
}

class RecordingHandler : public NSAssertionHandler {
  public:
    void handleFailureInMethod(const std::string& method, const void* object, const std::string& file, int line,
                               const std::string& description) override {
        calls.push_back(method + "|" + file + "|" + std::to_string(line) + "|" + description);
        objects.push_back(object);
    }
    void handleFailureInFunction(const std::string& function, const std::string& file, int line,
                                 const std::string& description) override {
        calls.push_back(function + "|" + file + "|" + std::to_string(line) + "|" + description);
    }

    std::vector<std::string> calls;
    std::vector<const void*> objects;
};

class Assertions : public testing::Test {
  protected:
    Assertions() { NSAssertionHandler::setCurrentHandler(handler); }
    ~Assertions() override { NSAssertionHandler::setCurrentHandler(nullptr); }

    std::shared_ptr<RecordingHandler> handler = std::make_shared<RecordingHandler>();
};

TEST_F(Assertions, AnUnknownTypeCodeIsReportedAndMakesNoError) {
    const std::string place = "void NSXMakeErrorImp(const char *, intptr_t, const char *, unsigned int, const char *, "
                              "const char *, NSError *__autoreleasing *)|NSXReturnThrowError|103|";
    std::shared_ptr<NSError> error;
    for (const char* typeCode : {"x", "", "r^", "r", "q"}) {
        handler->calls.clear();
        // Raised although the handler returns: nothing goes on after a failed assertion.
        EXPECT_THROW(NSXMakeErrorImp(typeCode, 0, "f", 1, "m", "o", &error), NSException);
        EXPECT_THAT(handler->calls, ElementsAre(place + "NSXErrorCodeType_Unknown: \"" + typeCode + "\""));
    }
    EXPECT_EQ(error, nullptr);
}

TEST_F(Assertions, AParameterThatDoesNotSatisfyIsReportedWithItsText) {
    NSXAssertParameter(true, "frames", "-[Class operation:]", this, "Class", 42);
    EXPECT_TRUE(handler->calls.empty());
    EXPECT_THROW(NSXAssertParameter(false, "frames", "-[Class operation:]", this, "Class", 42), NSException);
    EXPECT_THAT(handler->calls, ElementsAre("-[Class operation:]|Class|42|Invalid parameter not satisfying: frames"));
    EXPECT_THAT(handler->objects, ElementsAre(this));
}

constexpr NSXCallSite site{"src/BRAQAudioUnit", "-[BRAQAudioUnit start]"};
constexpr NSXCallSite fileSite{"src/BRAQAudioFile", "-[BRAQAudioFile clientDataFormat]", NSXStatusDomain::osStatus};

TEST(FollowUps, RaiseHoldsTheErrorAndItsDescription) {
    NSXRaiseOnFailure(0, "AudioOutputUnitStart( mAudioUnit )", site);
    const int line = __LINE__ + 2;
    try {
        NSXRaiseOnFailure(-10867, "AudioOutputUnitStart( mAudioUnit )", site);
        FAIL() << "nothing was raised";
    } catch (const NSException& raised) {
        EXPECT_EQ(raised.name(), "NSXError");
        const auto error = std::get<std::shared_ptr<NSError>>(raised.userInfo().at("error"));
        EXPECT_EQ(raised.reason(), error->description());
        EXPECT_EQ(raised.what(), error->description());
        EXPECT_EQ(error->domain(), "NSMachErrorDomain");
        EXPECT_EQ(error->code(), -10867);
        EXPECT_EQ(detail<std::string>(*error, "origin"), "AudioOutputUnitStart( mAudioUnit )");
        EXPECT_EQ(detail<std::string>(*error, "reportingFile"), "src/BRAQAudioUnit");
        EXPECT_EQ(detail<std::string>(*error, "reportingMethod"), "-[BRAQAudioUnit start]");
        EXPECT_EQ(detail<std::int64_t>(*error, "reportingLine"), line);
    }
}

TEST(FollowUps, ReturnHandsTheErrorOut) {
    std::shared_ptr<NSError> error;
    EXPECT_FALSE(NSXReturnOnFailure(0, "Call()", site, &error));
    EXPECT_EQ(error, nullptr);
    EXPECT_TRUE(NSXReturnOnFailure(-50, "Call()", site, &error));
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code(), -50);
}

TEST(FollowUps, LogWritesTheLastPathComponentAndTheLocalisedDescription) {
    const braq::tests::CapturedLog log;
    NSXLogOnFailure(0, "AUGraphStop(mGraph)", site);
    NSXLogOnFailure(-10860, "AUGraphStop(mGraph)", site);
    NSXLogError("BRAQAudioGraph", "Could not find HAL Output Component!");
    EXPECT_THAT(log.errors(), ElementsAre("(ERROR) BRAQAudioUnit : the graph has no such node",
                                          "(ERROR) BRAQAudioGraph : Could not find HAL Output Component!"));
}

TEST(FollowUps, TheErrorHasTheReasonThatThePlatformKeptForTheStatus) {
    ExtAudioFileRef file = nullptr;
    const auto nowhere = NSURL::fileURLWithPath("/nowhere/a.wav");
    const OSStatus status = ExtAudioFileOpenURL(nowhere.get(), &file);
    std::shared_ptr<NSError> error;
    ASSERT_TRUE(NSXReturnOnFailure(-10860, "AUGraphStop(mGraph)", site, &error));
    EXPECT_EQ(error->userInfo().size(), 4U) << "of another status";
    ASSERT_TRUE(NSXReturnOnFailure(status, "Open()", fileSite, &error));
    EXPECT_EQ(error->localizedFailureReason(), "No such file or directory");
    EXPECT_EQ(error->localizedDescription(), "no such file or directory");
    ASSERT_TRUE(NSXReturnOnFailure(status, "Open()", fileSite, &error));
    EXPECT_EQ(error->userInfo().size(), 4U) << "of an earlier call";
}

TEST(FollowUps, AFileClassHandsTheErrorOnInItsDomainWithCodeAndDetailsAsChecked) {
    std::shared_ptr<NSError> checked;
    std::shared_ptr<NSError> handedOn;
    constexpr unsigned int line = 99;
    ASSERT_TRUE(NSXReturnOnFailure(-43, "Open()", {fileSite.file, fileSite.method}, &checked, line));
    ASSERT_TRUE(NSXReturnOnFailure(-43, "Open()", fileSite, &handedOn, line));
    EXPECT_EQ(checked->domain(), "NSMachErrorDomain");
    EXPECT_EQ(handedOn->domain(), "NSOSStatusErrorDomain");
    EXPECT_EQ(handedOn->code(), -43);
    EXPECT_EQ(handedOn->userInfo(), checked->userInfo());

    errno = EIO;
    ASSERT_TRUE(NSXReturnOnFailure(-1, "Open()", fileSite, &handedOn));
    EXPECT_EQ(handedOn->domain(), "NSOSStatusErrorDomain");
    EXPECT_EQ(handedOn->code(), EIO);
}

TEST(FollowUps, AnErrorStringMakesAnErrorThatSaysIt) {
    const auto error = NSXMakeErrorWithErrstr_tImp("out of sync", "src/File", -3, "-[Class operation]");
    EXPECT_EQ(error->domain(), "errstr_t");
    EXPECT_EQ(error->code(), 0);
    EXPECT_EQ(error->localizedDescription(), "out of sync");
    EXPECT_EQ(detail<std::string>(*error, "errstr_t"), "out of sync");
    EXPECT_EQ(detail<std::string>(*error, "reportingFile"), "src/File");
    EXPECT_EQ(detail<std::int64_t>(*error, "reportingLine"), -3);
    EXPECT_EQ(detail<std::string>(*error, "reportingMethod"), "-[Class operation]");
    EXPECT_EQ(detail<std::string>(*error, "NSLocalizedDescription"), "out of sync");
    EXPECT_EQ(error->userInfo().size(), 5U);
}

TEST(ErrorFromException, IsTheOneThatWasRaised) {
    const auto inner = NSError::errorWithDomain("inner", 3);
    EXPECT_EQ(NSXErrorFromException(std::make_exception_ptr(NSException("N", "r", {{"error", inner}}))), inner);
}

TEST(ErrorFromException, CarriesTheTextOfAnythingElse) {
    EXPECT_EQ(NSXErrorFromException(nullptr), nullptr);
    const auto raised = NSXErrorFromException(std::make_exception_ptr(NSException("N", "a reason")));
    EXPECT_EQ(raised->localizedDescription(), "a reason");
    const auto thrown = NSXErrorFromException(std::make_exception_ptr(std::runtime_error("a text")));
    EXPECT_EQ(thrown->domain(), BRAQExceptionErrorDomain);
    EXPECT_EQ(thrown->localizedDescription(), "a text");
    EXPECT_EQ(NSXErrorFromException(std::make_exception_ptr(1))->localizedDescription(), "unknown exception");
    // An "error" detail that is no error is not mistaken for one.
    const auto odd = NSXErrorFromException(std::make_exception_ptr(NSException("N", "odd", {{"error", "text"}})));
    EXPECT_EQ(odd->localizedDescription(), "odd");
    const std::shared_ptr<NSError> none;
    const auto empty = NSXErrorFromException(std::make_exception_ptr(NSException("N", "empty", {{"error", none}})));
    EXPECT_EQ(empty->localizedDescription(), "empty");
}

} // namespace
