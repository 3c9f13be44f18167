// Matrices of 32-bit floats stored row by row: TMatrix2, TMatrix3, TMatrix4 and TMatrix43 (an
// affine 4 by 4 with the last column (0, 0, 0, 1) left out). Row vectors multiply from the left,
// so the translation lives in row 3 and in a product A * B the transform A acts first.
// Degenerate input never fails: singular inverses give the zero matrix, and so on.
#pragma once

#include "General/Core/Export.h"
#include "General/Maths/Vector.h"

#include <cstddef>
#include <type_traits>
#include <xmmintrin.h>

/// A 2 by 2 matrix: linear maps of the plane.
class VLIB_API TMatrix2 {
public:
    union {
        float m[2][2];
        struct {
            float m00, m01, m10, m11;
        };
    };

    static const TMatrix2 StaticI;
    static const TMatrix2 StaticZero;

    /// Leaves the elements unset.
    TMatrix2() = default;
    TMatrix2(float a00, float a01, float a10, float a11) { Set(a00, a01, a10, a11); }

    float *operator[](int i) { return m[i]; }
    const float *operator[](int i) const { return m[i]; }
    TVector2 GetRow(int i) const { return TVector2(m[i][0], m[i][1]); }
    TVector2 GetColumn(int i) const { return TVector2(m[0][i], m[1][i]); }

    void Set(float a00, float a01, float a10, float a11) {
        m00 = a00, m01 = a01, m10 = a10, m11 = a11;
    }
    void SetAdd(const TMatrix2 &a, const TMatrix2 &b);
    void SetSub(const TMatrix2 &a, const TMatrix2 &b);
    void SetNeg(const TMatrix2 &a);
    void SetMul(const TMatrix2 &a, float s);
    /// The matrix product a * b; this may be a or b.
    void SetMul(const TMatrix2 &a, const TMatrix2 &b);
    void Add(const TMatrix2 &b) { SetAdd(*this, b); }
    void Sub(const TMatrix2 &b) { SetSub(*this, b); }
    void Neg() { SetNeg(*this); }
    void Mul(float s) { SetMul(*this, s); }
    void Mul(const TMatrix2 &b) { SetMul(*this, b); }
    void SetTranspose(const TMatrix2 &a);
    void Transpose() { SetTranspose(*this); }

    float GetDet() const;
    /// The inverse; a determinant within 1e-15 of 0 gives the zero matrix.
    void SetInv(const TMatrix2 &a);
    void Inv() { SetInv(*this); }
    /// The adjugate (transposed cofactors).
    void SetAdj(const TMatrix2 &a);
    void Adj() { SetAdj(*this); }

    void MakeI() { Set(1.0f, 0.0f, 0.0f, 1.0f); }
    void MakeZero() { Set(0.0f, 0.0f, 0.0f, 0.0f); }
    void MakeScale(float s) { Set(s, 0.0f, 0.0f, s); }
    void MakeScale(const TVector2 &s) { Set(s.x, 0.0f, 0.0f, s.y); }
    void MakeRows(const TVector2 &r0, const TVector2 &r1) { Set(r0.x, r0.y, r1.x, r1.y); }
    void MakeColumns(const TVector2 &c0, const TVector2 &c1) { Set(c0.x, c1.x, c0.y, c1.y); }
    /// A turn by angle radians: (1, 0) goes to (cos, sin).
    void MakeRotate(float angle);

    bool IsEqual(const TMatrix2 &b) const;
    /// The sum of squared element differences.
    float GetDifference(const TMatrix2 &b) const;
    /// Adds t * b element by element.
    void Interpolate(const TMatrix2 &b, float t);
    /// s * this + t * b.
    void Interpolate(float s, const TMatrix2 &b, float t);
};

/// A 3 by 3 matrix: rotations and scales in space, or affine maps of the plane.
class VLIB_API TMatrix3 {
public:
    union {
        float m[3][3];
        struct {
            float m00, m01, m02, m10, m11, m12, m20, m21, m22;
        };
    };

    static const TMatrix3 StaticI;
    static const TMatrix3 StaticZero;

    /// Leaves the elements unset.
    TMatrix3() = default;
    TMatrix3(float a00, float a01, float a02, float a10, float a11, float a12, float a20, float a21,
             float a22) {
        m00 = a00, m01 = a01, m02 = a02;
        m10 = a10, m11 = a11, m12 = a12;
        m20 = a20, m21 = a21, m22 = a22;
    }

