// Rectangle operations that need more than a line: fitting, constraining, the sections of the
// plane around a rectangle, and segment clipping built on Vector2Intersect2Dir.
#include "General/Maths/Rectangle.h"

#include "General/Maths/Geometry2D.h"

#include <cmath>

const TRectangle TRectangle::EmptyRect(0.0f, 0.0f, 0.0f, 0.0f);

TRectangle::TRectangle(const TVector2 &a, const TVector2 &b, bool ordered) {
    if (ordered) {
        SetBL(a);
        SetTR(b);
    } else {
        BoundLine(a, b);
    }
}

void TRectangle::BoundLine(const TVector2 &a, const TVector2 &b) {
    x0 = std::fmin(a.x, b.x), x1 = std::fmax(a.x, b.x);
    y0 = std::fmin(a.y, b.y), y1 = std::fmax(a.y, b.y);
}

float TRectangle::MaxDimension() const {
    return std::fmax(GetWidth(), GetHeight());
}
float TRectangle::MinDimension() const {
    return std::fmin(GetWidth(), GetHeight());
}

float TRectangle::MaxAbsComponent() const {
    return std::fmax(std::fmax(std::fabs(x0), std::fabs(y0)),
                     std::fmax(std::fabs(x1), std::fabs(y1)));
}

void TRectangle::Normalise() {
    if (x1 < x0)
        Mirror();
    if (y1 < y0)
        Flip();
}

TRectangle TRectangle::GetIntersection(const TRectangle &o) const {
    TRectangle r = *this;
    r.SetIntersection(o);
    if (r.x1 > r.x0 && r.y1 > r.y0)
        return r;
    return EmptyRect;
}

void TRectangle::SetIntersection(const TRectangle &o) {
    x0 = std::fmax(x0, o.x0), y0 = std::fmax(y0, o.y0);
    x1 = std::fmin(x1, o.x1), y1 = std::fmin(y1, o.y1);
}

void TRectangle::SetUnion(const TRectangle &o) {
    x0 = std::fmin(x0, o.x0), y0 = std::fmin(y0, o.y0);
    x1 = std::fmax(x1, o.x1), y1 = std::fmax(y1, o.y1);
}

bool TRectangle::IsEqual(const TRectangle &o, float tol) const {
    return std::fabs(x0 - o.x0) <= tol && std::fabs(y0 - o.y0) <= tol &&
           std::fabs(x1 - o.x1) <= tol && std::fabs(y1 - o.y1) <= tol;
}

void TRectangle::IncreaseBounds(const TVector2 &p) {
    x0 = std::fmin(x0, p.x), x1 = std::fmax(x1, p.x);
    y0 = std::fmin(y0, p.y), y1 = std::fmax(y1, p.y);
}

void TRectangle::BoundPoint(TVector2 &p) const {
    p.x = p.x < x0 ? x0 : (p.x > x1 ? x1 : p.x);
    p.y = p.y < y0 ? y0 : (p.y > y1 ? y1 : p.y);
}

void TRectangle::SetCentre(const TVector2 &c) {
    const TVector2 now = GetCentre();
    Offset(TVector2(c.x - now.x, c.y - now.y));
}

void TRectangle::SetWidth(float w) {
    const float cx = (x0 + x1) * 0.5f;
    x0 = cx - w * 0.5f, x1 = cx + w * 0.5f;
}

void TRectangle::SetHeight(float h) {
    const float cy = (y0 + y1) * 0.5f;
    y0 = cy - h * 0.5f, y1 = cy + h * 0.5f;
}

float TRectangle::GetAspect() const {
    if (x1 <= x0 || y1 <= y0)
        return 1.0f;
    return GetWidth() / GetHeight();
}

void TRectangle::OuterAspectFit(const TRectangle &r, float aspect) {
    *this = r;
    if (aspect < r.GetAspect())
        SetHeight(r.GetWidth() / aspect);
    else
        SetWidth(r.GetHeight() * aspect);
}

void TRectangle::InnerAspectFit(const TRectangle &r, float aspect) {
    *this = r;
    if (aspect < r.GetAspect())
        SetWidth(r.GetHeight() * aspect);
    else
        SetHeight(r.GetWidth() / aspect);
}

TVector2 TRectangle::NormalisePosition(const TVector2 &p) const {
    const float w = GetWidth(), h = GetHeight();
    if (w == 0.0f || h == 0.0f)
        return TVector2(0.0f, 0.0f);
    return TVector2((p.x - x0) / w, (p.y - y0) / h);
}

void TRectangle::NormaliseRectangle(TRectangle &r) const {
    r.SetBL(NormalisePosition(r.GetBL()));
    r.SetTR(NormalisePosition(r.GetTR()));
}

void TRectangle::SetDivide(int quarter, const TRectangle &r) {
    const TVector2 c = r.GetCentre();
    if (quarter & 1)
        x0 = c.x, x1 = r.x1;
    else
        x0 = r.x0, x1 = c.x;
    if (quarter & 2)
        y0 = c.y, y1 = r.y1;
    else
        y0 = r.y0, y1 = c.y;
}

