// Quaternions that carry rotations, with w stored first. Their rotation matrices are written for
// column vectors on the right; used with the row-vector matrices of Matrix.h they turn by the
// inverse, which is why the affine decomposition transposes them.
#pragma once

#include "General/Core/Export.h"
#include "General/Maths/Matrix.h"
#include "General/Maths/Vector.h"

#include <type_traits>

/// A quaternion (w, x, y, z); unit quaternions are rotations.
class VLIB_API TQuaternion {
public:
    float w, x, y, z;

    /// (1, 0, 0, 0).
    static const TQuaternion IDENTITY;
    /// (0, 0, 0, 0).
    static const TQuaternion ZERO;
    /// The tolerance of Exp, Log and Slerp.
    static constexpr float Tolerance = 0.001f;

    /// Leaves the components unset.
    TQuaternion() = default;
    constexpr TQuaternion(float w_, float x_, float y_, float z_) : w(w_), x(x_), y(y_), z(z_) {}
    /// A turn of angle radians about a unit axis.
    TQuaternion(const TVector3 &axis, float angle) { FromAngleAxis(angle, axis); }

    void FromAngleAxis(const float &angle, const TVector3 &axis);
    /// Angle 0 and axis (1, 0, 0) when the vector part is zero.
    void ToAngleAxis(float &angle, TVector3 &axis) const;
    void FromRotationMatrix(const TMatrix3 &m);
    void FromRotationMatrix(const TMatrix4 &m);
    /// The rotation matrix for a column vector on the right.
    void ToRotationMatrix(TMatrix3 &m) const;
    /// As the 3 by 3 form, with the rest zero and m33 = 1.
    void ToRotationMatrix(TMatrix4 &m) const;
    void MakeUnitXRotation(const TVector3 &v);
    void MakeUnitYRotation(const TVector3 &v);
    void MakeUnitZRotation(const TVector3 &v);
    /// The rotation from unit vector a to unit vector b.
    void MakeRotationBetweenUnitVectors(const TVector3 &a, const TVector3 &b);

    TQuaternion operator+(const TQuaternion &q) const {
        return TQuaternion(w + q.w, x + q.x, y + q.y, z + q.z);
    }
    TQuaternion operator-(const TQuaternion &q) const {
        return TQuaternion(w - q.w, x - q.x, y - q.y, z - q.z);
    }
    TQuaternion operator-() const { return TQuaternion(-w, -x, -y, -z); }
    /// The Hamilton product, this on the left.
    TQuaternion operator*(const TQuaternion &q) const {
        return TQuaternion(
            w * q.w - x * q.x - y * q.y - z * q.z, w * q.x + x * q.w + y * q.z - z * q.y,
            w * q.y + y * q.w + z * q.x - x * q.z, w * q.z + z * q.w + x * q.y - y * q.x);
    }
    TQuaternion operator*(float s) const { return TQuaternion(w * s, x * s, y * s, z * s); }
    friend TQuaternion operator*(float s, const TQuaternion &q) { return q * s; }
    /// The vector turned by the rotation matrix, as a column on its right.
    TVector3 operator*(const TVector3 &v) const;
    bool operator==(const TQuaternion &q) const {
        return w == q.w && x == q.x && y == q.y && z == q.z;
    }
    bool operator!=(const TQuaternion &q) const { return !(*this == q); }

    float Dot(const TQuaternion &q) const { return w * q.w + x * q.x + y * q.y + z * q.z; }
    /// The squared length, without a square root.
    float Norm() const { return w * w + x * x + y * y + z * z; }
    /// ZERO when Norm is not above 0.
    TQuaternion Inverse() const;
    /// The conjugate.
    TQuaternion UnitInverse() const { return TQuaternion(w, -x, -y, -z); }
    TQuaternion Exp() const;
    TQuaternion Log() const;

    /// Spherical interpolation; no flip to the shorter arc, and nearly equal or opposite
    /// inputs give p.
    static TQuaternion Slerp(float t, const TQuaternion &p, const TQuaternion &q);
    /// The inner control points of a spline through q0, q1, q2.
    static void Intermediate(const TQuaternion &q0, const TQuaternion &q1, const TQuaternion &q2,
                             TQuaternion &a, TQuaternion &b);
    static TQuaternion Squad(float t, const TQuaternion &p, const TQuaternion &a,
                             const TQuaternion &b, const TQuaternion &q);

    /// From (heading, pitch, roll) in x, y, z.
    void SetHeadingPitchRoll(const TVector3 &v);
    void GetHeadingPitchRoll(TVector3 &v) const;

    /// Entries of the rotation matrix: (m00, m10, m12).
    void GetUnitXRotVector(TVector3 &v) const;
    /// (m10, m11, m12).
    void GetUnitYRotVector(TVector3 &v) const;
    /// (m02, m12, m22).
    void GetUnitZRotVector(TVector3 &v) const;
};

static_assert(sizeof(TQuaternion) == 16 && std::is_trivially_copyable_v<TQuaternion>);
