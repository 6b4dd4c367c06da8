#include "tests/src/pipewire/PlayUnderLoad.h"

#include <gtest/gtest.h>

TEST(FilePlayerUnderLoad, LacksNoFrameInTenMinutes) { player_test::playUnderLoad(std::chrono::minutes(10)); }
