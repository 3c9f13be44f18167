// Quaternion conversions and interpolation. Slerp and the products are in float, as they run
// per bone per frame; conversions from matrices use double where square roots meet
// differences of nearly equal values.
#include "General/Maths/Quaternion.h"

#include <cmath>

const TQuaternion TQuaternion::IDENTITY(1.0f, 0.0f, 0.0f, 0.0f);
const TQuaternion TQuaternion::ZERO(0.0f, 0.0f, 0.0f, 0.0f);

namespace {

/// FromRotationMatrix on the 3 by 3 block of either matrix size.
template <class M> TQuaternion QuaternionFromBlock(const M &m) {
    const double trace = double(m.m[0][0]) + m.m[1][1] + m.m[2][2];
    if (trace > 0.0) {
        const double r = std::sqrt(trace + 1.0);
        const double s = 0.5 / r;
        return TQuaternion(float(r * 0.5), float((double(m.m[2][1]) - m.m[1][2]) * s),
                           float((double(m.m[0][2]) - m.m[2][0]) * s),
                           float((double(m.m[1][0]) - m.m[0][1]) * s));
    }
    static const int kNext[3] = {1, 2, 0};
    int i = 0;
    if (m.m[1][1] > m.m[0][0])
        i = 1;
    if (m.m[2][2] > m.m[i][i])
        i = 2;
    const int j = kNext[i], k = kNext[j];
    const double r = std::sqrt(double(m.m[i][i]) - m.m[j][j] - m.m[k][k] + 1.0);
    const double s = 0.5 / r;
    float v[3];
    v[i] = float(r * 0.5);
    v[j] = float((double(m.m[i][j]) + m.m[j][i]) * s);
    v[k] = float((double(m.m[i][k]) + m.m[k][i]) * s);
    return TQuaternion(float((double(m.m[k][j]) - m.m[j][k]) * s), v[0], v[1], v[2]);
}

template <class M> void BlockFromQuaternion(const TQuaternion &q, M &m) {
    const float x2 = q.x + q.x, y2 = q.y + q.y, z2 = q.z + q.z;
    const float wx = q.w * x2, wy = q.w * y2, wz = q.w * z2;
    const float xx = q.x * x2, xy = q.x * y2, xz = q.x * z2;
    const float yy = q.y * y2, yz = q.y * z2, zz = q.z * z2;
    m.m[0][0] = 1.0f - (yy + zz), m.m[0][1] = xy - wz, m.m[0][2] = xz + wy;
    m.m[1][0] = xy + wz, m.m[1][1] = 1.0f - (xx + zz), m.m[1][2] = yz - wx;
    m.m[2][0] = xz - wy, m.m[2][1] = yz + wx, m.m[2][2] = 1.0f - (xx + yy);
}

TQuaternion HalfTurn(double theta, int slot) {
    const float c = float(std::cos(theta * 0.5)), s = float(std::sin(theta * 0.5));
    TQuaternion q(c, 0.0f, 0.0f, 0.0f);
    (slot == 0 ? q.x : slot == 1 ? q.y : q.z) = s;
    return q;
}

} // namespace

void TQuaternion::FromAngleAxis(const float &angle, const TVector3 &axis) {
    const float half = angle * 0.5f;
    const float s = std::sin(half);
    w = std::cos(half);
    x = s * axis.x, y = s * axis.y, z = s * axis.z;
}

void TQuaternion::ToAngleAxis(float &angle, TVector3 &axis) const {
    const float lenSq = x * x + y * y + z * z;
    if (!(lenSq > 0.0f)) {
        angle = 0.0f;
        axis.Set(1.0f, 0.0f, 0.0f);
        return;
    }
    const float cw = w < -1.0f ? -1.0f : (w > 1.0f ? 1.0f : w);
    angle = 2.0f * std::acos(cw);
    const float inv = 1.0f / std::sqrt(lenSq);
    axis.Set(x * inv, y * inv, z * inv);
}

void TQuaternion::FromRotationMatrix(const TMatrix3 &m) {
    *this = QuaternionFromBlock(m);
}
void TQuaternion::FromRotationMatrix(const TMatrix4 &m) {
    *this = QuaternionFromBlock(m);
}

void TQuaternion::ToRotationMatrix(TMatrix3 &m) const {
    BlockFromQuaternion(*this, m);
}

void TQuaternion::ToRotationMatrix(TMatrix4 &m) const {
    m = TMatrix4::StaticI;
    BlockFromQuaternion(*this, m);
}

void TQuaternion::MakeUnitXRotation(const TVector3 &v) {
    *this = HalfTurn(std::atan2(double(v.z), double(v.x)), 1);
}
void TQuaternion::MakeUnitYRotation(const TVector3 &v) {
    *this = HalfTurn(std::atan2(double(v.x), double(v.y)), 2);
}
void TQuaternion::MakeUnitZRotation(const TVector3 &v) {
    *this = HalfTurn(std::atan2(double(v.y), double(v.z)), 0);
}

