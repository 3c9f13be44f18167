// Points, lines and angles in the plane. Angle helpers normalise by repeated whole turns, as
// callers expect; they stop when a turn no longer changes a huge value, so that no input can
// keep them looping.
#include "General/Maths/Geometry2D.h"

#include "General/Maths/FastAtan.h"

#include <cmath>

namespace {

constexpr float kPi = 3.1415927f;
constexpr float kTwoPi = 2.0f * kPi;
constexpr float kTiny = 1e-15f;
constexpr float kMagnitudeTolerance[7] = {1.0f, 0.1f, 0.01f, 0.001f, 0.0001f, 0.00001f, 0.000001f};

float Clamp01(float c) {
    return c < -1.0f ? -1.0f : (c > 1.0f ? 1.0f : c);
}

/// Adds `step` while v < limit; stops if the step no longer changes v.
float RaiseBelow(float v, float limit, float step) {
    while (v < limit) {
        const float next = v + step;
        if (next == v)
            break;
        v = next;
    }
    return v;
}

/// Angles this far out are first reduced by a remainder, so that the turn-by-turn loops stay
/// short; nearer ones keep the exact arithmetic of repeated turns.
float ReduceHuge(float v) {
    return std::fabs(v) > 65536.0f ? std::fmod(v, kTwoPi) : v;
}

/// Brings an angle into 0 .. 2 pi by whole turns.
float IntoTurn(float v) {
    if (!std::isfinite(v))
        return v;
    v = ReduceHuge(v);
    v = RaiseBelow(v, 0.0f, kTwoPi);
    while (v > kTwoPi) {
        const float next = v - kTwoPi;
        if (next == v)
            break;
        v = next;
    }
    return v;
}

bool ComponentsBelow(const float *d, int n, float tol) {
    for (int i = 0; i < n; ++i)
        if (!(std::fabs(d[i]) < tol))
            return false;
    return true;
}

float MagnitudeTolerance(float m, int digits) {
    if (digits < 0)
        digits = 0;
    if (digits > 6)
        digits = 6;
    return (m == 0.0f ? 1.0f : m) * kMagnitudeTolerance[digits];
}

} // namespace

// T2DLineSegment ------------------------------------------------------------------------------

void T2DLineSegment::UnitLength(const TVector2 &a, const TVector2 &b, TVector2 &dir, float &len) {
    const TVector2 d(b.x - a.x, b.y - a.y);
    const float sq = d.GetLenSq();
    if (sq <= kTiny) {
        dir.Set(0.0f, 0.0f);
        len = 0.0f;
        return;
    }
    len = std::sqrt(sq);
    dir.Set(d.x / len, d.y / len);
}

float T2DLineSegment::GetDistSq(const TVector2 &p, TVector2 *nearest, int *where) const {
    return GetVector2DistSqDirNorm(p, start, direction, length, nearest, where);
}

bool T2DLineSegment::GetNearest(const TVector2 &a, const TVector2 &b, TVector2 &out,
                                float tol) const {
    const float minX = std::fmin(start.x, end.x) - tol, maxX = std::fmax(start.x, end.x) + tol;
    const float minY = std::fmin(start.y, end.y) - tol, maxY = std::fmax(start.y, end.y) + tol;
    if (maxX < std::fmin(a.x, b.x) || std::fmax(a.x, b.x) < minX || maxY < std::fmin(a.y, b.y) ||
        std::fmax(a.y, b.y) < minY)
        return false;
    const TVector2 dThis(end.x - start.x, end.y - start.y), dOther(b.x - a.x, b.y - a.y);
    TVector2 hit;
    bool onThis = false, onOther = false;
    if (Vector2Intersect2Dir(start, dThis, a, dOther, &hit, &onThis, &onOther) && onThis &&
        onOther) {
        out = hit;
        return true;
    }
    TVector2 candidate[4];
    float distSq[4];
    distSq[0] = GetDistSq(a, &candidate[0], nullptr);
    distSq[1] = GetDistSq(b, &candidate[1], nullptr);
    distSq[2] = GetVector2DistSq(start, a, b);
    candidate[2] = start;
    distSq[3] = GetVector2DistSq(end, a, b);
    candidate[3] = end;
    int best = 0;
    for (int i = 1; i < 4; ++i)
        if (distSq[i] < distSq[best])
            best = i;
    out = candidate[best];
    return distSq[best] < tol;
}

