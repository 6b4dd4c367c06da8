#include "tests/src/pipewire/PlayUnderLoad.h"

#include <gtest/gtest.h>

TEST(FilePlayerUnderLoad, LacksNoFrame) { player_test::playUnderLoad(std::chrono::seconds(5)); }
