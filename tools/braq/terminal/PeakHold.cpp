#include "tools/braq/terminal/PeakHold.h"

#include <algorithm>

double PeakHold::add(double level, double seconds) {
    mHeldFor += seconds;
    if (level >= mLevel) {
        mLevel = level;
        mHeldFor = 0.0;
    } else if (mHeldFor > holdSeconds) {
        mLevel = std::max(level, mLevel - fallPerSecond * seconds);
    }
    return mLevel;
}
