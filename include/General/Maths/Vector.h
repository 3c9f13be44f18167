// Row vectors of two, three and four floats, the value types that every frame's inner loops
// use. Vectors multiply matrices from the left (v' = v * M); the products with matrices are
// defined inline in Matrix.h, which completes the matrix types they need.
// The operation names follow the library scheme: SetX(a, b) stores a X b, X(b) works in place.
#pragma once

#include "General/Core/Export.h"

#include <cmath>
#include <type_traits>

class TMatrix2;
class TMatrix3;
class TMatrix4;
class TMatrix43;
class TIOAdapter;

/// True when -tol < x < tol.
inline bool FloatIsZero(float x, float tol) {
    return -tol < x && x < tol;
}
/// True when x > -tol.
inline bool FloatGreaterThanZero(float x, float tol) {
    return x > -tol;
}
/// True when x < tol.
inline bool FloatLessThanZero(float x, float tol) {
    return x < tol;
}
/// True when -tol < a - b < tol.
inline bool FloatEquals(float a, float b, float tol) {
    const float d = a - b;
    return -tol < d && d < tol;
}
/// True when a - b < tol.
inline bool FloatLessThan(float a, float b, float tol) {
    return a - b < tol;
}
/// True when a - b > -tol.
inline bool FloatGreaterThan(float a, float b, float tol) {
    return a - b > -tol;
}

namespace vlib::detail {
/// Squared lengths at or below this normalise to the zero vector.
inline constexpr float kNormEpsilonSq = 1e-30f;
/// Homogeneous w within this of 0 makes the zero vector.
inline constexpr float kHomogeneousEpsilon = 1e-15f;
/// Each component: at or below low gives low, else at or above high gives high; a NaN stays.
inline float ClipComponent(float c, float low, float high) {
    return c <= low ? low : (c >= high ? high : c);
}
/// floor(c * invStep + 0.5) * step.
inline float RoundComponent(float c, float step, float invStep) {
    return std::floor(c * invStep + 0.5f) * step;
}
} // namespace vlib::detail

/// A row vector of two floats.
class VLIB_API TVector2 {
public:
    float x, y;

    /// Leaves the components unset.
    TVector2() = default;
    constexpr TVector2(float x_, float y_) : x(x_), y(y_) {}

    float &operator[](int i) { return i == 0 ? x : y; }
    float operator[](int i) const { return i == 0 ? x : y; }

    static constexpr int GetCardinality() { return 2; }

    float GetDot(const TVector2 &b) const { return x * b.x + y * b.y; }
    float GetLenSq() const { return x * x + y * y; }
    float GetLen() const { return std::sqrt(GetLenSq()); }
    static float GetDistSq(const TVector2 &a, const TVector2 &b) {
        const float dx = a.x - b.x, dy = a.y - b.y;
        return dx * dx + dy * dy;
    }
    static float GetDist(const TVector2 &a, const TVector2 &b) {
        return std::sqrt(GetDistSq(a, b));
    }
    /// x * b.y - y * b.x.
    float GetCross(const TVector2 &b) const { return x * b.y - y * b.x; }
    /// Bit i is set when component i is below 0.
    int GetSigns() const { return (x < 0.0f ? 1 : 0) | (y < 0.0f ? 2 : 0); }

    float GetMax() const { return (*this)[GetMaxIdx()]; }
    float GetMin() const { return (*this)[GetMinIdx()]; }
    float GetAbsMax() const { return std::fabs((*this)[GetAbsMaxIdx()]); }
    float GetAbsMin() const { return std::fabs((*this)[GetAbsMinIdx()]); }
    /// 1 if x < y, else 0: equal values give the first.
    int GetMaxIdx() const { return x < y ? 1 : 0; }
    /// 0 if x < y, else 1.
    int GetMinIdx() const { return x < y ? 0 : 1; }
    /// 0 if |x| > |y|, else 1: equal magnitudes give the later.
    int GetAbsMaxIdx() const { return std::fabs(x) > std::fabs(y) ? 0 : 1; }
    int GetAbsMinIdx() const { return std::fabs(x) < std::fabs(y) ? 0 : 1; }

