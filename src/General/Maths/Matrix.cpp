// The out-of-line matrix operations: products of the small sizes, inverses, constructions of
// standard forms, projections and checks. Determinants and inverses are computed in double and
// narrowed when stored, so that near-singular input loses as little as it can.
#include "General/Maths/Matrix.h"

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

constexpr double kSingular = 1e-15;
constexpr float kPi = 3.1415927f;

/// 1 / det, or 0 when the determinant is within 1e-15 of 0.
double InverseFactor(double det) {
    return std::fabs(det) <= kSingular ? 0.0 : 1.0 / det;
}

/// Element-wise helpers over a matrix seen as n floats.
template <class M> void AddElements(M &out, const M &a, const M &b) {
    constexpr int n = sizeof(M) / sizeof(float);
    const float *pa = &a.m[0][0], *pb = &b.m[0][0];
    float *po = &out.m[0][0];
    for (int i = 0; i < n; ++i)
        po[i] = pa[i] + pb[i];
}
template <class M> void SubElements(M &out, const M &a, const M &b) {
    constexpr int n = sizeof(M) / sizeof(float);
    const float *pa = &a.m[0][0], *pb = &b.m[0][0];
    float *po = &out.m[0][0];
    for (int i = 0; i < n; ++i)
        po[i] = pa[i] - pb[i];
}
template <class M> void ScaleElements(M &out, const M &a, float s) {
    constexpr int n = sizeof(M) / sizeof(float);
    const float *pa = &a.m[0][0];
    float *po = &out.m[0][0];
    for (int i = 0; i < n; ++i)
        po[i] = pa[i] * s;
}
template <class M> bool EqualElements(const M &a, const M &b) {
    constexpr int n = sizeof(M) / sizeof(float);
    const float *pa = &a.m[0][0], *pb = &b.m[0][0];
    for (int i = 0; i < n; ++i)
        if (pa[i] != pb[i])
            return false;
    return true;
}
template <class M> float DifferenceElements(const M &a, const M &b) {
    constexpr int n = sizeof(M) / sizeof(float);
    const float *pa = &a.m[0][0], *pb = &b.m[0][0];
    double sum = 0.0;
    for (int i = 0; i < n; ++i) {
        const double d = double(pa[i]) - pb[i];
        sum += d * d;
    }
    return float(sum);
}
template <class M> void InterpolateElements(M &out, float s, const M &b, float t) {
    constexpr int n = sizeof(M) / sizeof(float);
    const float *pb = &b.m[0][0];
    float *po = &out.m[0][0];
    for (int i = 0; i < n; ++i)
        po[i] = po[i] * s + pb[i] * t;
}
template <class M> void AddScaledElements(M &out, const M &b, float t) {
    constexpr int n = sizeof(M) / sizeof(float);
    const float *pb = &b.m[0][0];
    float *po = &out.m[0][0];
    for (int i = 0; i < n; ++i)
        po[i] += pb[i] * t;
}

/// Determinant of the 3 by 3 block of rows r0..r2 and columns c0..c2 of any row-major matrix.
template <class M> double Minor3(const M &a, int r0, int r1, int r2, int c0, int c1, int c2) {
    return double(a.m[r0][c0]) *
               (double(a.m[r1][c1]) * a.m[r2][c2] - double(a.m[r1][c2]) * a.m[r2][c1]) -
           double(a.m[r0][c1]) *
               (double(a.m[r1][c0]) * a.m[r2][c2] - double(a.m[r1][c2]) * a.m[r2][c0]) +
           double(a.m[r0][c2]) *
               (double(a.m[r1][c0]) * a.m[r2][c1] - double(a.m[r1][c1]) * a.m[r2][c0]);
}

/// Adjugate of a 3 by 3 block (rows and columns 0..2) in double.
template <class M> void Adjugate3(const M &a, double adj[3][3]) {
    adj[0][0] = double(a.m[1][1]) * a.m[2][2] - double(a.m[1][2]) * a.m[2][1];
    adj[0][1] = double(a.m[0][2]) * a.m[2][1] - double(a.m[0][1]) * a.m[2][2];
    adj[0][2] = double(a.m[0][1]) * a.m[1][2] - double(a.m[0][2]) * a.m[1][1];
    adj[1][0] = double(a.m[1][2]) * a.m[2][0] - double(a.m[1][0]) * a.m[2][2];
    adj[1][1] = double(a.m[0][0]) * a.m[2][2] - double(a.m[0][2]) * a.m[2][0];
    adj[1][2] = double(a.m[0][2]) * a.m[1][0] - double(a.m[0][0]) * a.m[1][2];
    adj[2][0] = double(a.m[1][0]) * a.m[2][1] - double(a.m[1][1]) * a.m[2][0];
    adj[2][1] = double(a.m[0][1]) * a.m[2][0] - double(a.m[0][0]) * a.m[2][1];
    adj[2][2] = double(a.m[0][0]) * a.m[1][1] - double(a.m[0][1]) * a.m[1][0];
}

