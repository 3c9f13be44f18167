// Axis-aligned rectangles: bottom left (x0, y0) and top right (x1, y1), bottom and top in
// rising y. Nothing keeps a rectangle normal; the operations say what they do otherwise.
#pragma once

#include "General/Core/Export.h"
#include "General/Maths/Matrix.h"
#include "General/Maths/Vector.h"

#include <type_traits>

/// An axis-aligned rectangle.
class VLIB_API TRectangle {
public:
    float x0, y0, x1, y1;

    /// All four fields 0: what SetEmpty copies.
    static const TRectangle EmptyRect;

    /// Leaves the fields unset.
    TRectangle() = default;
    /// Note the order: both x, then both y.
    TRectangle(float x0_, float x1_, float y0_, float y1_) : x0(x0_), y0(y0_), x1(x1_), y1(y1_) {}
    /// Ordered: a is bottom left and b top right; otherwise the bounds of the two points.
    TRectangle(const TVector2 &a, const TVector2 &b, bool ordered);

    void BoundLine(const TVector2 &a, const TVector2 &b);
    TVector2 GetBL() const { return TVector2(x0, y0); }
    TVector2 GetTR() const { return TVector2(x1, y1); }
    void SetBL(const TVector2 &v) { x0 = v.x, y0 = v.y; }
    void SetTR(const TVector2 &v) { x1 = v.x, y1 = v.y; }
    TVector2 GetCentre() const { return TVector2((x0 + x1) * 0.5f, (y0 + y1) * 0.5f); }
    TVector2 GetSize() const { return TVector2(x1 - x0, y1 - y0); }
    float GetWidth() const { return x1 - x0; }
    float GetHeight() const { return y1 - y0; }
    /// 0 (x0, y0), 1 (x1, y0), 2 (x0, y1), 3 (x1, y1).
    TVector2 GetCorner(int i) const { return TVector2((i & 1) ? x1 : x0, (i & 2) ? y1 : y0); }
    float MaxDimension() const;
    float MinDimension() const;
    float MaxAbsComponent() const;

    void SetEmpty() { *this = EmptyRect; }
    bool IsEmpty() const { return x1 <= x0 || y1 <= y0; }
    bool IsTrueEmpty() const { return x1 == x0 || y1 == y0; }
    void Normalise();
    /// Inclusive on all sides.
    bool Inside(const TVector2 &p) const {
        return p.x >= x0 && p.x <= x1 && p.y >= y0 && p.y <= y1;
    }
    bool Inside(const TRectangle &r) const {
        return r.x0 >= x0 && r.x1 <= x1 && r.y0 >= y0 && r.y1 <= y1;
    }
    /// Touching counts.
    bool CheckIntersection(const TRectangle &o) const {
        return x1 >= o.x0 && o.x1 >= x0 && y1 >= o.y0 && o.y1 >= y0;
    }
    bool CheckIntersection(const TRectangle &o, float tol) const {
        return o.x0 + tol <= x1 && x0 + tol <= o.x1 && o.y0 + tol <= y1 && y0 + tol <= o.y1;
    }
    /// The overlap if it has positive width and height, else all zeros.
    TRectangle GetIntersection(const TRectangle &o) const;
    /// Field-wise: the higher lows and lower highs, with no emptiness test.
    void SetIntersection(const TRectangle &o);
    void SetUnion(const TRectangle &o);
    bool IsEqual(const TRectangle &o, float tol) const;
    /// IsEqual with tolerance 0.001.
    bool operator==(const TRectangle &o) const { return IsEqual(o, 0.001f); }

    void Offset(const TVector2 &v) { x0 += v.x, x1 += v.x, y0 += v.y, y1 += v.y; }
    void Expand(float d) { x0 -= d, y0 -= d, x1 += d, y1 += d; }
    void IncreaseBounds(const TVector2 &p);
    /// Clamps p into the rectangle.
    void BoundPoint(TVector2 &p) const;
    void SetCentre(const TVector2 &c);
    void SetCentre(const TRectangle &r) { SetCentre(r.GetCentre()); }
    /// Keeps the centre.
    void SetWidth(float w);
    void SetHeight(float h);
    void Flip() {
        const float t = y0;
        y0 = y1, y1 = t;
    }
    void Mirror() {
        const float t = x0;
        x0 = x1, x1 = t;
    }
    /// Width over height; 1 for an empty rectangle.
    float GetAspect() const;
    /// r grown in one direction to the aspect, so that it contains r.
    void OuterAspectFit(const TRectangle &r, float aspect);
    /// r shrunk in one direction to the aspect, so that it fits inside r.
    void InnerAspectFit(const TRectangle &r, float aspect);
    /// (p - bottom left) / size; (0, 0) for a zero width or height.
    TVector2 NormalisePosition(const TVector2 &p) const;
    void NormaliseRectangle(TRectangle &r) const;
    /// Quarter of r: bit 0 the right half, bit 1 the top half.
    void SetDivide(int quarter, const TRectangle &r);
    /// The bounds of the four corners under m, as row vectors.
    void Mul(const TMatrix2 &m);
    /// Moves this rectangle into r, centring it on an axis where it is the larger.
    void Constrain(const TRectangle &r);
    /// Column (0 left, 1 within, 2 right) + 4 * row (likewise in y): 5 is inside.
    int GetSection(const TVector2 &p) const;
    /// The squared distance to the rectangle, 0 inside.
    float MinDistanceSq(const TVector2 &p) const;
    /// The squared distance to the corner opposite p's quarter.
    float MaxDistanceSq(const TVector2 &p) const;
    /// Whether the segment a-b touches the rectangle.
    bool LineClips(const TVector2 &a, const TVector2 &b) const;
    /// Clips the segment to the rectangle; false (a and b unchanged) when it misses.
    bool ClipLine(TVector2 &a, TVector2 &b) const;
};

static_assert(sizeof(TRectangle) == 16 && std::is_trivially_copyable_v<TRectangle>);