    void Set(float x_, float y_) { x = x_, y = y_; }
    void SetAdd(const TVector2 &a, const TVector2 &b) { x = a.x + b.x, y = a.y + b.y; }
    void SetSub(const TVector2 &a, const TVector2 &b) { x = a.x - b.x, y = a.y - b.y; }
    void SetNeg(const TVector2 &a) { x = -a.x, y = -a.y; }
    void SetMul(const TVector2 &a, float s) { x = a.x * s, y = a.y * s; }
    /// Multiplies by components.
    void SetMul(const TVector2 &a, const TVector2 &b) { x = a.x * b.x, y = a.y * b.y; }
    void SetMul(const TVector2 &a, const TMatrix2 &m);
    /// Homogeneous: w = x * m02 + y * m12 + m22, then the divide.
    void SetMul(const TVector2 &a, const TMatrix3 &m);
    /// a + b * s.
    void SetAddMul(const TVector2 &a, const TVector2 &b, float s) {
        x = a.x + b.x * s, y = a.y + b.y * s;
    }
    /// a + (b - a) * t.
    void SetInterpolate(const TVector2 &a, const TVector2 &b, float t) {
        x = a.x + (b.x - a.x) * t, y = a.y + (b.y - a.y) * t;
    }
    void SetAverage(const TVector2 &a, const TVector2 &b) {
        x = (a.x + b.x) * 0.5f, y = (a.y + b.y) * 0.5f;
    }
    /// Unit vector along a; returns the length, or the squared length if that is at most 1e-30
    /// (the result is then zero).
    float SetNorm(const TVector2 &a) {
        const float lenSq = a.GetLenSq();
        if (lenSq <= vlib::detail::kNormEpsilonSq) {
            x = y = 0.0f;
            return lenSq;
        }
        const float len = std::sqrt(lenSq);
        const float inv = 1.0f / len;
        x = a.x * inv, y = a.y * inv;
        return len;
    }
    /// (x, y) becomes (-a.y, a.x).
    void SetPerp(const TVector2 &a) {
        const float ax = a.x;
        x = -a.y, y = ax;
    }

    void Add(const TVector2 &b) { SetAdd(*this, b); }
    void Sub(const TVector2 &b) { SetSub(*this, b); }
    void Neg() { SetNeg(*this); }
    void Mul(float s) { SetMul(*this, s); }
    void Mul(const TVector2 &b) { SetMul(*this, b); }
    void Mul(const TMatrix2 &m) { SetMul(*this, m); }
    void Mul(const TMatrix3 &m) { SetMul(*this, m); }
    void AddMul(const TVector2 &b, float s) { SetAddMul(*this, b, s); }
    void Interpolate(const TVector2 &b, float t) { SetInterpolate(*this, b, t); }
    void Average(const TVector2 &b) { SetAverage(*this, b); }
    float Norm() { return SetNorm(*this); }
    void Div(float s) { Mul(1.0f / s); }
    void Perp() { SetPerp(*this); }

    void Min(const TVector2 &b) { x = b.x < x ? b.x : x, y = b.y < y ? b.y : y; }
    void Max(const TVector2 &b) { x = b.x > x ? b.x : x, y = b.y > y ? b.y : y; }
    void NudgeLower(const TVector2 &b) { Min(b); }
    void NudgeHigher(const TVector2 &b) { Max(b); }
    void Clip(float low, float high) {
        x = vlib::detail::ClipComponent(x, low, high);
        y = vlib::detail::ClipComponent(y, low, high);
    }
    void Clip(const TVector2 &low, const TVector2 &high) {
        x = vlib::detail::ClipComponent(x, low.x, high.x);
        y = vlib::detail::ClipComponent(y, low.y, high.y);
    }
    void RoundOff(float step) {
        const float inv = 1.0f / step;
        x = vlib::detail::RoundComponent(x, step, inv);
        y = vlib::detail::RoundComponent(y, step, inv);
    }

    /// Parameter accessors for reflected fields: always true.
    bool GetX(float *out) const { return *out = x, true; }
    bool GetY(float *out) const { return *out = y, true; }
    bool SetX(const float *in) { return x = *in, true; }
    bool SetY(const float *in) { return y = *in, true; }
};