template <class M> double Det3(const M &a) {
    return Minor3(a, 0, 1, 2, 0, 1, 2);
}

/// Column lengths of the upper 3 by 3.
template <class M> TVector3 ColumnLengths(const M &a) {
    TVector3 s;
    for (int c = 0; c < 3; ++c) {
        const double sq = double(a.m[0][c]) * a.m[0][c] + double(a.m[1][c]) * a.m[1][c] +
                          double(a.m[2][c]) * a.m[2][c];
        s[c] = float(std::sqrt(sq));
    }
    return s;
}

/// Writes the elements of the rotations about one axis into the upper 3 by 3 (rest untouched).
template <class M> void SetRotateX(M &a, float angle) {
    const float c = std::cos(angle), s = std::sin(angle);
    a.m[0][0] = 1.0f, a.m[0][1] = 0.0f, a.m[0][2] = 0.0f;
    a.m[1][0] = 0.0f, a.m[1][1] = c, a.m[1][2] = s;
    a.m[2][0] = 0.0f, a.m[2][1] = -s, a.m[2][2] = c;
}
template <class M> void SetRotateY(M &a, float angle) {
    const float c = std::cos(angle), s = std::sin(angle);
    a.m[0][0] = c, a.m[0][1] = 0.0f, a.m[0][2] = -s;
    a.m[1][0] = 0.0f, a.m[1][1] = 1.0f, a.m[1][2] = 0.0f;
    a.m[2][0] = s, a.m[2][1] = 0.0f, a.m[2][2] = c;
}
template <class M> void SetRotateZ(M &a, float angle) {
    const float c = std::cos(angle), s = std::sin(angle);
    a.m[0][0] = c, a.m[0][1] = s, a.m[0][2] = 0.0f;
    a.m[1][0] = -s, a.m[1][1] = c, a.m[1][2] = 0.0f;
    a.m[2][0] = 0.0f, a.m[2][1] = 0.0f, a.m[2][2] = 1.0f;
}
template <class M> void SetRotateAxis(M &a, const TVector3 &axis, float angle) {
    const float c = std::cos(angle), s = std::sin(angle), k = 1.0f - c;
    const float x = axis.x, y = axis.y, z = axis.z;
    a.m[0][0] = x * x * k + c, a.m[0][1] = x * y * k + s * z, a.m[0][2] = x * z * k - s * y;
    a.m[1][0] = x * y * k - s * z, a.m[1][1] = y * y * k + c, a.m[1][2] = y * z * k + s * x;
    a.m[2][0] = x * z * k + s * y, a.m[2][1] = y * z * k - s * x, a.m[2][2] = z * z * k + c;
}

/// The rotation between unit vectors into the upper 3 by 3; parallel vectors give the identity,
/// opposite ones the half turn about X.
template <class M> void SetRotationBetween(M &out, const TVector3 &a, const TVector3 &b) {
    TVector3 v;
    v.SetCross(a, b);
    const float e = a.GetDot(b);
    const float s = v.GetDot(v);
    if (s <= 1e-15f) {
        if (e < 0.0f) {
            SetRotateX(out, kPi);
        } else {
            for (int r = 0; r < 3; ++r)
                for (int c = 0; c < 3; ++c)
                    out.m[r][c] = r == c ? 1.0f : 0.0f;
        }
        return;
    }
    const float h = (1.0f - e) / s;
    out.m[0][0] = e + h * v.x * v.x;
    out.m[0][1] = h * v.x * v.y - v.z;
    out.m[0][2] = h * v.x * v.z + v.y;
    out.m[1][0] = h * v.x * v.y + v.z;
    out.m[1][1] = e + h * v.y * v.y;
    out.m[1][2] = h * v.y * v.z - v.x;
    out.m[2][0] = h * v.x * v.z - v.y;
    out.m[2][1] = h * v.y * v.z + v.x;
    out.m[2][2] = e + h * v.z * v.z;
}

