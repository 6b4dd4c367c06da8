#pragma once

#include <BRAQAudio/BRAQAudio.h>

/// Where a loop ends so that nothing clicks when it goes on at its beginning: up to 10 ms from where it was marked, where
/// the sound is most like that at the beginning. Reads the file there.
/// @param file that nobody else reads
/// @param firstFrame of the loop
/// @param endFrame as marked, behind the last frame
SInt64 endOfSmoothLoop(BRAQExtendedAudioFile& file, SInt64 firstFrame, SInt64 endFrame);