    float *operator[](int i) { return m[i]; }
    const float *operator[](int i) const { return m[i]; }
    TVector3 GetRow(int i) const { return TVector3(m[i][0], m[i][1], m[i][2]); }
    TVector3 GetColumn(int i) const { return TVector3(m[0][i], m[1][i], m[2][i]); }

    void SetAdd(const TMatrix3 &a, const TMatrix3 &b);
    void SetSub(const TMatrix3 &a, const TMatrix3 &b);
    void SetNeg(const TMatrix3 &a);
    void SetMul(const TMatrix3 &a, float s);
    /// The matrix product a * b; this may be a or b.
    void SetMul(const TMatrix3 &a, const TMatrix3 &b);
    void Add(const TMatrix3 &b) { SetAdd(*this, b); }
    void Sub(const TMatrix3 &b) { SetSub(*this, b); }
    void Neg() { SetNeg(*this); }
    void Mul(float s) { SetMul(*this, s); }
    void Mul(const TMatrix3 &b) { SetMul(*this, b); }
    void SetTranspose(const TMatrix3 &a);
    void Transpose() { SetTranspose(*this); }

    float GetDet() const;
    float GetTrace() const { return m00 + m11 + m22; }
    /// The inverse; a determinant within 1e-15 of 0 gives the zero matrix.
    void SetInv(const TMatrix3 &a);
    void Inv() { SetInv(*this); }
    void SetAdj(const TMatrix3 &a);
    void Adj() { SetAdj(*this); }

    void MakeI();
    void MakeZero();
    void MakeScale(float s) { MakeScale(TVector3(s, s, s)); }
    void MakeScale(const TVector3 &s);
    void MakeRows(const TVector3 &r0, const TVector3 &r1, const TVector3 &r2);
    void MakeColumns(const TVector3 &c0, const TVector3 &c1, const TVector3 &c2);
    /// A turn about z, which is also the plane rotation of a 2D affine transform.
    void MakeRotate(float angle) { MakeRotateZ(angle); }
    void MakeRotateX(float angle);
    void MakeRotateY(float angle);
    void MakeRotateZ(float angle);
    /// A turn about a unit axis.
    void MakeRotateAxis(const TVector3 &axis, float angle);
    /// The 2D affine translation: row 2 becomes (t.x, t.y, 1).
    void MakeTranslate(const TVector2 &t);
    /// The rotation from Euler angles (x, y, z).
    void MakeEuler(const TVector3 &v);
    /// The Euler angles (x, y, z) of a rotation.
    void GetEuler(TVector3 &v) const;
    /// A rotation taking unit vector a towards b; parallel vectors give the identity, and
    /// opposite ones a half turn about X.
    void MakeRotationBetweenUnitVectors(const TVector3 &a, const TVector3 &b);

    /// This = this * the transform, on the right.
    void PostRotate(const TMatrix3 &r) { SetMul(*this, r); }
    void PostRotateX(float angle);
    void PostRotateY(float angle);
    void PostRotateZ(float angle);
    void PostScale(const TVector3 &s);
    void PreScale(const TVector3 &s);
    /// The 2D affine translation after the present transform.
    void PostTranslate(const TVector2 &t);

    /// Scales all nine elements by 1 / the length of column 2 (0 if that length is at most
    /// 1e-15) and returns the length.
    float SetUnit(const TMatrix3 &a);
    float Unit() { return SetUnit(*this); }
    float MakeUnit3(const TMatrix4 &a);
    float MakeUnit3(const TMatrix43 &a);

    /// The lengths of the three columns.
    TVector3 GetScale() const;
    float GetMaxScale() const { return GetScale().GetMax(); }
    bool IsEqual(const TMatrix3 &b) const;
    float GetDifference(const TMatrix3 &b) const;
    void Interpolate(const TMatrix3 &b, float t);
    void Interpolate(float s, const TMatrix3 &b, float t);
};

/// A 4 by 4 matrix: projections, views and general homogeneous transforms.
class VLIB_API TMatrix4 {
public:
    union {
        float m[4][4];
        struct {
            float m00, m01, m02, m03, m10, m11, m12, m13, m20, m21, m22, m23, m30, m31, m32, m33;
        };
    };

    static const TMatrix4 StaticI;
    static const TMatrix4 StaticZero;

