// The floating draws of TLCGRand: uniform, Gaussian by the polar method, and biased values that
// invert the integral of a density curve by Newton's method. Intermediates are doubles, narrowed
// to float where a value is kept.
#include "General/Maths/LCGRand.h"

#include "General/Platform/Time.h"

#include <bit>
#include <cmath>

namespace {

/// 1.4005132e-6, close to 1 / 714025.
const float kOneOverModulus = std::bit_cast<float>(0x35BBF944u);
/// Close to 2 / 714025.
const float kTwoOverModulus = std::bit_cast<float>(0x363BF944u);
constexpr float kFlat = 1e-4f;
constexpr int kNewtonRounds = 12;

/// Solves integral(x) = target by Newton's method from `x`.
template <class Integral, class Density>
float SolveNewton(float x, float target, Integral integral, Density density) {
    for (int round = 0; round < kNewtonRounds; ++round) {
        const float d = density(x);
        if (std::fabs(d) < kFlat)
            break;
        const float step = float((double(integral(x)) - target) / d);
        x -= step;
        if (std::fabs(step) < kFlat)
            break;
    }
    return x;
}

} // namespace

void TLCGRand::SetRandomSeed() {
    m_Seed = uint32_t(GetGlobalTime().GetTime().GetValue()) % Modulus;
}

float TLCGRand::GetRandom() {
    return float(double(GetRan()) * double(kOneOverModulus));
}

float TLCGRand::GetUniform12() {
    const uint32_t s = GetRan();
    return float(double((s << 12) / Modulus) * (1.0 / 4096.0));
}

float TLCGRand::GetGauss() {
    if (m_HaveSpare) {
        m_HaveSpare = false;
        return m_Spare;
    }
    float v1 = 0.0f, v2 = 0.0f, s = 0.0f;
    bool found = false;
    for (int i = 0; i < 10 && !found; ++i) {
        v1 = float(double(GetRan()) * double(kTwoOverModulus) - 1.0);
        v2 = float(double(GetRan()) * double(kTwoOverModulus) - 1.0);
        s = float(double(v1) * v1 + double(v2) * v2);
        found = s < 1.0f;
    }
    if (!found)
        v1 = v2 = s = 0.0f;
    if (s < 1e-15f)
        s = 1e-15f;
    const double f = std::sqrt(-2.0 * std::log(double(s)) / s);
    m_Spare = float(v1 * f);
    m_HaveSpare = true;
    return float(v2 * f);
}

float TLCGRand::RandomFunc(float x, float a, float b) {
    return float((double(b - a) * x / 2.0 + a) * x);
}

float TLCGRand::RandomFunc(float x, float a, float b, float c) {
    const double dx = x;
    return float(((double(a) + c - 2.0 * b) * dx / 3.0 + (double(b) - a)) * dx * dx + a * dx);
}

float TLCGRand::RandomFuncDeriv(float x, float a, float b, float c) {
    const double dx = x;
    return float(((double(a) + c - 2.0 * b) * dx + 2.0 * (double(b) - a)) * dx + a);
}

float TLCGRand::RandomFunc(float x, float a, float b, float c, float d) {
    const double dx = x;
    const double k3 = (double(b) - c) * 3.0 + (double(d) - a);
    return float((k3 * dx / 4.0 + (double(a) + c - 2.0 * b)) * dx * dx * dx +
                 1.5 * (double(b) - a) * dx * dx + a * dx);
}

float TLCGRand::RandomFuncDeriv(float x, float a, float b, float c, float d) {
    const double dx = x;
    const double k3 = (double(b) - c) * 3.0 + (double(d) - a);
    return float((k3 * dx + ((double(a) + c) * 3.0 - 6.0 * b)) * dx * dx +
                 3.0 * (double(b) - a) * dx + a);
}

float TLCGRand::GetBiasedRandom(float a, float b) {
    const double t = GetUniform12();
    const double k = (double(b) - a) / 2.0;
    const double target = t * (k + a);
    if (std::fabs(k) < double(kFlat))
        return float(target / a);
    return float((std::sqrt(4.0 * k * target + double(a) * a) - a) / (2.0 * k));
}

float TLCGRand::GetBiasedRandom(float a, float b, float c) {
    const float t = GetUniform12();
    const float target = float(double(t) * RandomFunc(1.0f, a, b, c));
    return SolveNewton(
        t, target, [&](float x) { return RandomFunc(x, a, b, c); },
        [&](float x) { return RandomFuncDeriv(x, a, b, c); });
}

float TLCGRand::GetBiasedRandom(float a, float b, float c, float d) {
    const float t = GetUniform12();
    const float target = float(double(t) * RandomFunc(1.0f, a, b, c, d));
    return SolveNewton(
        t, target, [&](float x) { return RandomFunc(x, a, b, c, d); },
        [&](float x) { return RandomFuncDeriv(x, a, b, c, d); });
}

float TLCGRand::GetBiasedRandom(float a, const TVector2 &b, const TVector2 &c, float d) {
    const float t = GetUniform12();
    const float target = float(double(t) * RandomFunc(1.0f, a, b.y, c.y, d));
    const double x = SolveNewton(
        0.5f, target, [&](float v) { return RandomFunc(v, a, b.y, c.y, d); },
        [&](float v) { return RandomFuncDeriv(v, a, b.y, c.y, d); });
    return float(((double(c.x) * 3.0 - double(b.x) * 6.0) + ((double(b.x) - c.x) * 3.0 + 1.0) * x) *
                     x * x +
                 3.0 * b.x * x);
}