/// A row vector of three floats: points, directions and scales.
class VLIB_API TVector3 {
public:
    float x, y, z;

    /// (0, 0, 0).
    static const TVector3 Zero;

    /// Leaves the components unset.
    TVector3() = default;
    constexpr TVector3(float x_, float y_, float z_) : x(x_), y(y_), z(z_) {}

    float &operator[](int i) { return i == 0 ? x : (i == 1 ? y : z); }
    float operator[](int i) const { return i == 0 ? x : (i == 1 ? y : z); }

    static constexpr int GetCardinality() { return 3; }
    /// Streams x, y and z under the names "Component[0]" to "Component[2]", in either form.
    void Stream(TIOAdapter &io);

    float GetDot(const TVector3 &b) const { return x * b.x + y * b.y + z * b.z; }
    float GetLenSq() const { return x * x + y * y + z * z; }
    float GetLen() const { return std::sqrt(GetLenSq()); }
    static float GetDistSq(const TVector3 &a, const TVector3 &b) {
        const float dx = a.x - b.x, dy = a.y - b.y, dz = a.z - b.z;
        return dx * dx + dy * dy + dz * dz;
    }
    static float GetDist(const TVector3 &a, const TVector3 &b) {
        return std::sqrt(GetDistSq(a, b));
    }
    /// Squared distance over x and y only.
    static float GetDistSq2d(const TVector3 &a, const TVector3 &b) {
        const float dx = a.x - b.x, dy = a.y - b.y;
        return dx * dx + dy * dy;
    }
    static float GetDist2d(const TVector3 &a, const TVector3 &b) {
        return std::sqrt(GetDistSq2d(a, b));
    }
    int GetSigns() const { return (x < 0.0f ? 1 : 0) | (y < 0.0f ? 2 : 0) | (z < 0.0f ? 4 : 0); }

    float GetMax() const { return (*this)[GetMaxIdx()]; }
    float GetMin() const { return (*this)[GetMinIdx()]; }
    float GetAbsMax() const { return std::fabs((*this)[GetAbsMaxIdx()]); }
    float GetAbsMin() const { return std::fabs((*this)[GetAbsMinIdx()]); }
    /// Index of the largest component; equal values give the first.
    int GetMaxIdx() const {
        if (x < y)
            return y >= z ? 1 : 2;
        return x >= z ? 0 : 2;
    }
    /// Index of the smallest component; equal values give the later.
    int GetMinIdx() const {
        if (x < y)
            return x < z ? 0 : 2;
        return y < z ? 1 : 2;
    }
    /// Index of the largest magnitude; a tie of x and y gives y, a tie with z the earlier.
    int GetAbsMaxIdx() const {
        const float ax = std::fabs(x), ay = std::fabs(y), az = std::fabs(z);
        if (ax <= ay)
            return ay >= az ? 1 : 2;
        return ax >= az ? 0 : 2;
    }
    int GetAbsMinIdx() const {
        const float ax = std::fabs(x), ay = std::fabs(y), az = std::fabs(z);
        if (ax < ay)
            return ax < az ? 0 : 2;
        return ay < az ? 1 : 2;
    }

