#pragma once

#include "BRAQAudio/platform/foundation/BRAQMainQueue.h"

#include <gtest/gtest.h>

#include <poll.h>

/// Each test begins and ends with an empty main queue.
class MainQueueTest : public testing::Test {
  protected:
    void SetUp() override { ASSERT_FALSE(isReadable()); }
    void TearDown() override { ASSERT_FALSE(isReadable()); }

    bool isReadable() {
        pollfd watched = {queue.fileDescriptor(), POLLIN, 0};
        return ::poll(&watched, 1, 0) == 1;
    }

    BRAQMainQueue& queue = BRAQMainQueue::mainQueue();
};