void TRectangle::Mul(const TMatrix2 &m) {
    TRectangle bounds(1e15f, -1e15f, 1e15f, -1e15f);
    for (int i = 0; i < 4; ++i) {
        TVector2 corner = GetCorner(i);
        corner.Mul(m);
        bounds.IncreaseBounds(corner);
    }
    *this = bounds;
}

namespace {

/// The shift along one axis that brings low..high within rLow..rHigh.
float ConstrainAxis(float low, float high, float rLow, float rHigh) {
    const float dLow = rLow - low > 0.0f ? rLow - low : 0.0f;
    const float dHigh = rHigh - high < 0.0f ? rHigh - high : 0.0f;
    const float d = dLow + dHigh;
    return (dLow != 0.0f && dHigh != 0.0f) ? d * 0.5f : d;
}

int Band(float v, float low, float high) {
    return v < low ? 0 : (v <= high ? 1 : 2);
}

} // namespace

void TRectangle::Constrain(const TRectangle &r) {
    Offset(TVector2(ConstrainAxis(x0, x1, r.x0, r.x1), ConstrainAxis(y0, y1, r.y0, r.y1)));
}

int TRectangle::GetSection(const TVector2 &p) const {
    return Band(p.x, x0, x1) + Band(p.y, y0, y1) * 4;
}

float TRectangle::MinDistanceSq(const TVector2 &p) const {
    const float dx = p.x < x0 ? x0 - p.x : (p.x > x1 ? p.x - x1 : 0.0f);
    const float dy = p.y < y0 ? y0 - p.y : (p.y > y1 ? p.y - y1 : 0.0f);
    return dx * dx + dy * dy;
}

float TRectangle::MaxDistanceSq(const TVector2 &p) const {
    const TVector2 c = GetCentre();
    const float dx = p.x - (p.x < c.x ? x1 : x0);
    const float dy = p.y - (p.y < c.y ? y1 : y0);
    return dx * dx + dy * dy;
}

bool TRectangle::LineClips(const TVector2 &a, const TVector2 &b) const {
    const int sa = GetSection(a), sb = GetSection(b);
    if (sa == 5 || sb == 5)
        return true;
    const int ca = sa & 3, cb = sb & 3, ra = sa >> 2, rb = sb >> 2;
    if (ca == cb)
        return ca == 1 && ra != rb;
    if (ra == rb)
        return ra == 1;
    const TVector2 d(b.x - a.x, b.y - a.y);
    // Left, right, bottom and top, each as a start point and a direction.
    const TVector2 edges[4][2] = {{TVector2(x0, y0), TVector2(0.0f, y1 - y0)},
                                  {TVector2(x1, y0), TVector2(0.0f, y1 - y0)},
                                  {TVector2(x0, y0), TVector2(x1 - x0, 0.0f)},
                                  {TVector2(x0, y1), TVector2(x1 - x0, 0.0f)}};
    for (const auto &edge : edges) {
        bool onEdge = false;
        if (Vector2Intersect2Dir(a, d, edge[0], edge[1], nullptr, nullptr, &onEdge) && onEdge)
            return true;
    }
    return false;
}

namespace {

/// Moves p along the line p-q to where x reaches `x`.
TVector2 AtX(const TVector2 &p, const TVector2 &q, float x) {
    const float t = (x - p.x) / (q.x - p.x);
    return TVector2(x, p.y + (q.y - p.y) * t);
}

/// Moves p along the line p-q to where y reaches `y`; false when that point is off the edge.
bool AtY(TVector2 &p, const TVector2 &q, float y, float x0, float x1) {
    if (q.y == p.y)
        return false;
    const float t = (y - p.y) / (q.y - p.y);
    const float x = p.x + (q.x - p.x) * t;
    if (!(x >= x0 && x <= x1))
        return false;
    p.Set(x, y);
    return true;
}

} // namespace

bool TRectangle::ClipLine(TVector2 &a, TVector2 &b) const {
    TVector2 p = a, q = b;
    const int cp = Band(p.x, x0, x1), cq = Band(q.x, x0, x1);
    const int rp = Band(p.y, y0, y1), rq = Band(q.y, y0, y1);
    if ((cp == cq && cp != 1) || (rp == rq && rp != 1))
        return false;
    // By column: the left one onto x0, the right one onto x1.
    TVector2 *low = cp <= cq ? &p : &q, *high = cp <= cq ? &q : &p;
    if (low->x < x0)
        *low = AtX(*low, *high, x0);
    if (high->x > x1)
        *high = AtX(*high, *low, x1);
    // By row: the lower one onto y0, the upper one onto y1; both must land on the edges.
    const int rp2 = Band(p.y, y0, y1), rq2 = Band(q.y, y0, y1);
    if (rp2 == rq2 && rp2 != 1)
        return false;
    low = rp2 <= rq2 ? &p : &q;
    high = rp2 <= rq2 ? &q : &p;
    if (low->y < y0 && !AtY(*low, *high, y0, x0, x1))
        return false;
    if (high->y > y1 && !AtY(*high, *low, y1, x0, x1))
        return false;
    a = p;
    b = q;
    return true;
}