    /// Leaves the elements unset.
    TMatrix4() = default;
    TMatrix4(float a00, float a01, float a02, float a03, float a10, float a11, float a12, float a13,
             float a20, float a21, float a22, float a23, float a30, float a31, float a32,
             float a33) {
        m00 = a00, m01 = a01, m02 = a02, m03 = a03;
        m10 = a10, m11 = a11, m12 = a12, m13 = a13;
        m20 = a20, m21 = a21, m22 = a22, m23 = a23;
        m30 = a30, m31 = a31, m32 = a32, m33 = a33;
    }

    float *operator[](int i) { return m[i]; }
    const float *operator[](int i) const { return m[i]; }
    TVector4 GetRow(int i) const { return TVector4(m[i][0], m[i][1], m[i][2], m[i][3]); }
    TVector4 GetColumn(int i) const { return TVector4(m[0][i], m[1][i], m[2][i], m[3][i]); }

    void SetAdd(const TMatrix4 &a, const TMatrix4 &b);
    void SetSub(const TMatrix4 &a, const TMatrix4 &b);
    void SetNeg(const TMatrix4 &a);
    void SetMul(const TMatrix4 &a, float s);
    /// The matrix product a * b; this may be a or b.
    void SetMul(const TMatrix4 &a, const TMatrix4 &b) {
        // Row i of the product is the rows of b weighted by the elements of row i of a. All
        // four rows are formed before any is stored, so this may be a or b.
        const __m128 b0 = _mm_loadu_ps(b.m[0]), b1 = _mm_loadu_ps(b.m[1]);
        const __m128 b2 = _mm_loadu_ps(b.m[2]), b3 = _mm_loadu_ps(b.m[3]);
        const __m128 r0 = CombineRows(_mm_loadu_ps(a.m[0]), b0, b1, b2, b3);
        const __m128 r1 = CombineRows(_mm_loadu_ps(a.m[1]), b0, b1, b2, b3);
        const __m128 r2 = CombineRows(_mm_loadu_ps(a.m[2]), b0, b1, b2, b3);
        const __m128 r3 = CombineRows(_mm_loadu_ps(a.m[3]), b0, b1, b2, b3);
        _mm_storeu_ps(m[0], r0);
        _mm_storeu_ps(m[1], r1);
        _mm_storeu_ps(m[2], r2);
        _mm_storeu_ps(m[3], r3);
    }
    void Add(const TMatrix4 &b) { SetAdd(*this, b); }
    void Sub(const TMatrix4 &b) { SetSub(*this, b); }
    void Neg() { SetNeg(*this); }
    void Mul(float s) { SetMul(*this, s); }
    void Mul(const TMatrix4 &b) { SetMul(*this, b); }
    void SetTranspose(const TMatrix4 &a);
    void Transpose() { SetTranspose(*this); }

    float GetDet() const;
    float GetTrace() const { return m00 + m11 + m22 + m33; }
    /// The signed 3 by 3 minor of the element at (row, column).
    float GetCofactor(int row, int column) const;
    /// The inverse by cofactors; a determinant within 1e-15 of 0 gives the zero matrix.
    void SetInv(const TMatrix4 &a);
    void Inv() { SetInv(*this); }
    /// The transposed matrix of cofactors.
    void SetAdj(const TMatrix4 &a);
    void Adj() { SetAdj(*this); }

    void MakeI();
    void MakeZero();
    void MakeScale(float s) { MakeScale(TVector3(s, s, s)); }
    void MakeScale(const TVector3 &s);
    void MakeRows(const TVector4 &r0, const TVector4 &r1, const TVector4 &r2, const TVector4 &r3);
    /// Rows of three; the fourth column is (0, 0, 0, 1).
    void MakeRows(const TVector3 &r0, const TVector3 &r1, const TVector3 &r2, const TVector3 &r3);
    void MakeColumns(const TVector4 &c0, const TVector4 &c1, const TVector4 &c2,
                     const TVector4 &c3);
    /// The rotation r in the upper 3 by 3, identity elsewhere.
    void MakeRotate(const TMatrix3 &r);
    void MakeRotateX(float angle);
    void MakeRotateY(float angle);
    void MakeRotateZ(float angle);
    void MakeRotateAxis(const TVector3 &axis, float angle);
    void MakeTranslate(const TVector3 &t);
    /// The full form of an affine matrix.
    void MakeAffine(const TMatrix43 &a);
    /// A left-handed view from eye towards target: +Z looks into the screen.
    void MakeView(const TVector3 &eye, const TVector3 &target, const TVector3 &up);
    /// A perspective projection; depth maps to 0 at the near plane and 1 at the far plane.
    void MakeProjection(float nearPlane, float farPlane, float fov, float aspect);
    void MakeProjectionOrthographic(float nearPlane, float farPlane, float width, float height);
    /// The near and far planes of a perspective matrix.
    void GetPlanes(float &nearPlane, float &farPlane) const;
    /// Scales the near and far planes of a perspective matrix.
    void NudgeProjPlanes(float nearScale, float farScale);
    void MakeRotationBetweenUnitVectors(const TVector3 &a, const TVector3 &b);
    /// True for a sound world transform: affine, positive, finite and not collapsed.
    bool IsGoodWorldTrans() const;