/// The upper 3 by 3 of a view matrix and its translation row.
template <class M>
void SetView(M &out, const TVector3 &eye, const TVector3 &target, const TVector3 &up) {
    TVector3 forward, right, up2;
    forward.SetSub(target, eye);
    forward.Norm();
    right.SetCross(up, forward);
    right.Norm();
    up2.SetCross(forward, right);
    up2.Norm();
    for (int r = 0; r < 3; ++r) {
        out.m[r][0] = right[r];
        out.m[r][1] = up2[r];
        out.m[r][2] = forward[r];
    }
    out.m[3][0] = -right.GetDot(eye);
    out.m[3][1] = -up2.GetDot(eye);
    out.m[3][2] = -forward.GetDot(eye);
}

/// this = this * R for a rotation that mixes columns i and j: R[i][i] = c, R[i][j] = s,
/// R[j][i] = -s, R[j][j] = c.
template <class M> void PostRotateColumns(M &a, int rows, int i, int j, float angle) {
    const float c = std::cos(angle), s = std::sin(angle);
    for (int r = 0; r < rows; ++r) {
        const float ai = a.m[r][i], aj = a.m[r][j];
        a.m[r][i] = ai * c - aj * s;
        a.m[r][j] = ai * s + aj * c;
    }
}

/// this = this * R for a 3 by 3 rotation, on the first three columns of `rows` rows.
template <class M> void PostRotate3(M &a, int rows, const TMatrix3 &rot) {
    for (int r = 0; r < rows; ++r) {
        const float a0 = a.m[r][0], a1 = a.m[r][1], a2 = a.m[r][2];
        for (int c = 0; c < 3; ++c)
            a.m[r][c] = a0 * rot.m[0][c] + a1 * rot.m[1][c] + a2 * rot.m[2][c];
    }
}

} // namespace

// TMatrix2 ------------------------------------------------------------------------------------

const TMatrix2 TMatrix2::StaticI(1.0f, 0.0f, 0.0f, 1.0f);
const TMatrix2 TMatrix2::StaticZero(0.0f, 0.0f, 0.0f, 0.0f);

void TMatrix2::SetAdd(const TMatrix2 &a, const TMatrix2 &b) {
    AddElements(*this, a, b);
}
void TMatrix2::SetSub(const TMatrix2 &a, const TMatrix2 &b) {
    SubElements(*this, a, b);
}
void TMatrix2::SetNeg(const TMatrix2 &a) {
    ScaleElements(*this, a, -1.0f);
}
void TMatrix2::SetMul(const TMatrix2 &a, float s) {
    ScaleElements(*this, a, s);
}

void TMatrix2::SetMul(const TMatrix2 &a, const TMatrix2 &b) {
    const float r00 = a.m00 * b.m00 + a.m01 * b.m10, r01 = a.m00 * b.m01 + a.m01 * b.m11;
    const float r10 = a.m10 * b.m00 + a.m11 * b.m10, r11 = a.m10 * b.m01 + a.m11 * b.m11;
    Set(r00, r01, r10, r11);
}

void TMatrix2::SetTranspose(const TMatrix2 &a) {
    Set(a.m00, a.m10, a.m01, a.m11);
}

float TMatrix2::GetDet() const {
    return float(double(m00) * m11 - double(m01) * m10);
}

void TMatrix2::SetAdj(const TMatrix2 &a) {
    Set(a.m11, -a.m01, -a.m10, a.m00);
}

void TMatrix2::SetInv(const TMatrix2 &a) {
    const double f = InverseFactor(double(a.m00) * a.m11 - double(a.m01) * a.m10);
    Set(float(a.m11 * f), float(-a.m01 * f), float(-a.m10 * f), float(a.m00 * f));
}

void TMatrix2::MakeRotate(float angle) {
    const float c = std::cos(angle), s = std::sin(angle);
    Set(c, s, -s, c);
}

bool TMatrix2::IsEqual(const TMatrix2 &b) const {
    return EqualElements(*this, b);
}
float TMatrix2::GetDifference(const TMatrix2 &b) const {
    return DifferenceElements(*this, b);
}
void TMatrix2::Interpolate(const TMatrix2 &b, float t) {
    AddScaledElements(*this, b, t);
}
void TMatrix2::Interpolate(float s, const TMatrix2 &b, float t) {
    InterpolateElements(*this, s, b, t);
}

// TMatrix3 ------------------------------------------------------------------------------------

