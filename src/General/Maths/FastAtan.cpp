// The arctangent tables and their interpolating reader. One static instance fills the tables
// while the library loads, before any caller can reach them.
#include "General/Maths/FastAtan.h"

#include <cmath>

namespace {
constexpr float kPi = 3.1415927f;
constexpr float kTiny = 1e-15f;

/// The table at t in 0 .. 1024, interpolated between neighbouring entries.
float TableAt(float t) {
    int i = int(std::floor(t));
    if (i >= TFastAtan::TableSize - 1)
        return TFastAtan::AtanTab[TFastAtan::TableSize - 1];
    const float f = t - float(i);
    return (1.0f - f) * TFastAtan::AtanTab[i] + f * TFastAtan::AtanTab[i + 1];
}
} // namespace

float TFastAtan::AtanTab[TFastAtan::TableSize];
float TFastAtan::AtanTabO8[TFastAtan::TableSize];

TFastAtan::TFastAtan() {
    const double quarterPi = double(kPi) / 4.0;
    for (int i = 0; i < TableSize; ++i) {
        const double a = std::atan(double(i) / 1024.0);
        AtanTab[i] = float(a);
        AtanTabO8[i] = float(a * 0.125 / quarterPi);
    }
}

static TFastAtan gFastAtanFiller;

float TFastAtan::Atan2(float y, float x) {
    const float ax = std::fabs(x), ay = std::fabs(y);
    if (ay < kTiny)
        return x > 0.0f ? 0.0f : kPi;
    if (ax < kTiny)
        return y > 0.0f ? kPi / 2.0f : -kPi / 2.0f;
    if (std::fabs(ax - ay) < kTiny) {
        const float a = x > 0.0f ? kPi / 4.0f : 3.0f * kPi / 4.0f;
        return y > 0.0f ? a : -a;
    }
    const float t = 1024.0f * (ax < ay ? ax / ay : ay / ax);
    const float a = TableAt(t);
    const float sx = x > 0.0f ? 1.0f : -1.0f, sy = y > 0.0f ? 1.0f : -1.0f;
    if (x > 0.0f && ay < x)
        return sy * a;
    if (y > 0.0f && ax < y)
        return kPi / 2.0f - sx * a;
    if (x < 0.0f && ay < ax)
        return y > 0.0f ? kPi - a : a - kPi;
    // Below the x axis the angle grows from -pi/2 towards the side x points to.
    return -kPi / 2.0f + sx * a;
}
