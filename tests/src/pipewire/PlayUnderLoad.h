#pragma once

#include <chrono>

namespace player_test {

/// Plays a numbered file for so long on a private server in cycles of 256 frames, while every processor is busy at normal
/// priority. Expects no underrun where threads may be scheduled in real time; else says how many there were, and shows nothing.
void playUnderLoad(std::chrono::seconds duration);

} // namespace player_test