const TMatrix3 TMatrix3::StaticI(1, 0, 0, 0, 1, 0, 0, 0, 1);
const TMatrix3 TMatrix3::StaticZero(0, 0, 0, 0, 0, 0, 0, 0, 0);

void TMatrix3::SetAdd(const TMatrix3 &a, const TMatrix3 &b) {
    AddElements(*this, a, b);
}
void TMatrix3::SetSub(const TMatrix3 &a, const TMatrix3 &b) {
    SubElements(*this, a, b);
}
void TMatrix3::SetNeg(const TMatrix3 &a) {
    ScaleElements(*this, a, -1.0f);
}
void TMatrix3::SetMul(const TMatrix3 &a, float s) {
    ScaleElements(*this, a, s);
}

void TMatrix3::SetMul(const TMatrix3 &a, const TMatrix3 &b) {
    TMatrix3 r;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            r.m[i][j] = a.m[i][0] * b.m[0][j] + a.m[i][1] * b.m[1][j] + a.m[i][2] * b.m[2][j];
    *this = r;
}

void TMatrix3::SetTranspose(const TMatrix3 &a) {
    TMatrix3 r;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            r.m[i][j] = a.m[j][i];
    *this = r;
}

float TMatrix3::GetDet() const {
    return float(Det3(*this));
}

void TMatrix3::SetAdj(const TMatrix3 &a) {
    double adj[3][3];
    Adjugate3(a, adj);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            m[i][j] = float(adj[i][j]);
}

void TMatrix3::SetInv(const TMatrix3 &a) {
    double adj[3][3];
    Adjugate3(a, adj);
    const double f = InverseFactor(Det3(a));
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            m[i][j] = float(adj[i][j] * f);
}

void TMatrix3::MakeI() {
    *this = StaticI;
}
void TMatrix3::MakeZero() {
    *this = StaticZero;
}

void TMatrix3::MakeScale(const TVector3 &s) {
    *this = StaticZero;
    m00 = s.x, m11 = s.y, m22 = s.z;
}

void TMatrix3::MakeRows(const TVector3 &r0, const TVector3 &r1, const TVector3 &r2) {
    *this = TMatrix3(r0.x, r0.y, r0.z, r1.x, r1.y, r1.z, r2.x, r2.y, r2.z);
}

void TMatrix3::MakeColumns(const TVector3 &c0, const TVector3 &c1, const TVector3 &c2) {
    *this = TMatrix3(c0.x, c1.x, c2.x, c0.y, c1.y, c2.y, c0.z, c1.z, c2.z);
}

void TMatrix3::MakeRotateX(float angle) {
    SetRotateX(*this, angle);
}
void TMatrix3::MakeRotateY(float angle) {
    SetRotateY(*this, angle);
}
void TMatrix3::MakeRotateZ(float angle) {
    SetRotateZ(*this, angle);
}
void TMatrix3::MakeRotateAxis(const TVector3 &axis, float angle) {
    SetRotateAxis(*this, axis, angle);
}

void TMatrix3::MakeTranslate(const TVector2 &t) {
    *this = StaticI;
    m20 = t.x, m21 = t.y;
}

void TMatrix3::MakeEuler(const TVector3 &v) {
    const float cx = std::cos(v.x), sx = std::sin(v.x);
    const float cy = std::cos(v.y), sy = std::sin(v.y);
    const float cz = std::cos(v.z), sz = std::sin(v.z);
    m00 = cz * cy, m01 = -sz * cy, m02 = -sy;
    m10 = sz * cx - sy * sx * cz, m11 = sy * sx * sz + cz * cx, m12 = -cy * sx;
    m20 = sy * cx * cz + sz * sx, m21 = cz * sx - sy * cx * sz, m22 = cy * cx;
}

void TMatrix3::GetEuler(TVector3 &v) const {
    const double y = -std::asin(double(m02));
    const double cy = std::cos(y);
    v.y = float(y);
    if (std::fabs(cy) <= 1e-15) {
        v.x = 0.0f;
        v.z = float(std::atan2(double(m10), double(m11)));
        return;
    }
    v.x = float(std::atan2(-m12 / cy, m22 / cy));
    v.z = float(std::atan2(-m01 / cy, m00 / cy));
}

void TMatrix3::MakeRotationBetweenUnitVectors(const TVector3 &a, const TVector3 &b) {
    SetRotationBetween(*this, a, b);
}

