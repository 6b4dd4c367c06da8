#pragma once

namespace braq {

/// The window that makes a low-pass filter of finite length out of a sinc: Kaiser, J. F., "Nonrecursive digital filter design
/// using the I0-sinh window function", Proc. IEEE Int. Symp. Circuits and Systems, 1974.
///
/// A filter of n taps is `attenuation` decibels down, on both sides of its cut-off, from
/// (attenuation - 7.95) / (14.36 n) / 2 of the sampling rate on.
class KaiserWindow {
  public:
    /// @param attenuation decibels, above 50
    explicit KaiserWindow(double attenuation);

    /// @param place -1 to 1, the ends; 0 beyond @return 1 in the middle
    double at(double place) const;

  private:
    const double mShape;
    const double mScale;
};

/// sin(πx) / (πx)
double sinc(double x);

} // namespace braq