// TPolar2 -------------------------------------------------------------------------------------

void TPolar2::ConstructAccurate(const TVector2 &v) {
    length = v.GetLen();
    angle = std::atan2(v.y, v.x);
}

void TPolar2::ConstructFast(const TVector2 &v) {
    length = v.GetLen();
    angle = TFastAtan::Atan2(v.y, v.x);
}

TVector2 TPolar2::GetVector2() const {
    return TVector2(length * std::cos(angle), length * std::sin(angle));
}

void TPolar2::ComponentSubToShortestAng(const TPolar2 &o) {
    length -= o.length;
    const bool positive = angle >= o.angle;
    float d = positive ? angle - o.angle : o.angle - angle;
    if (d >= kPi)
        d -= kTwoPi;
    angle = positive ? d : -d;
}

// Distances -----------------------------------------------------------------------------------

float GetVector2DistSqDirNorm(const TVector2 &p, const TVector2 &a, const TVector2 &dirNorm,
                              float len, TVector2 *nearest, int *where) {
    const float t = (p.x - a.x) * dirNorm.x + (p.y - a.y) * dirNorm.y;
    TVector2 n;
    int w;
    if (t < 0.0f) {
        n = a;
        w = 0;
    } else if (t < len) {
        n.Set(a.x + t * dirNorm.x, a.y + t * dirNorm.y);
        w = 1;
    } else {
        n.Set(a.x + len * dirNorm.x, a.y + len * dirNorm.y);
        w = 2;
    }
    if (nearest)
        *nearest = n;
    if (where)
        *where = w;
    return TVector2::GetDistSq(p, n);
}

float GetVector2DistDirNorm(const TVector2 &p, const TVector2 &a, const TVector2 &dirNorm,
                            float len, TVector2 *nearest) {
    return std::sqrt(GetVector2DistSqDirNorm(p, a, dirNorm, len, nearest, nullptr));
}

float GetVector2DistSq(const TVector2 &p, const TVector2 &a, const TVector2 &b, TVector2 *nearest) {
    TVector2 dir;
    float len;
    T2DLineSegment::UnitLength(a, b, dir, len);
    return GetVector2DistSqDirNorm(p, a, dir, len, nearest, nullptr);
}

float GetVector2Dist(const TVector2 &p, const TVector2 &a, const TVector2 &b, TVector2 *nearest) {
    return std::sqrt(GetVector2DistSq(p, a, b, nearest));
}

float GetVector2DistSqDir(const TVector2 &p, const TVector2 &a, const TVector2 &dir,
                          TVector2 *nearest) {
    return GetVector2DistSq(p, a, TVector2(a.x + dir.x, a.y + dir.y), nearest);
}

float GetVector2DistDir(const TVector2 &p, const TVector2 &a, const TVector2 &dir,
                        TVector2 *nearest) {
    return std::sqrt(GetVector2DistSqDir(p, a, dir, nearest));
}

float GetVector2PerpDistSqDirNorm(const TVector2 &p, const TVector2 &a, const TVector2 &dirNorm) {
    const float cross = (p.x - a.x) * dirNorm.y - (p.y - a.y) * dirNorm.x;
    return cross * cross;
}

float GetVector2PerpDistDirNorm(const TVector2 &p, const TVector2 &a, const TVector2 &dirNorm) {
    return std::sqrt(GetVector2PerpDistSqDirNorm(p, a, dirNorm));
}

float GetVector2PerpDistSq(const TVector2 &p, const TVector2 &a, const TVector2 &b) {
    TVector2 dir;
    float len;
    T2DLineSegment::UnitLength(a, b, dir, len);
    return GetVector2PerpDistSqDirNorm(p, a, dir);
}

float GetVector2PerpDist(const TVector2 &p, const TVector2 &a, const TVector2 &b) {
    return std::sqrt(GetVector2PerpDistSq(p, a, b));
}