void TMatrix3::PostRotateX(float angle) {
    PostRotateColumns(*this, 3, 1, 2, angle);
}
void TMatrix3::PostRotateY(float angle) {
    PostRotateColumns(*this, 3, 2, 0, angle);
}
void TMatrix3::PostRotateZ(float angle) {
    PostRotateColumns(*this, 3, 0, 1, angle);
}

void TMatrix3::PostScale(const TVector3 &s) {
    for (int r = 0; r < 3; ++r)
        m[r][0] *= s.x, m[r][1] *= s.y, m[r][2] *= s.z;
}

void TMatrix3::PreScale(const TVector3 &s) {
    for (int c = 0; c < 3; ++c)
        m[0][c] *= s.x, m[1][c] *= s.y, m[2][c] *= s.z;
}

void TMatrix3::PostTranslate(const TVector2 &t) {
    for (int r = 0; r < 3; ++r) {
        m[r][0] += m[r][2] * t.x;
        m[r][1] += m[r][2] * t.y;
    }
}

float TMatrix3::SetUnit(const TMatrix3 &a) {
    const double len =
        std::sqrt(double(a.m02) * a.m02 + double(a.m12) * a.m12 + double(a.m22) * a.m22);
    const float f = len <= 1e-15 ? 0.0f : float(1.0 / len);
    ScaleElements(*this, a, f);
    return float(len);
}

float TMatrix3::MakeUnit3(const TMatrix4 &a) {
    TMatrix3 r;
    a.GetRotate(r);
    return SetUnit(r);
}

float TMatrix3::MakeUnit3(const TMatrix43 &a) {
    TMatrix3 r;
    a.GetRotate(r);
    return SetUnit(r);
}

TVector3 TMatrix3::GetScale() const {
    return ColumnLengths(*this);
}
bool TMatrix3::IsEqual(const TMatrix3 &b) const {
    return EqualElements(*this, b);
}
float TMatrix3::GetDifference(const TMatrix3 &b) const {
    return DifferenceElements(*this, b);
}
void TMatrix3::Interpolate(const TMatrix3 &b, float t) {
    AddScaledElements(*this, b, t);
}
void TMatrix3::Interpolate(float s, const TMatrix3 &b, float t) {
    InterpolateElements(*this, s, b, t);
}

// TMatrix4 ------------------------------------------------------------------------------------

const TMatrix4 TMatrix4::StaticI(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1);
const TMatrix4 TMatrix4::StaticZero(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);

void TMatrix4::SetAdd(const TMatrix4 &a, const TMatrix4 &b) {
    AddElements(*this, a, b);
}
void TMatrix4::SetSub(const TMatrix4 &a, const TMatrix4 &b) {
    SubElements(*this, a, b);
}
void TMatrix4::SetNeg(const TMatrix4 &a) {
    ScaleElements(*this, a, -1.0f);
}
void TMatrix4::SetMul(const TMatrix4 &a, float s) {
    ScaleElements(*this, a, s);
}

void TMatrix4::SetTranspose(const TMatrix4 &a) {
    TMatrix4 r;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            r.m[i][j] = a.m[j][i];
    *this = r;
}

namespace {

/// The signed minor of element (row, column) of a 4 by 4 matrix, in double.
double Cofactor4(const TMatrix4 &a, int row, int column) {
    int rows[3], cols[3];
    for (int i = 0, k = 0; i < 4; ++i)
        if (i != row)
            rows[k++] = i;
    for (int i = 0, k = 0; i < 4; ++i)
        if (i != column)
            cols[k++] = i;
    const double minor = Minor3(a, rows[0], rows[1], rows[2], cols[0], cols[1], cols[2]);
    return ((row + column) & 1) ? -minor : minor;
}

double Det4(const TMatrix4 &a) {
    double det = 0.0;
    for (int c = 0; c < 4; ++c)
        det += double(a.m[0][c]) * Cofactor4(a, 0, c);
    return det;
}

} // namespace

float TMatrix4::GetDet() const {
    return float(Det4(*this));
}
float TMatrix4::GetCofactor(int row, int column) const {
    return float(Cofactor4(*this, row, column));
}

void TMatrix4::SetAdj(const TMatrix4 &a) {
    TMatrix4 r;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            r.m[j][i] = float(Cofactor4(a, i, j));
    *this = r;
}

void TMatrix4::SetInv(const TMatrix4 &a) {
    double cof[4][4];
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            cof[i][j] = Cofactor4(a, i, j);
    double det = 0.0;
    for (int c = 0; c < 4; ++c)
        det += double(a.m[0][c]) * cof[0][c];
    const double f = InverseFactor(det);
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            m[j][i] = float(cof[i][j] * f);
}