    void Set(float x_, float y_, float z_) { x = x_, y = y_, z = z_; }
    void SetAdd(const TVector3 &a, const TVector3 &b) {
        x = a.x + b.x, y = a.y + b.y, z = a.z + b.z;
    }
    void SetSub(const TVector3 &a, const TVector3 &b) {
        x = a.x - b.x, y = a.y - b.y, z = a.z - b.z;
    }
    void SetNeg(const TVector3 &a) { x = -a.x, y = -a.y, z = -a.z; }
    void SetMul(const TVector3 &a, float s) { x = a.x * s, y = a.y * s, z = a.z * s; }
    /// Multiplies by components.
    void SetMul(const TVector3 &a, const TVector3 &b) {
        x = a.x * b.x, y = a.y * b.y, z = a.z * b.z;
    }
    void SetMul(const TVector3 &a, const TMatrix3 &m);
    /// Affine transform: the translation in row 3 is added.
    void SetMul(const TVector3 &a, const TMatrix43 &m);
    /// Homogeneous transform with w taken as 1, then the divide; w near 0 gives zero.
    void SetMul(const TVector3 &a, const TMatrix4 &m);
    /// The upper 3 by 3 only.
    void SetMulRot(const TVector3 &a, const TMatrix4 &m);
    void SetMulRot(const TVector3 &a, const TMatrix43 &m);
    void SetAddMul(const TVector3 &a, const TVector3 &b, float s) {
        x = a.x + b.x * s, y = a.y + b.y * s, z = a.z + b.z * s;
    }
    void SetInterpolate(const TVector3 &a, const TVector3 &b, float t) {
        x = a.x + (b.x - a.x) * t, y = a.y + (b.y - a.y) * t, z = a.z + (b.z - a.z) * t;
    }
    void SetAverage(const TVector3 &a, const TVector3 &b) {
        x = (a.x + b.x) * 0.5f, y = (a.y + b.y) * 0.5f, z = (a.z + b.z) * 0.5f;
    }
    /// The mean of n vectors; n must be at least 1.
    void SetAverage(const TVector3 *array, int n);
    float SetNorm(const TVector3 &a) {
        const float lenSq = a.GetLenSq();
        if (lenSq <= vlib::detail::kNormEpsilonSq) {
            x = y = z = 0.0f;
            return lenSq;
        }
        const float len = std::sqrt(lenSq);
        const float inv = 1.0f / len;
        x = a.x * inv, y = a.y * inv, z = a.z * inv;
        return len;
    }
    /// a x b.
    void SetCross(const TVector3 &a, const TVector3 &b) {
        const float cx = a.y * b.z - a.z * b.y;
        const float cy = a.z * b.x - a.x * b.z;
        const float cz = a.x * b.y - a.y * b.x;
        x = cx, y = cy, z = cz;
    }

    void Add(const TVector3 &b) { SetAdd(*this, b); }
    void Sub(const TVector3 &b) { SetSub(*this, b); }
    void Neg() { SetNeg(*this); }
    void Mul(float s) { SetMul(*this, s); }
    void Mul(const TVector3 &b) { SetMul(*this, b); }
    void Mul(const TMatrix3 &m) { SetMul(*this, m); }
    void Mul(const TMatrix43 &m) { SetMul(*this, m); }
    void Mul(const TMatrix4 &m) { SetMul(*this, m); }
    void MulRot(const TMatrix4 &m) { SetMulRot(*this, m); }
    void MulRot(const TMatrix43 &m) { SetMulRot(*this, m); }
    void AddMul(const TVector3 &b, float s) { SetAddMul(*this, b, s); }
    void Interpolate(const TVector3 &b, float t) { SetInterpolate(*this, b, t); }
    void Average(const TVector3 &b) { SetAverage(*this, b); }
    float Norm() { return SetNorm(*this); }
    void Div(float s) { Mul(1.0f / s); }
    /// This becomes this x b.
    void Cross(const TVector3 &b) { SetCross(*this, b); }

    void Min(const TVector3 &b) {
        x = b.x < x ? b.x : x, y = b.y < y ? b.y : y, z = b.z < z ? b.z : z;
    }
    void Max(const TVector3 &b) {
        x = b.x > x ? b.x : x, y = b.y > y ? b.y : y, z = b.z > z ? b.z : z;
    }
    void NudgeLower(const TVector3 &b) { Min(b); }
    void NudgeHigher(const TVector3 &b) { Max(b); }
    void Clip(float low, float high) {
        x = vlib::detail::ClipComponent(x, low, high);
        y = vlib::detail::ClipComponent(y, low, high);
        z = vlib::detail::ClipComponent(z, low, high);
    }
    void Clip(const TVector3 &low, const TVector3 &high) {
        x = vlib::detail::ClipComponent(x, low.x, high.x);
        y = vlib::detail::ClipComponent(y, low.y, high.y);
        z = vlib::detail::ClipComponent(z, low.z, high.z);
    }
    void RoundOff(float step) {
        const float inv = 1.0f / step;
        x = vlib::detail::RoundComponent(x, step, inv);
        y = vlib::detail::RoundComponent(y, step, inv);
        z = vlib::detail::RoundComponent(z, step, inv);
    }

