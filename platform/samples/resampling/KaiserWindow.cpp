#include "platform/samples/resampling/KaiserWindow.h"

#include <cmath>
#include <numbers>

namespace braq {

namespace {

/// Modified Bessel function of the first kind and order 0.
double bessel(double x) {
    double sum = 1;
    double term = 1;
    for (int k = 1; term > sum * 1e-18; ++k) {
        term *= x / (2 * k) * (x / (2 * k));
        sum += term;
    }
    return sum;
}

} // namespace

KaiserWindow::KaiserWindow(double attenuation) : mShape(0.1102 * (attenuation - 8.7)), mScale(1 / bessel(mShape)) {}

double KaiserWindow::at(double place) const {
    const double rest = 1 - place * place;
    return rest < 0 ? 0 : mScale * bessel(mShape * std::sqrt(rest));
}

double sinc(double x) { return x == 0 ? 1 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x); }

} // namespace braq