    void PostRotate(const TMatrix3 &r);
    void PostRotateX(float angle);
    void PostRotateY(float angle);
    void PostRotateZ(float angle);
    void PostScale(const TVector3 &s);
    void PreScale(const TVector3 &s);
    void PostTranslate(const TVector3 &t);

    /// The upper 3 by 3.
    void GetRotate(TMatrix3 &r) const;
    /// The first three floats of row 3.
    TVector3 &GetTranslate() { return *reinterpret_cast<TVector3 *>(m[3]); }
    const TVector3 &GetTranslate() const { return *reinterpret_cast<const TVector3 *>(m[3]); }
    void SetTranslate(const TVector3 &t) { m30 = t.x, m31 = t.y, m32 = t.z; }
    /// Row 3 whole.
    TVector4 GetHomogeneousTranslate() const { return GetRow(3); }
    /// The lengths of the three columns of the upper 3 by 3.
    TVector3 GetScale() const;
    float GetMaxScale() const { return GetScale().GetMax(); }
    bool IsEqual(const TMatrix4 &b) const;
    float GetDifference(const TMatrix4 &b) const;
    void Interpolate(const TMatrix4 &b, float t);
    void Interpolate(float s, const TMatrix4 &b, float t);

    /// Writes the matrix as four lines of text for the debug log; returns the length that
    /// snprintf gives.
    int FormatDebug(char *buffer, size_t size) const;

private:
    /// row.x * b0 + row.y * b1 + row.z * b2 + row.w * b3.
    static __m128 CombineRows(__m128 row, __m128 b0, __m128 b1, __m128 b2, __m128 b3) {
        const __m128 t0 = _mm_mul_ps(_mm_shuffle_ps(row, row, 0x00), b0);
        const __m128 t1 = _mm_mul_ps(_mm_shuffle_ps(row, row, 0x55), b1);
        const __m128 t2 = _mm_mul_ps(_mm_shuffle_ps(row, row, 0xAA), b2);
        const __m128 t3 = _mm_mul_ps(_mm_shuffle_ps(row, row, 0xFF), b3);
        return _mm_add_ps(_mm_add_ps(t0, t1), _mm_add_ps(t2, t3));
    }
};

/// An affine transform: four rows of three, the fourth column (0, 0, 0, 1) implied.
class VLIB_API TMatrix43 {
public:
    union {
        float m[4][3];
        struct {
            float m00, m01, m02, m10, m11, m12, m20, m21, m22, m30, m31, m32;
        };
    };

    static const TMatrix43 StaticI;
    static const TMatrix43 StaticZero;

    /// Leaves the elements unset.
    TMatrix43() = default;
    TMatrix43(float a00, float a01, float a02, float a10, float a11, float a12, float a20,
              float a21, float a22, float a30, float a31, float a32) {
        m00 = a00, m01 = a01, m02 = a02;
        m10 = a10, m11 = a11, m12 = a12;
        m20 = a20, m21 = a21, m22 = a22;
        m30 = a30, m31 = a31, m32 = a32;
    }

    float *operator[](int i) { return m[i]; }
    const float *operator[](int i) const { return m[i]; }
    TVector3 GetRow(int i) const { return TVector3(m[i][0], m[i][1], m[i][2]); }
    TVector4 GetColumn(int i) const { return TVector4(m[0][i], m[1][i], m[2][i], m[3][i]); }