    /// True when |len - 1| < tol.
    bool IsUnit(float tol) const { return std::fabs(GetLen() - 1.0f) < tol; }
    /// The dominant axis: 0 -X, 1 +X, 2 -Y, 3 +Y, 4 -Z, 5 +Z.
    int GetDir() const;
    /// Two unit vectors perpendicular to this one (a is zero if this one is).
    void GetTriplet(TVector3 &a, TVector3 &b) const;
    /// As GetTriplet, with the start axis chosen so that a, b and this are right-handed.
    void GetTripletRHS(TVector3 &a, TVector3 &b) const;
    /// For a unit vector: out.x the turn fraction of (x, y) in [0, 1), out.y = z * 0.5 + 0.5.
    /// Returns the octant, 0 to 7.
    int GetPolars(TVector2 *out) const;

    bool GetX(float *out) const { return *out = x, true; }
    bool GetY(float *out) const { return *out = y, true; }
    bool GetZ(float *out) const { return *out = z, true; }
    bool SetX(const float *in) { return x = *in, true; }
    bool SetY(const float *in) { return y = *in, true; }
    bool SetZ(const float *in) { return z = *in, true; }
};

/// A row vector of four floats: homogeneous points and planes.
class VLIB_API TVector4 {
public:
    float x, y, z, w;

    /// Leaves the components unset.
    TVector4() = default;
    constexpr TVector4(float x_, float y_, float z_, float w_) : x(x_), y(y_), z(z_), w(w_) {}

    float &operator[](int i) { return i == 0 ? x : (i == 1 ? y : (i == 2 ? z : w)); }
    float operator[](int i) const { return i == 0 ? x : (i == 1 ? y : (i == 2 ? z : w)); }

    static constexpr int GetCardinality() { return 4; }

    float GetDot(const TVector4 &b) const { return x * b.x + y * b.y + z * b.z + w * b.w; }
    float GetLenSq() const { return x * x + y * y + z * z + w * w; }
    float GetLen() const { return std::sqrt(GetLenSq()); }
    static float GetDistSq(const TVector4 &a, const TVector4 &b) {
        const float dx = a.x - b.x, dy = a.y - b.y, dz = a.z - b.z, dw = a.w - b.w;
        return dx * dx + dy * dy + dz * dz + dw * dw;
    }
    static float GetDist(const TVector4 &a, const TVector4 &b) {
        return std::sqrt(GetDistSq(a, b));
    }
    int GetSigns() const {
        return (x < 0.0f ? 1 : 0) | (y < 0.0f ? 2 : 0) | (z < 0.0f ? 4 : 0) | (w < 0.0f ? 8 : 0);
    }

    float GetMax() const { return (*this)[GetMaxIdx()]; }
    float GetMin() const { return (*this)[GetMinIdx()]; }
    float GetAbsMax() const { return std::fabs((*this)[GetAbsMaxIdx()]); }
    float GetAbsMin() const { return std::fabs((*this)[GetAbsMinIdx()]); }
    /// Equal values give the first, as for TVector3.
    int GetMaxIdx() const;
    /// Equal values give the later, as for TVector3.
    int GetMinIdx() const;
    /// A tie of x and y gives y, a tie with a later component the earlier, as for TVector3.
    int GetAbsMaxIdx() const;
    int GetAbsMinIdx() const;