float GetVector2PerpDistSqDir(const TVector2 &p, const TVector2 &a, const TVector2 &dir) {
    return GetVector2PerpDistSq(p, a, TVector2(a.x + dir.x, a.y + dir.y));
}

float GetVector2PerpDistDir(const TVector2 &p, const TVector2 &a, const TVector2 &dir) {
    return std::sqrt(GetVector2PerpDistSqDir(p, a, dir));
}

float GetVector2Dist(const TVector2 &a0, const TVector2 &a1, TVector2 *nearA, const TVector2 &b0,
                     const TVector2 &b1, TVector2 *nearB) {
    TVector2 onB0, onB1, onA0, onA1;
    const float d[4] = {GetVector2DistSq(a0, b0, b1, &onB0), GetVector2DistSq(a1, b0, b1, &onB1),
                        GetVector2DistSq(b0, a0, a1, &onA0), GetVector2DistSq(b1, a0, a1, &onA1)};
    const TVector2 pointA[4] = {a0, a1, onA0, onA1};
    const TVector2 pointB[4] = {onB0, onB1, b0, b1};
    int best = 0;
    for (int i = 1; i < 4; ++i)
        if (d[i] < d[best])
            best = i;
    if (nearA)
        *nearA = pointA[best];
    if (nearB)
        *nearB = pointB[best];
    return std::sqrt(d[best]);
}

// Intersections -------------------------------------------------------------------------------

bool Vector2Intersect2Dir(const TVector2 &p, const TVector2 &dp, const TVector2 &q,
                          const TVector2 &dq, TVector2 *hit, bool *onP, bool *onQ) {
    const TVector2 d(p.x - q.x, p.y - q.y);
    const float den = dp.x * dq.y - dp.y * dq.x;
    const float s = dq.x * d.y - d.x * dq.y;
    const float u = dp.x * d.y - dp.y * d.x;
    auto within = [den](float v) {
        return den >= 0.0f ? (v >= 0.0f && v <= den) : (v <= 0.0f && v >= den);
    };
    if (std::fabs(den) >= kTiny) {
        if (hit) {
            const float t = s / den;
            hit->Set(p.x + t * dp.x, p.y + t * dp.y);
        }
        if (onP)
            *onP = within(s);
        if (onQ)
            *onQ = within(u);
        return true;
    }
    if (std::fabs(s) >= kTiny) {
        if (onP)
            *onP = false;
        if (onQ)
            *onQ = false;
        return false;
    }
    // Collinear: which end points lie on the other segment?
    const TVector2 p1(p.x + dp.x, p.y + dp.y), q1(q.x + dq.x, q.y + dq.y);
    const TVector2 ends[4] = {p, p1, q, q1};
    const bool on[4] = {
        GetVector2DistSqDir(p, q, dq) < kTiny, GetVector2DistSqDir(p1, q, dq) < kTiny,
        GetVector2DistSqDir(q, p, dp) < kTiny, GetVector2DistSqDir(q1, p, dp) < kTiny};
    int found = 0;
    TVector2 first(0.0f, 0.0f), second(0.0f, 0.0f);
    for (int i = 0; i < 4; ++i) {
        if (!on[i])
            continue;
        (found == 0 ? first : second) = ends[i];
        if (++found == 2)
            break;
    }
    if (found == 1)
        second = first;
    const bool touching = found > 0;
    if (hit && touching)
        hit->SetAverage(first, second);
    if (onP)
        *onP = touching;
    if (onQ)
        *onQ = touching;
    return true;
}

bool Vector2Intersect(const TVector2 &a0, const TVector2 &a1, const TVector2 &b0,
                      const TVector2 &b1, TVector2 *hit, bool *onA, bool *onB) {
    return Vector2Intersect2Dir(a0, TVector2(a1.x - a0.x, a1.y - a0.y), b0,
                                TVector2(b1.x - b0.x, b1.y - b0.y), hit, onA, onB);
}