void TMatrix4::MakeI() {
    *this = StaticI;
}
void TMatrix4::MakeZero() {
    *this = StaticZero;
}

void TMatrix4::MakeScale(const TVector3 &s) {
    *this = StaticI;
    m00 = s.x, m11 = s.y, m22 = s.z;
}

void TMatrix4::MakeRows(const TVector4 &r0, const TVector4 &r1, const TVector4 &r2,
                        const TVector4 &r3) {
    const TVector4 *rows[4] = {&r0, &r1, &r2, &r3};
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            m[i][j] = (*rows[i])[j];
}

void TMatrix4::MakeRows(const TVector3 &r0, const TVector3 &r1, const TVector3 &r2,
                        const TVector3 &r3) {
    MakeRows(TVector4(r0.x, r0.y, r0.z, 0.0f), TVector4(r1.x, r1.y, r1.z, 0.0f),
             TVector4(r2.x, r2.y, r2.z, 0.0f), TVector4(r3.x, r3.y, r3.z, 1.0f));
}

void TMatrix4::MakeColumns(const TVector4 &c0, const TVector4 &c1, const TVector4 &c2,
                           const TVector4 &c3) {
    MakeRows(c0, c1, c2, c3);
    Transpose();
}

void TMatrix4::MakeRotate(const TMatrix3 &r) {
    *this = StaticI;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            m[i][j] = r.m[i][j];
}

void TMatrix4::MakeRotateX(float angle) {
    *this = StaticI;
    SetRotateX(*this, angle);
}
void TMatrix4::MakeRotateY(float angle) {
    *this = StaticI;
    SetRotateY(*this, angle);
}
void TMatrix4::MakeRotateZ(float angle) {
    *this = StaticI;
    SetRotateZ(*this, angle);
}
void TMatrix4::MakeRotateAxis(const TVector3 &axis, float angle) {
    *this = StaticI;
    SetRotateAxis(*this, axis, angle);
}

void TMatrix4::MakeTranslate(const TVector3 &t) {
    *this = StaticI;
    SetTranslate(t);
}

void TMatrix4::MakeAffine(const TMatrix43 &a) {
    for (int i = 0; i < 4; ++i) {
        m[i][0] = a.m[i][0], m[i][1] = a.m[i][1], m[i][2] = a.m[i][2];
        m[i][3] = i == 3 ? 1.0f : 0.0f;
    }
}

void TMatrix4::MakeView(const TVector3 &eye, const TVector3 &target, const TVector3 &up) {
    SetView(*this, eye, target, up);
    m03 = m13 = m23 = 0.0f;
    m33 = 1.0f;
}

void TMatrix4::MakeProjection(float nearPlane, float farPlane, float fov, float aspect) {
    const double half = double(fov) * 0.5;
    const double f = std::cos(half) / std::sin(half);
    const double q = double(farPlane) / (double(farPlane) - nearPlane);
    *this = StaticZero;
    m00 = float(f / aspect);
    m11 = float(f);
    m22 = float(q);
    m23 = 1.0f;
    m32 = float(-q * nearPlane);
}

void TMatrix4::MakeProjectionOrthographic(float nearPlane, float farPlane, float width,
                                          float height) {
    const double depth = double(farPlane) - nearPlane;
    *this = StaticZero;
    m00 = float(2.0 / width);
    m11 = float(2.0 / height);
    m22 = float(1.0 / depth);
    m32 = float(-nearPlane / depth);
    m33 = 1.0f;
}

void TMatrix4::GetPlanes(float &nearPlane, float &farPlane) const {
    const double n = -double(m32) / m22;
    nearPlane = float(n);
    farPlane = float(n * m22 / (double(m22) - 1.0));
}

void TMatrix4::NudgeProjPlanes(float nearScale, float farScale) {
    float n, f;
    GetPlanes(n, f);
    const double nn = double(n) * nearScale, ff = double(f) * farScale;
    const double q = ff / (ff - nn);
    m22 = float(q);
    m32 = float(-q * nn);
}

void TMatrix4::MakeRotationBetweenUnitVectors(const TVector3 &a, const TVector3 &b) {
    *this = StaticI;
    SetRotationBetween(*this, a, b);
}

