// Plane geometry on TVector2: line segments, polar vectors, distances from points to lines and
// segments, intersections, angle arithmetic and the small transforms built from them. Angles
// are radians; pi is the float 3.1415927, and "tiny" is the float 1e-15.
#pragma once

#include "General/Core/Export.h"
#include "General/Maths/Matrix.h"
#include "General/Maths/Vector.h"

#include <type_traits>

/// The turning direction of three points: clockwise, straight, anticlockwise.
enum TClockDir { ClockDir_AntiClockwise = -1, ClockDir_Straight = 0, ClockDir_Clockwise = 1 };

/// A segment with its unit direction and length; a zero-length one has direction (0, 0).
class VLIB_API T2DLineSegment {
public:
    TVector2 start, end;
    TVector2 direction;
    float length;

    T2DLineSegment() = default;
    T2DLineSegment(const TVector2 &a, const TVector2 &b) : start(a), end(b) {
        UnitLength(a, b, direction, length);
    }

    /// The unit direction and length from a to b; (0, 0) and 0 when the squared length is at
    /// or below tiny.
    static void UnitLength(const TVector2 &a, const TVector2 &b, TVector2 &dir, float &len);
    /// The squared distance from p; nearest gets the closest point and where 0 (start side),
    /// 1 (inside) or 2 (end side). Both may be null.
    float GetDistSq(const TVector2 &p, TVector2 *nearest, int *where) const;
    /// The point of this segment nearest to segment a-b; false when the boxes (grown by tol)
    /// miss or the nearest squared distance is not below tol.
    bool GetNearest(const TVector2 &a, const TVector2 &b, TVector2 &out, float tol) const;
};

/// A 2D vector as length and angle.
class VLIB_API TPolar2 {
public:
    float length, angle;

    TPolar2() : length(0.0f), angle(0.0f) {}
    TPolar2(float length_, float angle_) : length(length_), angle(angle_) {}
    explicit TPolar2(const TVector2 &v) { ConstructAccurate(v); }

    /// By atan2.
    void ConstructAccurate(const TVector2 &v);
    /// By the table arctangent.
    void ConstructFast(const TVector2 &v);
    TVector2 GetVector2() const;
    void ComponentAdd(const TPolar2 &o) { length += o.length, angle += o.angle; }
    void Mul(float s) { length *= s, angle *= s; }
    /// length -= o.length; angle becomes the signed shortest difference from o's angle.
    void ComponentSubToShortestAng(const TPolar2 &o);
};

static_assert(sizeof(T2DLineSegment) == 28 && std::is_trivially_copyable_v<T2DLineSegment>);
static_assert(sizeof(TPolar2) == 8 && std::is_trivially_copyable_v<TPolar2>);

/// Squared distance from p to the segment from a along unit dirNorm for len; nearest and where
/// (0 before the start, 1 inside, 2 at or past the end) may be null.
VLIB_API float GetVector2DistSqDirNorm(const TVector2 &p, const TVector2 &a,
                                       const TVector2 &dirNorm, float len,
                                       TVector2 *nearest = nullptr, int *where = nullptr);
VLIB_API float GetVector2DistDirNorm(const TVector2 &p, const TVector2 &a, const TVector2 &dirNorm,
                                     float len, TVector2 *nearest = nullptr);
/// To the segment a-b.
VLIB_API float GetVector2DistSq(const TVector2 &p, const TVector2 &a, const TVector2 &b,
                                TVector2 *nearest = nullptr);
VLIB_API float GetVector2Dist(const TVector2 &p, const TVector2 &a, const TVector2 &b,
                              TVector2 *nearest = nullptr);
/// To the segment from a along dir, whose length is the segment's.
VLIB_API float GetVector2DistSqDir(const TVector2 &p, const TVector2 &a, const TVector2 &dir,
                                   TVector2 *nearest = nullptr);
VLIB_API float GetVector2DistDir(const TVector2 &p, const TVector2 &a, const TVector2 &dir,
                                 TVector2 *nearest = nullptr);
/// To the endless line through a along unit dirNorm.
VLIB_API float GetVector2PerpDistSqDirNorm(const TVector2 &p, const TVector2 &a,
                                           const TVector2 &dirNorm);
VLIB_API float GetVector2PerpDistDirNorm(const TVector2 &p, const TVector2 &a,
                                         const TVector2 &dirNorm);
