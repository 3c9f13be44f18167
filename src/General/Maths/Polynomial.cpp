// Polynomial roots. The sign of b picks the quadratic's cancellation-free branch; b = 0 takes
// the positive branch so that its roots stay defined. A triple cubic root, where the
// trigonometric form divides 0 by 0, is returned three times.
#include "General/Maths/Polynomial.h"

#include <cmath>

namespace {

constexpr float kPi = 3.1415927f;

/// The cancellation-free pair; false when there are no real roots.
bool QuadraticRoots(double a, double b, double c, float *r1, float *r2) {
    const double disc = b * b - 4.0 * a * c;
    if (disc < 0.0)
        return false;
    const double q = -(b + (b < 0.0 ? -1.0 : 1.0) * std::sqrt(disc)) / 2.0;
    *r1 = float(q / a);
    // q is 0 only for b = 0 and c = 0: a double root at 0.
    *r2 = q == 0.0 ? 0.0f : float(c / q);
    return true;
}

} // namespace

float TCubic::ZoomInToRoot(float x) const {
    for (int round = 0; round < 100; ++round) {
        const float fx = GetEvaluate(x);
        if (round >= 3 && std::fabs(fx) <= 1e-5f)
            break;
        const float slope = GetEvaluateDeriv(x);
        if (slope == 0.0f || !std::isfinite(slope))
            break;
        const float next = x - fx / slope;
        if (!std::isfinite(next))
            break;
        x = next;
    }
    return x;
}

int TCubic::GetRoots(TVector3 *roots) const {
    if (std::fabs(a) < 1e-15f)
        return 0;
    const double A = double(b) / a, B = double(c) / a, C = double(d) / a;
    const double Q = (A * A - 3.0 * B) / 9.0;
    const double R = (2.0 * A * A * A - 9.0 * A * B + 27.0 * C) / 54.0;
    const double D = R * R - Q * Q * Q;
    if (D <= 0.0) {
        if (Q <= 0.0) {
            // Q = R = 0: a triple root.
            const float root = ZoomInToRoot(float(-A / 3.0));
            roots->Set(root, root, root);
            return 3;
        }
        double ratio = R / (std::sqrt(Q) * Q);
        ratio = ratio < -1.0 ? -1.0 : (ratio > 1.0 ? 1.0 : ratio);
        const double theta = std::acos(ratio) / 3.0;
        const double scale = -2.0 * std::sqrt(Q);
        const double shift = A / 3.0;
        const double pi = kPi;
        for (int i = 0; i < 3; ++i) {
            const double offset = i == 0 ? 0.0 : (i == 1 ? pi * 2.0 / 3.0 : pi * 4.0 / 3.0);
            (*roots)[i] = ZoomInToRoot(float(scale * std::cos(theta + offset) - shift));
        }
        return 3;
    }
    const double S = std::cbrt(std::sqrt(D) + std::fabs(R));
    const double sign = R > 0.0 ? 1.0 : (R < 0.0 ? -1.0 : 0.0);
    const float root = float(-sign * (S + Q / S) - A / 3.0);
    roots->x = ZoomInToRoot(root);
    return 1;
}

int TQuadratic::GetRoots(TVector2 *roots) const {
    if (std::fabs(a) < 1e-15f)
        return 0;
    return QuadraticRoots(a, b, c, &roots->x, &roots->y) ? 2 : 0;
}

bool SolveQuadratic(float *r1, float *r2, float a, float b, float c) {
    if (std::fabs(a) <= 1e-15f)
        return false;
    return QuadraticRoots(a, b, c, r1, r2);
}