bool TMatrix4::IsGoodWorldTrans() const {
    if (m03 != 0.0f || m13 != 0.0f || m23 != 0.0f)
        return false;
    if (std::fabs(m33 - 1.0f) > FLT_EPSILON)
        return false;
    if (Det4(*this) < 0.0)
        return false;
    const float *e = &m[0][0];
    for (int i = 0; i < 16; ++i) {
        uint32_t bits;
        std::memcpy(&bits, &e[i], sizeof bits);
        // The default quiet NaN that x87 and SSE produce for invalid operations.
        if (bits == 0xFFC00000u || std::fabs(e[i]) > 1e15f)
            return false;
    }
    for (int i = 0; i < 12; ++i)
        if (e[i] != 0.0f)
            return true;
    return false;
}

void TMatrix4::PostRotate(const TMatrix3 &r) {
    PostRotate3(*this, 4, r);
}
void TMatrix4::PostRotateX(float angle) {
    PostRotateColumns(*this, 4, 1, 2, angle);
}
void TMatrix4::PostRotateY(float angle) {
    PostRotateColumns(*this, 4, 2, 0, angle);
}
void TMatrix4::PostRotateZ(float angle) {
    PostRotateColumns(*this, 4, 0, 1, angle);
}

void TMatrix4::PostScale(const TVector3 &s) {
    for (int r = 0; r < 4; ++r)
        m[r][0] *= s.x, m[r][1] *= s.y, m[r][2] *= s.z;
}

void TMatrix4::PreScale(const TVector3 &s) {
    for (int c = 0; c < 4; ++c)
        m[0][c] *= s.x, m[1][c] *= s.y, m[2][c] *= s.z;
}

void TMatrix4::PostTranslate(const TVector3 &t) {
    for (int r = 0; r < 4; ++r) {
        m[r][0] += m[r][3] * t.x;
        m[r][1] += m[r][3] * t.y;
        m[r][2] += m[r][3] * t.z;
    }
}

void TMatrix4::GetRotate(TMatrix3 &r) const {
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            r.m[i][j] = m[i][j];
}

TVector3 TMatrix4::GetScale() const {
    return ColumnLengths(*this);
}
bool TMatrix4::IsEqual(const TMatrix4 &b) const {
    return EqualElements(*this, b);
}
float TMatrix4::GetDifference(const TMatrix4 &b) const {
    return DifferenceElements(*this, b);
}
void TMatrix4::Interpolate(const TMatrix4 &b, float t) {
    AddScaledElements(*this, b, t);
}
void TMatrix4::Interpolate(float s, const TMatrix4 &b, float t) {
    InterpolateElements(*this, s, b, t);
}

int TMatrix4::FormatDebug(char *buffer, size_t size) const {
    return std::snprintf(buffer, size,
                         "[%g %g %g %g]\n[%g %g %g %g]\n[%g %g %g %g]\n[%g %g %g %g]\n", m00, m01,
                         m02, m03, m10, m11, m12, m13, m20, m21, m22, m23, m30, m31, m32, m33);
}

// TMatrix43 -----------------------------------------------------------------------------------

const TMatrix43 TMatrix43::StaticI(1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0);
const TMatrix43 TMatrix43::StaticZero(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);

void TMatrix43::SetAdd(const TMatrix43 &a, const TMatrix43 &b) {
    AddElements(*this, a, b);
}
void TMatrix43::SetSub(const TMatrix43 &a, const TMatrix43 &b) {
    SubElements(*this, a, b);
}
void TMatrix43::SetNeg(const TMatrix43 &a) {
    ScaleElements(*this, a, -1.0f);
}
void TMatrix43::SetMul(const TMatrix43 &a, float s) {
    ScaleElements(*this, a, s);
}

void TMatrix43::SetMul(const TMatrix43 &a, const TMatrix43 &b) {
    TMatrix43 r;
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 3; ++j) {
            float v = a.m[i][0] * b.m[0][j] + a.m[i][1] * b.m[1][j] + a.m[i][2] * b.m[2][j];
            if (i == 3)
                v += b.m[3][j];
            r.m[i][j] = v;
        }
    }
    *this = r;
}

void TMatrix43::MakeTranspose(float *out) const {
    for (int c = 0; c < 3; ++c)
        for (int r = 0; r < 4; ++r)
            out[c * 4 + r] = m[r][c];
}

float TMatrix43::GetDet() const {
    return float(Det3(*this));
}

