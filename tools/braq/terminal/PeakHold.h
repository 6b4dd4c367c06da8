#pragma once

/// A peak hold: keeps the highest recent level for a while, then falls.
class PeakHold {
  public:
    static constexpr double holdSeconds = 1.0;
    static constexpr double fallPerSecond = 20.0; ///< decibels

    /// @param level decibels now, minus infinity for silence
    /// @param seconds since the last call
    /// @return the held level
    double add(double level, double seconds);

  private:
    double mLevel = -1.0 / 0.0;
    double mHeldFor = 0.0;
};