/// To the endless line through a and b.
VLIB_API float GetVector2PerpDistSq(const TVector2 &p, const TVector2 &a, const TVector2 &b);
VLIB_API float GetVector2PerpDist(const TVector2 &p, const TVector2 &a, const TVector2 &b);
/// To the endless line through a along dir (any length).
VLIB_API float GetVector2PerpDistSqDir(const TVector2 &p, const TVector2 &a, const TVector2 &dir);
VLIB_API float GetVector2PerpDistDir(const TVector2 &p, const TVector2 &a, const TVector2 &dir);
/// The distance between segments a0-a1 and b0-b1 measured from their end points (crossings are
/// not detected); nearA and nearB, which may be null, get the two closest points.
VLIB_API float GetVector2Dist(const TVector2 &a0, const TVector2 &a1, TVector2 *nearA,
                              const TVector2 &b0, const TVector2 &b1, TVector2 *nearB);

/// Intersection of the segments p + s dp and q + u dq. True when the lines cross (hit set,
/// onP and onQ saying whether it lies on each segment) or are collinear; false when parallel
/// and apart. All three outputs may be null.
VLIB_API bool Vector2Intersect2Dir(const TVector2 &p, const TVector2 &dp, const TVector2 &q,
                                   const TVector2 &dq, TVector2 *hit = nullptr, bool *onP = nullptr,
                                   bool *onQ = nullptr);
VLIB_API bool Vector2Intersect(const TVector2 &a0, const TVector2 &a1, const TVector2 &b0,
                               const TVector2 &b1, TVector2 *hit = nullptr, bool *onA = nullptr,
                               bool *onB = nullptr);
VLIB_API bool Vector2Intersect1Dir(const TVector2 &a0, const TVector2 &dirA, const TVector2 &b0,
                                   const TVector2 &b1, TVector2 *hit = nullptr, bool *onA = nullptr,
                                   bool *onB = nullptr);

/// Each component closer than tol.
VLIB_API bool Vector2Equal(const TVector2 &a, const TVector2 &b, float tol);
/// Squared distance below tol squared.
VLIB_API bool Vector2Near(const TVector2 &a, const TVector2 &b, float tol);
/// Equal to `digits` significant digits (0 to 6) of the largest component.
VLIB_API bool Vector2EqualMag(const TVector2 &a, const TVector2 &b, int digits);
VLIB_API bool Vector3EqualMag(const TVector3 &a, const TVector3 &b, int digits);
/// a equals b or -b to `digits` digits.
VLIB_API bool Vector2ParallelNorm(const TVector2 &a, const TVector2 &b, int digits);
/// The directions a0-a1 and b0-b1 are parallel to `digits` digits.
VLIB_API bool Vector2Parallel(const TVector2 &a0, const TVector2 &a1, const TVector2 &b0,
                              const TVector2 &b1, int digits);
/// The angle from a to b, 0 to 2 pi, anticlockwise.
VLIB_API float Vector2Angle(const TVector2 &a, const TVector2 &b);
/// The angle from (0, 1) to v, 0 to 2 pi.
VLIB_API float Angle(const TVector2 &v);
/// atan(y / x) brought into the quadrant of v, without normalising.
VLIB_API float FastAngle(const TVector2 &v);
/// Which way a, b, c turn.
VLIB_API TClockDir GetClockDir(const TVector2 &a, const TVector2 &b, const TVector2 &c);
/// The shorter way round from `from` to `to` and how far.
VLIB_API void GetCircularDistance(float from, float to, TClockDir &dir, float &dist);
/// origin + dist * (cos, sin) of angle.
VLIB_API void PointProject(const TVector2 &origin, TVector2 *out, float dist, float angle);
/// The angle from a forward to b, 0 to 2 pi.
VLIB_API float AngleDiff(float a, float b);
/// The unsigned smaller angle between a and b, 0 to pi.
VLIB_API float SmallAngleDiff(float a, float b);
/// The mean direction of two angles, 0 to 2 pi.
VLIB_API float AngleAverage(float a, float b);
/// v shifted by whole ranges into low .. high; v itself when the range is empty.
VLIB_API float WithinRange(float v, float low, float high);
/// The transform of a unit rod along x (from 0 to 1) onto the line from..to, with cross-section
/// size in y and z.
VLIB_API void GetLineTrans(const TVector3 &from, const TVector3 &to, const TVector2 &size,
                           TMatrix43 &m);
/// Two affine maps carrying the unit square's triangles (0,0)-(1,0)-(0,1) and
/// (1,0)-(0,1)-(1,1) onto the quad c.
VLIB_API void DeformUnitSquare(TVector3 c[4], TMatrix4 &first, TMatrix4 &second);
/// The affine map taking triangle src to dst, z passed through; both arrays are overwritten
/// with their edges from the first vertex.
VLIB_API void DeformTriShearZ(TVector2 src[3], TVector3 dst[3], TMatrix43 &m);