void TQuaternion::MakeRotationBetweenUnitVectors(const TVector3 &a, const TVector3 &b) {
    TVector3 axis;
    axis.SetCross(b, a);
    if (axis.GetLenSq() <= 1e-15f) {
        // Parallel: any axis perpendicular enough will do; take the one after a's largest
        // component, the later index on a tie.
        int k = 0;
        for (int i = 1; i < 3; ++i)
            if (std::fabs(a[i]) >= std::fabs(a[k]))
                k = i;
        axis.Set(0.0f, 0.0f, 0.0f);
        axis[(k + 1) % 3] = 1.0f;
    } else {
        axis.Norm();
    }
    float c = a.GetDot(b);
    c = c < -1.0f ? -1.0f : (c > 1.0f ? 1.0f : c);
    const float s = std::sqrt((1.0f - c) * 0.5f);
    w = std::sqrt((1.0f + c) * 0.5f);
    x = axis.x * s, y = axis.y * s, z = axis.z * s;
}

TVector3 TQuaternion::operator*(const TVector3 &v) const {
    TMatrix3 m;
    ToRotationMatrix(m);
    return TVector3(m.m00 * v.x + m.m01 * v.y + m.m02 * v.z,
                    m.m10 * v.x + m.m11 * v.y + m.m12 * v.z,
                    m.m20 * v.x + m.m21 * v.y + m.m22 * v.z);
}

TQuaternion TQuaternion::Inverse() const {
    const float n = Norm();
    if (!(n > 0.0f))
        return ZERO;
    const float inv = 1.0f / n;
    return TQuaternion(w * inv, -x * inv, -y * inv, -z * inv);
}

TQuaternion TQuaternion::Exp() const {
    const float angle = std::sqrt(x * x + y * y + z * z);
    const float s = std::sin(angle);
    TQuaternion r(std::cos(angle), x, y, z);
    if (std::fabs(s) >= Tolerance) {
        const float k = s / angle;
        r.x *= k, r.y *= k, r.z *= k;
    }
    return r;
}

TQuaternion TQuaternion::Log() const {
    TQuaternion r(0.0f, x, y, z);
    if (std::fabs(w) < 1.0f) {
        const float angle = std::acos(w);
        const float s = std::sin(angle);
        if (std::fabs(s) >= Tolerance) {
            const float k = angle / s;
            r.x *= k, r.y *= k, r.z *= k;
        }
    }
    return r;
}

TQuaternion TQuaternion::Slerp(float t, const TQuaternion &p, const TQuaternion &q) {
    const float c = p.Dot(q);
    const float s = std::fabs(std::sqrt(std::fabs(1.0f - c * c)));
    if (!(s >= Tolerance))
        return p;
    // atan2(s, c) with s = sqrt(1 - c^2) >= 0 is acos(c), which costs less.
    const float angle = std::acos(c < -1.0f ? -1.0f : (c > 1.0f ? 1.0f : c));
    const float inv = 1.0f / s;
    const float kp = std::sin((1.0f - t) * angle) * inv;
    const float kq = std::sin(t * angle) * inv;
    return TQuaternion(p.w * kp + q.w * kq, p.x * kp + q.x * kq, p.y * kp + q.y * kq,
                       p.z * kp + q.z * kq);
}

void TQuaternion::Intermediate(const TQuaternion &q0, const TQuaternion &q1, const TQuaternion &q2,
                               TQuaternion &a, TQuaternion &b) {
    const TQuaternion p0 = q0.UnitInverse() * q1;
    const TQuaternion p1 = q1.UnitInverse() * q2;
    const TQuaternion arg = (p0.Log() - p1.Log()) * 0.25f;
    a = q1 * arg.Exp();
    b = q1 * (-arg).Exp();
}

TQuaternion TQuaternion::Squad(float t, const TQuaternion &p, const TQuaternion &a,
                               const TQuaternion &b, const TQuaternion &q) {
    return Slerp(2.0f * t * (1.0f - t), Slerp(t, p, q), Slerp(t, a, b));
}

void TQuaternion::SetHeadingPitchRoll(const TVector3 &v) {
    const double ch = std::cos(double(v.x)), sh = std::sin(double(v.x));
    const double cp = std::cos(double(v.y)), sp = std::sin(double(v.y));
    const double cr = std::cos(double(v.z)), sr = std::sin(double(v.z));
    const TMatrix3 m(float(cr * ch - sr * sp * sh), float(-cr * sh - sr * sp * ch), float(-sr * cp),
                     float(cp * sh), float(cp * ch), float(-sp), float(sp * cr * sh + sr * ch),
                     float(sp * cr * ch - sr * sh), float(cr * cp));
    FromRotationMatrix(m);
}

void TQuaternion::GetHeadingPitchRoll(TVector3 &v) const {
    TMatrix3 m;
    ToRotationMatrix(m);
    const float m12 = m.m12 < -1.0f ? -1.0f : (m.m12 > 1.0f ? 1.0f : m.m12);
    v.y = float(std::asin(-double(m12)));
    if (std::fabs(m.m12) < 0.999f) {
        v.x = float(std::atan2(double(m.m10), double(m.m11)));
        v.z = float(std::atan2(-double(m.m02), double(m.m22)));
    } else {
        v.x = float(std::atan2(double(m.m20), double(m.m21)));
        v.z = 0.0f;
    }
}

void TQuaternion::GetUnitXRotVector(TVector3 &v) const {
    TMatrix3 m;
    ToRotationMatrix(m);
    v.Set(m.m00, m.m10, m.m12);
}

void TQuaternion::GetUnitYRotVector(TVector3 &v) const {
    TMatrix3 m;
    ToRotationMatrix(m);
    v.Set(m.m10, m.m11, m.m12);
}

void TQuaternion::GetUnitZRotVector(TVector3 &v) const {
    TMatrix3 m;
    ToRotationMatrix(m);
    v.Set(m.m02, m.m12, m.m22);
}