    void Set(float x_, float y_, float z_, float w_) { x = x_, y = y_, z = z_, w = w_; }
    void SetAdd(const TVector4 &a, const TVector4 &b) {
        x = a.x + b.x, y = a.y + b.y, z = a.z + b.z, w = a.w + b.w;
    }
    void SetSub(const TVector4 &a, const TVector4 &b) {
        x = a.x - b.x, y = a.y - b.y, z = a.z - b.z, w = a.w - b.w;
    }
    void SetNeg(const TVector4 &a) { x = -a.x, y = -a.y, z = -a.z, w = -a.w; }
    void SetMul(const TVector4 &a, float s) { x = a.x * s, y = a.y * s, z = a.z * s, w = a.w * s; }
    void SetMul(const TVector4 &a, const TVector4 &b) {
        x = a.x * b.x, y = a.y * b.y, z = a.z * b.z, w = a.w * b.w;
    }
    /// All four components.
    void SetMul(const TVector4 &a, const TMatrix4 &m);
    /// w taken as 1; no divide.
    void SetMul(const TVector3 &a, const TMatrix4 &m);
    void SetAddMul(const TVector4 &a, const TVector4 &b, float s) {
        x = a.x + b.x * s, y = a.y + b.y * s, z = a.z + b.z * s, w = a.w + b.w * s;
    }
    void SetInterpolate(const TVector4 &a, const TVector4 &b, float t) {
        x = a.x + (b.x - a.x) * t, y = a.y + (b.y - a.y) * t;
        z = a.z + (b.z - a.z) * t, w = a.w + (b.w - a.w) * t;
    }
    void SetAverage(const TVector4 &a, const TVector4 &b) {
        x = (a.x + b.x) * 0.5f, y = (a.y + b.y) * 0.5f;
        z = (a.z + b.z) * 0.5f, w = (a.w + b.w) * 0.5f;
    }
    float SetNorm(const TVector4 &a) {
        const float lenSq = a.GetLenSq();
        if (lenSq <= vlib::detail::kNormEpsilonSq) {
            x = y = z = w = 0.0f;
            return lenSq;
        }
        const float len = std::sqrt(lenSq);
        const float inv = 1.0f / len;
        x = a.x * inv, y = a.y * inv, z = a.z * inv, w = a.w * inv;
        return len;
    }

    void Add(const TVector4 &b) { SetAdd(*this, b); }
    void Sub(const TVector4 &b) { SetSub(*this, b); }
    void Neg() { SetNeg(*this); }
    void Mul(float s) { SetMul(*this, s); }
    void Mul(const TVector4 &b) { SetMul(*this, b); }
    void Mul(const TMatrix4 &m) { SetMul(*this, m); }
    void AddMul(const TVector4 &b, float s) { SetAddMul(*this, b, s); }
    void Interpolate(const TVector4 &b, float t) { SetInterpolate(*this, b, t); }
    void Average(const TVector4 &b) { SetAverage(*this, b); }
    float Norm() { return SetNorm(*this); }
    void Div(float s) { Mul(1.0f / s); }

    void Min(const TVector4 &b) {
        x = b.x < x ? b.x : x, y = b.y < y ? b.y : y;
        z = b.z < z ? b.z : z, w = b.w < w ? b.w : w;
    }
    void Max(const TVector4 &b) {
        x = b.x > x ? b.x : x, y = b.y > y ? b.y : y;
        z = b.z > z ? b.z : z, w = b.w > w ? b.w : w;
    }
    void NudgeLower(const TVector4 &b) { Min(b); }
    void NudgeHigher(const TVector4 &b) { Max(b); }
    void Clip(float low, float high) {
        for (int i = 0; i < 4; ++i)
            (*this)[i] = vlib::detail::ClipComponent((*this)[i], low, high);
    }
    void Clip(const TVector4 &low, const TVector4 &high) {
        for (int i = 0; i < 4; ++i)
            (*this)[i] = vlib::detail::ClipComponent((*this)[i], low[i], high[i]);
    }
    void RoundOff(float step) {
        const float inv = 1.0f / step;
        for (int i = 0; i < 4; ++i)
            (*this)[i] = vlib::detail::RoundComponent((*this)[i], step, inv);
    }

    bool GetX(float *out) const { return *out = x, true; }
    bool GetY(float *out) const { return *out = y, true; }
    bool GetZ(float *out) const { return *out = z, true; }
    bool SetX(const float *in) { return x = *in, true; }
    bool SetY(const float *in) { return y = *in, true; }
    bool SetZ(const float *in) { return z = *in, true; }
};

static_assert(sizeof(TVector2) == 8 && std::is_trivially_copyable_v<TVector2>);
static_assert(sizeof(TVector3) == 12 && std::is_trivially_copyable_v<TVector3>);
static_assert(sizeof(TVector4) == 16 && std::is_trivially_copyable_v<TVector4>);