bool Vector2Intersect1Dir(const TVector2 &a0, const TVector2 &dirA, const TVector2 &b0,
                          const TVector2 &b1, TVector2 *hit, bool *onA, bool *onB) {
    return Vector2Intersect2Dir(a0, dirA, b0, TVector2(b1.x - b0.x, b1.y - b0.y), hit, onA, onB);
}

// Comparisons ---------------------------------------------------------------------------------

bool Vector2Equal(const TVector2 &a, const TVector2 &b, float tol) {
    return std::fabs(a.x - b.x) < tol && std::fabs(a.y - b.y) < tol;
}

bool Vector2Near(const TVector2 &a, const TVector2 &b, float tol) {
    return TVector2::GetDistSq(a, b) < tol * tol;
}

bool Vector2EqualMag(const TVector2 &a, const TVector2 &b, int digits) {
    const float m = std::fmax(std::fmax(std::fabs(a.x), std::fabs(a.y)),
                              std::fmax(std::fabs(b.x), std::fabs(b.y)));
    const float d[2] = {a.x - b.x, a.y - b.y};
    return ComponentsBelow(d, 2, MagnitudeTolerance(m, digits));
}

bool Vector3EqualMag(const TVector3 &a, const TVector3 &b, int digits) {
    const float m = std::fmax(std::fmax(std::fmax(std::fabs(a.x), std::fabs(a.y)), std::fabs(a.z)),
                              std::fmax(std::fmax(std::fabs(b.x), std::fabs(b.y)), std::fabs(b.z)));
    const float d[3] = {a.x - b.x, a.y - b.y, a.z - b.z};
    return ComponentsBelow(d, 3, MagnitudeTolerance(m, digits));
}

bool Vector2ParallelNorm(const TVector2 &a, const TVector2 &b, int digits) {
    return Vector2EqualMag(a, b, digits) || Vector2EqualMag(a, TVector2(-b.x, -b.y), digits);
}

bool Vector2Parallel(const TVector2 &a0, const TVector2 &a1, const TVector2 &b0, const TVector2 &b1,
                     int digits) {
    TVector2 a(a1.x - a0.x, a1.y - a0.y), b(b1.x - b0.x, b1.y - b0.y);
    a.Norm();
    b.Norm();
    return Vector2ParallelNorm(a, b, digits);
}

// Angles --------------------------------------------------------------------------------------

float Vector2Angle(const TVector2 &a, const TVector2 &b) {
    TVector2 na = a, nb = b;
    na.Norm();
    nb.Norm();
    const float c = na.GetDot(nb);
    if (c >= 1.0f)
        return 0.0f;
    if (c <= -1.0f)
        return kPi;
    const float angle = std::acos(c);
    return na.GetCross(nb) < 0.0f ? kTwoPi - angle : angle;
}

float Angle(const TVector2 &v) {
    TVector2 n = v;
    n.Norm();
    // (0, 1) . n is n.y. Rounding can take it a hair past 1, where acos has no value.
    const float angle = std::acos(Clamp01(n.y));
    return -n.x < 0.0f ? kTwoPi - angle : angle;
}

float FastAngle(const TVector2 &v) {
    if (v.x == 0.0f)
        return v.y <= 0.0f ? -kPi / 2.0f : kPi / 2.0f;
    const float a = std::atan(v.y / v.x);
    if (v.x >= 0.0f)
        return a;
    return v.y < 0.0f ? a - kPi : a + kPi;
}

TClockDir GetClockDir(const TVector2 &a, const TVector2 &b, const TVector2 &c) {
    const float v = (c.x - a.x) * (b.y - a.y) - (b.x - a.x) * (c.y - a.y);
    return v > 0.0f ? ClockDir_Clockwise : (v < 0.0f ? ClockDir_AntiClockwise : ClockDir_Straight);
}

void GetCircularDistance(float from, float to, TClockDir &dir, float &dist) {
    from = IntoTurn(from);
    to = IntoTurn(to);
    if (from == to) {
        dir = ClockDir_Straight;
        dist = 0.0f;
    } else if (to < from) {
        const float d = from - to;
        if (d < kPi) {
            dir = ClockDir_Clockwise;
            dist = d;
        } else {
            dir = ClockDir_AntiClockwise;
            dist = kTwoPi - from + to;
        }
    } else {
        const float d = to - from;
        if (d < kPi) {
            dir = ClockDir_AntiClockwise;
            dist = d;
        } else {
            dir = ClockDir_Clockwise;
            dist = kTwoPi - to + from;
        }
    }
}

