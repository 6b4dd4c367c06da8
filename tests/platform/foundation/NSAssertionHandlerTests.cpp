#include "BRAQAudio/platform/foundation/NSAssertionHandler.h"

#include "BRAQAudio/platform/foundation/NSException.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

class Foundation_NSAssertionHandler : public testing::Test {
  protected:
    void TearDown() override { NSAssertionHandler::setCurrentHandler(nullptr); }
};

struct RecordingHandler : NSAssertionHandler {
    void handleFailureInMethod(const std::string& method, const void* where, const std::string& file, int line,
                               const std::string& description) override {
        object = where;
        texts.push_back(method + '|' + file + '|' + std::to_string(line) + '|' + description);
    }
    void handleFailureInFunction(const std::string& function, const std::string& file, int line,
                                 const std::string& description) override {
        texts.push_back(function + '|' + file + '|' + std::to_string(line) + '|' + description);
    }
    const void* object = nullptr;
    std::vector<std::string> texts;
};

struct ThrowingHandler : NSAssertionHandler {
    void handleFailureInFunction(const std::string&, const std::string&, int, const std::string&) override {
        throw std::logic_error("its own");
    }
};

template <class Failing>
NSException raisedBy(Failing failing) {
    try {
        failing();
    } catch (const NSException& exception) {
        return exception;
    }
    return {"nothing was raised", ""};
}

} // namespace

TEST_F(Foundation_NSAssertionHandler, TheDefaultRaisesWithPlaceAndDescription) {
    const auto method = raisedBy([] { NSAssertionFailedInMethod("-[Class op]", nullptr, "File", 42, "x > 0"); });
    EXPECT_EQ(method.name(), NSInternalInconsistencyException);
    EXPECT_EQ(method.reason(), "Assertion failed in -[Class op], File:42: x > 0");
    const auto function = raisedBy([] { NSAssertionFailedInFunction("void f()", "File", 7, "y"); });
    EXPECT_EQ(function.name(), NSInternalInconsistencyException);
    EXPECT_EQ(function.reason(), "Assertion failed in void f(), File:7: y");
}

TEST_F(Foundation_NSAssertionHandler, AReplacementHearsOfFailuresAndTheyRaiseAllTheSame) {
    const auto handler = std::make_shared<RecordingHandler>();
    NSAssertionHandler::setCurrentHandler(handler);
    EXPECT_EQ(NSAssertionHandler::currentHandler(), handler);
    const int object = 0;
    EXPECT_EQ(raisedBy([&] { NSAssertionFailedInMethod("-[C o]", &object, "F", 1, "a"); }).reason(),
              "Assertion failed in -[C o], F:1: a");
    EXPECT_EQ(raisedBy([] { NSAssertionFailedInFunction("f", "G", 2, "b"); }).reason(),
              "Assertion failed in f, G:2: b");
    EXPECT_EQ(handler->object, &object);
    EXPECT_THAT(handler->texts, testing::ElementsAre("-[C o]|F|1|a", "f|G|2|b"));
}

TEST_F(Foundation_NSAssertionHandler, WhatAReplacementThrowsComesOut) {
    NSAssertionHandler::setCurrentHandler(std::make_shared<ThrowingHandler>());
    EXPECT_THROW(NSAssertionFailedInFunction("f", "G", 2, "b"), std::logic_error);
}

TEST_F(Foundation_NSAssertionHandler, NullRestoresTheDefault) {
    const auto standard = NSAssertionHandler::currentHandler();
    ASSERT_NE(standard, nullptr);
    NSAssertionHandler::setCurrentHandler(std::make_shared<RecordingHandler>());
    NSAssertionHandler::setCurrentHandler(nullptr);
    EXPECT_EQ(NSAssertionHandler::currentHandler(), standard);
}

TEST_F(Foundation_NSAssertionHandler, AHandlerThatIsReplacedDuringAFailureStaysAliveForIt) {
    struct Replacing : NSAssertionHandler {
        explicit Replacing(std::string& text) : heard(text) {}
        void handleFailureInFunction(const std::string&, const std::string&, int,
                                     const std::string& description) override {
            setCurrentHandler(nullptr);
            heard = mine + description;
        }
        std::string& heard;
        const std::string mine = "a text that is too long to be kept inside the string object: ";
    };
    std::string heard;
    NSAssertionHandler::setCurrentHandler(std::make_shared<Replacing>(heard));
    EXPECT_THROW(NSAssertionFailedInFunction("f", "G", 2, "b"), NSException);
    EXPECT_EQ(heard, "a text that is too long to be kept inside the string object: b");
}

TEST_F(Foundation_NSAssertionHandler, ThreadsMayFailWhileAnotherReplacesTheHandler) {
    std::atomic<int> raised = 0;
    std::vector<std::thread> threads;
    threads.reserve(3);
    for (int index = 0; index < 3; ++index) {
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                raisedBy([] { NSAssertionFailedInFunction("f", "G", 2, "b"); });
                ++raised;
            }
        });
    }
    for (int round = 0; round < 200; ++round) {
        NSAssertionHandler::setCurrentHandler(round % 2 == 0 ? std::make_shared<NSAssertionHandler>() : nullptr);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(raised, 600);
}