    void SetAdd(const TMatrix43 &a, const TMatrix43 &b);
    void SetSub(const TMatrix43 &a, const TMatrix43 &b);
    void SetNeg(const TMatrix43 &a);
    void SetMul(const TMatrix43 &a, float s);
    /// The product of the full 4 by 4 forms; this may be a or b.
    void SetMul(const TMatrix43 &a, const TMatrix43 &b);
    void Add(const TMatrix43 &b) { SetAdd(*this, b); }
    void Sub(const TMatrix43 &b) { SetSub(*this, b); }
    void Neg() { SetNeg(*this); }
    void Mul(float s) { SetMul(*this, s); }
    void Mul(const TMatrix43 &b) { SetMul(*this, b); }
    /// Writes the transpose as three rows of four floats.
    void MakeTranspose(float *out) const;

    /// The determinant of the upper 3 by 3.
    float GetDet() const;
    float GetTrace() const { return m00 + m11 + m22; }
    /// The affine inverse; a singular upper 3 by 3 gives zeros there and in the translation.
    void SetInv(const TMatrix43 &a);
    void Inv() { SetInv(*this); }
    /// The adjugate of the upper 3 by 3, with the translation carried as in SetInv.
    void SetAdj(const TMatrix43 &a);
    void Adj() { SetAdj(*this); }

    void MakeI();
    void MakeZero();
    void MakeScale(float s) { MakeScale(TVector3(s, s, s)); }
    void MakeScale(const TVector3 &s);
    void MakeRows(const TVector3 &r0, const TVector3 &r1, const TVector3 &r2, const TVector3 &r3);
    void MakeRotate(const TMatrix3 &r);
    void MakeRotateX(float angle);
    void MakeRotateY(float angle);
    void MakeRotateZ(float angle);
    void MakeRotateAxis(const TVector3 &axis, float angle);
    void MakeTranslate(const TVector3 &t);
    /// The affine part of a 4 by 4 matrix; its fourth column is ignored.
    void MakeAffine(const TMatrix4 &a);
    void MakeView(const TVector3 &eye, const TVector3 &target, const TVector3 &up);
    void MakeRotationBetweenUnitVectors(const TVector3 &a, const TVector3 &b);

    void PostRotate(const TMatrix3 &r);
    void PostRotateX(float angle);
    void PostRotateY(float angle);
    void PostRotateZ(float angle);
    void PostScale(const TVector3 &s);
    void PreScale(const TVector3 &s);
    void PostTranslate(const TVector3 &t) { m30 += t.x, m31 += t.y, m32 += t.z; }

    void GetRotate(TMatrix3 &r) const;
    TVector3 &GetTranslate() { return *reinterpret_cast<TVector3 *>(m[3]); }
    const TVector3 &GetTranslate() const { return *reinterpret_cast<const TVector3 *>(m[3]); }
    void SetTranslate(const TVector3 &t) { m30 = t.x, m31 = t.y, m32 = t.z; }
    TVector3 GetScale() const;
    float GetMaxScale() const { return GetScale().GetMax(); }
    bool IsEqual(const TMatrix43 &b) const;
    float GetDifference(const TMatrix43 &b) const;
    void Interpolate(const TMatrix43 &b, float t);
    void Interpolate(float s, const TMatrix43 &b, float t);
};

static_assert(sizeof(TMatrix2) == 16 && std::is_trivially_copyable_v<TMatrix2>);
static_assert(sizeof(TMatrix3) == 36 && std::is_trivially_copyable_v<TMatrix3>);
static_assert(sizeof(TMatrix4) == 64 && std::is_trivially_copyable_v<TMatrix4>);
static_assert(sizeof(TMatrix43) == 48 && std::is_trivially_copyable_v<TMatrix43>);

// Vector by matrix products, inline because they sit in every transform loop.

inline void TVector2::SetMul(const TVector2 &a, const TMatrix2 &mat) {
    const float ax = a.x, ay = a.y;
    x = ax * mat.m00 + ay * mat.m10;
    y = ax * mat.m01 + ay * mat.m11;
}

inline void TVector2::SetMul(const TVector2 &a, const TMatrix3 &mat) {
    const float ax = a.x, ay = a.y;
    const float w = ax * mat.m02 + ay * mat.m12 + mat.m22;
    if (w >= -vlib::detail::kHomogeneousEpsilon && w <= vlib::detail::kHomogeneousEpsilon) {
        x = y = 0.0f;
        return;
    }
    const float inv = 1.0f / w;
    x = (ax * mat.m00 + ay * mat.m10 + mat.m20) * inv;
    y = (ax * mat.m01 + ay * mat.m11 + mat.m21) * inv;
}