void PointProject(const TVector2 &origin, TVector2 *out, float dist, float angle) {
    out->Set(origin.x + dist * std::cos(angle), origin.y + dist * std::sin(angle));
}

float AngleDiff(float a, float b) {
    if (!std::isfinite(a) || !std::isfinite(b))
        return 0.0f;
    a = ReduceHuge(a);
    b = ReduceHuge(b);
    b = RaiseBelow(b, a, kTwoPi);
    while (b - a > kTwoPi) {
        const float next = a + kTwoPi;
        if (next == a)
            break;
        a = next;
    }
    return b - a;
}

float SmallAngleDiff(float a, float b) {
    const float d = AngleDiff(a, b);
    return d <= kPi ? d : kTwoPi - d;
}

float AngleAverage(float a, float b) {
    a = IntoTurn(a);
    b = IntoTurn(b);
    if (std::fabs(a - b) > kPi) {
        if (a < b)
            a += kTwoPi;
        else
            b += kTwoPi;
        return IntoTurn((a + b) * 0.5f);
    }
    return (a + b) * 0.5f;
}

float WithinRange(float v, float low, float high) {
    const float range = high - low;
    if (!(range > 0.0f) || !std::isfinite(v))
        return v;
    if (std::fabs(v - low) > 65536.0f * range)
        v = low + std::fmod(v - low, range);
    v = RaiseBelow(v, low, range);
    while (v > high) {
        const float next = v - range;
        if (next == v)
            break;
        v = next;
    }
    return v;
}

void GetLineTrans(const TVector3 &from, const TVector3 &to, const TVector2 &size, TMatrix43 &m) {
    TVector3 d;
    d.SetSub(to, from);
    // The heading of d in the xy plane, then its elevation out of that plane.
    const float heading = std::atan2(d.y, d.x);
    const float elevation = std::atan2(d.z, std::sqrt(d.x * d.x + d.y * d.y));
    m.MakeScale(TVector3(d.GetLen(), size.x, size.y));
    m.PostRotateY(-elevation);
    m.PostRotateZ(heading);
    m.PostTranslate(from);
}

void DeformUnitSquare(TVector3 c[4], TMatrix4 &first, TMatrix4 &second) {
    TVector3 r0, r1;
    r0.SetSub(c[1], c[0]);
    r1.SetSub(c[2], c[0]);
    first.MakeRows(r0, r1, TVector3(0.0f, 0.0f, 1.0f), c[0]);
    TVector3 s0, s1, s3;
    s0.SetSub(c[3], c[2]);
    s3.SetSub(c[1], s0);
    s1.SetSub(c[2], s3);
    second.MakeRows(s0, s1, TVector3(0.0f, 0.0f, 1.0f), s3);
}

void DeformTriShearZ(TVector2 src[3], TVector3 dst[3], TMatrix43 &m) {
    for (int i = 1; i < 3; ++i) {
        src[i].Sub(src[0]);
        dst[i].Sub(dst[0]);
    }
    // Rows 0 and 1 solve [e1; e2] * R = [f1; f2].
    TMatrix2 edges(src[1].x, src[1].y, src[2].x, src[2].y), inv;
    inv.SetInv(edges);
    for (int c = 0; c < 3; ++c) {
        m.m[0][c] = inv.m00 * dst[1][c] + inv.m01 * dst[2][c];
        m.m[1][c] = inv.m10 * dst[1][c] + inv.m11 * dst[2][c];
    }
    m.m20 = 0.0f, m.m21 = 0.0f, m.m22 = 1.0f;
    m.m30 = dst[0].x - (src[0].x * m.m00 + src[0].y * m.m10);
    m.m31 = dst[0].y - (src[0].x * m.m01 + src[0].y * m.m11);
    m.m32 = dst[0].z;
}
