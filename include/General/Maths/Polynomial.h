// Real roots of quadratics and cubics. The quadratic form avoids cancellation; the cubic uses
// the trigonometric or Cardano form and polishes each root with Newton's method. Degenerate
// input gives no roots rather than NaNs.
#pragma once

#include "General/Core/Export.h"
#include "General/Maths/Vector.h"

#include <type_traits>

/// a x^3 + b x^2 + c x + d.
class VLIB_API TCubic {
public:
    float a, b, c, d;

    TCubic() = default;
    constexpr TCubic(float a_, float b_, float c_, float d_) : a(a_), b(b_), c(c_), d(d_) {}

    /// By Horner's rule.
    float GetEvaluate(float x) const { return ((a * x + b) * x + c) * x + d; }
    /// (3 a x + 2 b) x + c.
    float GetEvaluateDeriv(float x) const { return (3.0f * a * x + 2.0f * b) * x + c; }
    /// The real roots, unsorted; returns 3, 1, or 0 when |a| is below 1e-15.
    int GetRoots(TVector3 *roots) const;
    /// Newton's method from x: at least three rounds, at most 100, stopping once |f(x)| is at
    /// most 1e-5 (or the slope vanishes).
    float ZoomInToRoot(float x) const;
};

/// a x^2 + b x + c.
class VLIB_API TQuadratic {
public:
    float a, b, c;

    TQuadratic() = default;
    constexpr TQuadratic(float a_, float b_, float c_) : a(a_), b(b_), c(c_) {}

    float GetEvaluate(float x) const { return (a * x + b) * x + c; }
    /// Two roots (also for a double root) or 0: |a| below 1e-15 or a negative discriminant.
    int GetRoots(TVector2 *roots) const;
};

/// The two real roots of a x^2 + b x + c, or false when there are none (|a| at most 1e-15 or a
/// negative discriminant).
VLIB_API bool SolveQuadratic(float *r1, float *r2, float a, float b, float c);

static_assert(sizeof(TCubic) == 16 && std::is_trivially_copyable_v<TCubic>);
static_assert(sizeof(TQuadratic) == 12 && std::is_trivially_copyable_v<TQuadratic>);