inline void TVector3::SetMul(const TVector3 &a, const TMatrix3 &mat) {
    const float ax = a.x, ay = a.y, az = a.z;
    x = ax * mat.m00 + ay * mat.m10 + az * mat.m20;
    y = ax * mat.m01 + ay * mat.m11 + az * mat.m21;
    z = ax * mat.m02 + ay * mat.m12 + az * mat.m22;
}

inline void TVector3::SetMul(const TVector3 &a, const TMatrix43 &mat) {
    // Four lanes at once in the same order of operations as the scalar form. Rows of three
    // are read four floats at a time; the last row is read from m22 so that nothing past the
    // matrix is touched, and only three lanes are stored.
    const __m128 r0 = _mm_loadu_ps(&mat.m00);
    const __m128 r1 = _mm_loadu_ps(&mat.m10);
    const __m128 r2 = _mm_loadu_ps(&mat.m20);
    const __m128 tail = _mm_loadu_ps(&mat.m22); // m22 m30 m31 m32
    const __m128 r3 = _mm_shuffle_ps(tail, tail, _MM_SHUFFLE(3, 3, 2, 1));
    __m128 v = _mm_add_ps(_mm_mul_ps(_mm_set1_ps(a.x), r0), _mm_mul_ps(_mm_set1_ps(a.y), r1));
    v = _mm_add_ps(_mm_add_ps(v, _mm_mul_ps(_mm_set1_ps(a.z), r2)), r3);
    _mm_storel_pi(reinterpret_cast<__m64 *>(&x), v);
    _mm_store_ss(&z, _mm_movehl_ps(v, v));
}

inline void TVector3::SetMul(const TVector3 &a, const TMatrix4 &mat) {
    const float ax = a.x, ay = a.y, az = a.z;
    const float w = ax * mat.m03 + ay * mat.m13 + az * mat.m23 + mat.m33;
    if (w >= -vlib::detail::kHomogeneousEpsilon && w <= vlib::detail::kHomogeneousEpsilon) {
        x = y = z = 0.0f;
        return;
    }
    const float inv = 1.0f / w;
    x = (ax * mat.m00 + ay * mat.m10 + az * mat.m20 + mat.m30) * inv;
    y = (ax * mat.m01 + ay * mat.m11 + az * mat.m21 + mat.m31) * inv;
    z = (ax * mat.m02 + ay * mat.m12 + az * mat.m22 + mat.m32) * inv;
}

inline void TVector3::SetMulRot(const TVector3 &a, const TMatrix4 &mat) {
    const float ax = a.x, ay = a.y, az = a.z;
    x = ax * mat.m00 + ay * mat.m10 + az * mat.m20;
    y = ax * mat.m01 + ay * mat.m11 + az * mat.m21;
    z = ax * mat.m02 + ay * mat.m12 + az * mat.m22;
}

inline void TVector3::SetMulRot(const TVector3 &a, const TMatrix43 &mat) {
    const float ax = a.x, ay = a.y, az = a.z;
    x = ax * mat.m00 + ay * mat.m10 + az * mat.m20;
    y = ax * mat.m01 + ay * mat.m11 + az * mat.m21;
    z = ax * mat.m02 + ay * mat.m12 + az * mat.m22;
}

inline void TVector4::SetMul(const TVector4 &a, const TMatrix4 &mat) {
    const float ax = a.x, ay = a.y, az = a.z, aw = a.w;
    x = ax * mat.m00 + ay * mat.m10 + az * mat.m20 + aw * mat.m30;
    y = ax * mat.m01 + ay * mat.m11 + az * mat.m21 + aw * mat.m31;
    z = ax * mat.m02 + ay * mat.m12 + az * mat.m22 + aw * mat.m32;
    w = ax * mat.m03 + ay * mat.m13 + az * mat.m23 + aw * mat.m33;
}

inline void TVector4::SetMul(const TVector3 &a, const TMatrix4 &mat) {
    const float ax = a.x, ay = a.y, az = a.z;
    x = ax * mat.m00 + ay * mat.m10 + az * mat.m20 + mat.m30;
    y = ax * mat.m01 + ay * mat.m11 + az * mat.m21 + mat.m31;
    z = ax * mat.m02 + ay * mat.m12 + az * mat.m22 + mat.m32;
    w = ax * mat.m03 + ay * mat.m13 + az * mat.m23 + mat.m33;
}