namespace {

/// out = the given 3 by 3 factor applied to a's upper block, translation -t * that block.
void AffineFromBlock(TMatrix43 &out, const TMatrix43 &a, const double block[3][3]) {
    const double tx = a.m30, ty = a.m31, tz = a.m32;
    TMatrix43 r;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            r.m[i][j] = float(block[i][j]);
    for (int j = 0; j < 3; ++j)
        r.m[3][j] = float(-(tx * block[0][j] + ty * block[1][j] + tz * block[2][j]));
    out = r;
}

} // namespace

void TMatrix43::SetInv(const TMatrix43 &a) {
    double block[3][3];
    Adjugate3(a, block);
    const double f = InverseFactor(Det3(a));
    for (auto &row : block)
        for (double &v : row)
            v *= f;
    AffineFromBlock(*this, a, block);
}

void TMatrix43::SetAdj(const TMatrix43 &a) {
    double block[3][3];
    Adjugate3(a, block);
    AffineFromBlock(*this, a, block);
}

void TMatrix43::MakeI() {
    *this = StaticI;
}
void TMatrix43::MakeZero() {
    *this = StaticZero;
}

void TMatrix43::MakeScale(const TVector3 &s) {
    *this = StaticI;
    m00 = s.x, m11 = s.y, m22 = s.z;
}

void TMatrix43::MakeRows(const TVector3 &r0, const TVector3 &r1, const TVector3 &r2,
                         const TVector3 &r3) {
    *this = TMatrix43(r0.x, r0.y, r0.z, r1.x, r1.y, r1.z, r2.x, r2.y, r2.z, r3.x, r3.y, r3.z);
}

void TMatrix43::MakeRotate(const TMatrix3 &r) {
    *this = StaticI;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            m[i][j] = r.m[i][j];
}

void TMatrix43::MakeRotateX(float angle) {
    *this = StaticI;
    SetRotateX(*this, angle);
}
void TMatrix43::MakeRotateY(float angle) {
    *this = StaticI;
    SetRotateY(*this, angle);
}
void TMatrix43::MakeRotateZ(float angle) {
    *this = StaticI;
    SetRotateZ(*this, angle);
}
void TMatrix43::MakeRotateAxis(const TVector3 &axis, float angle) {
    *this = StaticI;
    SetRotateAxis(*this, axis, angle);
}

void TMatrix43::MakeTranslate(const TVector3 &t) {
    *this = StaticI;
    SetTranslate(t);
}

void TMatrix43::MakeAffine(const TMatrix4 &a) {
    for (int i = 0; i < 4; ++i)
        m[i][0] = a.m[i][0], m[i][1] = a.m[i][1], m[i][2] = a.m[i][2];
}

void TMatrix43::MakeView(const TVector3 &eye, const TVector3 &target, const TVector3 &up) {
    SetView(*this, eye, target, up);
}

void TMatrix43::MakeRotationBetweenUnitVectors(const TVector3 &a, const TVector3 &b) {
    *this = StaticI;
    SetRotationBetween(*this, a, b);
}

void TMatrix43::PostRotate(const TMatrix3 &r) {
    PostRotate3(*this, 4, r);
}
void TMatrix43::PostRotateX(float angle) {
    PostRotateColumns(*this, 4, 1, 2, angle);
}
void TMatrix43::PostRotateY(float angle) {
    PostRotateColumns(*this, 4, 2, 0, angle);
}
void TMatrix43::PostRotateZ(float angle) {
    PostRotateColumns(*this, 4, 0, 1, angle);
}

void TMatrix43::PostScale(const TVector3 &s) {
    for (int r = 0; r < 4; ++r)
        m[r][0] *= s.x, m[r][1] *= s.y, m[r][2] *= s.z;
}

void TMatrix43::PreScale(const TVector3 &s) {
    for (int c = 0; c < 3; ++c)
        m[0][c] *= s.x, m[1][c] *= s.y, m[2][c] *= s.z;
}

void TMatrix43::GetRotate(TMatrix3 &r) const {
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            r.m[i][j] = m[i][j];
}

TVector3 TMatrix43::GetScale() const {
    return ColumnLengths(*this);
}
bool TMatrix43::IsEqual(const TMatrix43 &b) const {
    return EqualElements(*this, b);
}
float TMatrix43::GetDifference(const TMatrix43 &b) const {
    return DifferenceElements(*this, b);
}
void TMatrix43::Interpolate(const TMatrix43 &b, float t) {
    AddScaledElements(*this, b, t);
}
void TMatrix43::Interpolate(float s, const TMatrix43 &b, float t) {
    InterpolateElements(*this, s, b, t);
}
