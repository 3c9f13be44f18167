// The out-of-line vector operations: direction and frame helpers of TVector3, the polar
// conversion over the fast arctangent table, and the index choices of TVector4.
#include "General/Maths/Vector.h"

#include "General/Maths/FastAtan.h"
#include "General/Streams/IOAdapter.h"

#include <cmath>

const TVector3 TVector3::Zero(0.0f, 0.0f, 0.0f);

void TVector3::Stream(TIOAdapter &io) {
    io.StreamFloat(x, "Component[0]");
    io.StreamFloat(y, "Component[1]");
    io.StreamFloat(z, "Component[2]");
}

void TVector3::SetAverage(const TVector3 *array, int n) {
    float sx = 0.0f, sy = 0.0f, sz = 0.0f;
    for (int i = 0; i < n; ++i)
        sx += array[i].x, sy += array[i].y, sz += array[i].z;
    const float inv = n > 0 ? 1.0f / float(n) : 0.0f;
    Set(sx * inv, sy * inv, sz * inv);
}

int TVector3::GetDir() const {
    const float ax = std::fabs(x), ay = std::fabs(y), az = std::fabs(z);
    if (ax > ay && ax >= az)
        return x < 0.0f ? 0 : 1;
    if (ax <= ay && ay >= az)
        return y < 0.0f ? 2 : 3;
    return z < 0.0f ? 4 : 5;
}

namespace {

/// a = unit axis k+1 crossed with v, normalised (zero when degenerate); b = v x a.
void TripletFromAxis(const TVector3 &v, int k, TVector3 &a, TVector3 &b) {
    TVector3 axis(0.0f, 0.0f, 0.0f);
    axis[(k + 1) % 3] = 1.0f;
    a.SetCross(axis, v);
    a.Norm();
    b.SetCross(v, a);
}

/// The turn fraction table at |rint(1024 * q)|.
float TurnTable(float q) {
    long i = std::lrint(1024.0f * q);
    if (i < 0)
        i = -i;
    if (i >= TFastAtan::TableSize)
        i = TFastAtan::TableSize - 1;
    return TFastAtan::AtanTabO8[i];
}

/// numerator / divisor, or 0 when the divisor is within 1e-15 of 0.
float SafeRatio(float numerator, float divisor) {
    return std::fabs(divisor) < 1e-15f ? 0.0f : numerator / divisor;
}

} // namespace

void TVector3::GetTriplet(TVector3 &a, TVector3 &b) const {
    const float ax = std::fabs(x), ay = std::fabs(y), az = std::fabs(z);
    const int k = (ax > ay && ax > az) ? 0 : (ay > az ? 1 : 2);
    TripletFromAxis(*this, k, a, b);
}

void TVector3::GetTripletRHS(TVector3 &a, TVector3 &b) const {
    TripletFromAxis(*this, GetAbsMaxIdx(), a, b);
}

int TVector3::GetPolars(TVector2 *out) const {
    out->y = z * 0.5f + 0.5f;
    if (y <= x && y > -x) {
        const float q = SafeRatio(y, x);
        const float t = TurnTable(q);
        out->x = q >= 0.0f ? t : 1.0f - t;
        return q >= 0.0f ? 0 : 7;
    }
    if (y > x && y > -x) {
        const float q = SafeRatio(x, y);
        const float t = TurnTable(q);
        out->x = q >= 0.0f ? 0.25f - t : 0.25f + t;
        return q >= 0.0f ? 1 : 2;
    }
    if (y > x) {
        const float q = SafeRatio(y, x);
        const float t = TurnTable(q);
        out->x = q >= 0.0f ? 0.5f + t : 0.5f - t;
        return q >= 0.0f ? 4 : 3;
    }
    const float q = SafeRatio(x, y);
    const float t = TurnTable(q);
    out->x = q >= 0.0f ? 0.75f - t : 0.75f + t;
    return q >= 0.0f ? 5 : 6;
}

int TVector4::GetMaxIdx() const {
    int best = 0;
    for (int i = 1; i < 4; ++i)
        if ((*this)[i] > (*this)[best])
            best = i;
    return best;
}

int TVector4::GetMinIdx() const {
    int best = 0;
    for (int i = 1; i < 4; ++i)
        if (!((*this)[best] < (*this)[i]))
            best = i;
    return best;
}

int TVector4::GetAbsMaxIdx() const {
    // x against y prefers y on a tie; each later component must be strictly larger.
    int best = std::fabs(x) <= std::fabs(y) ? 1 : 0;
    for (int i = 2; i < 4; ++i)
        if (!(std::fabs((*this)[best]) >= std::fabs((*this)[i])))
            best = i;
    return best;
}

int TVector4::GetAbsMinIdx() const {
    int best = 0;
    for (int i = 1; i < 4; ++i)
        if (!(std::fabs((*this)[best]) < std::fabs((*this)[i])))
            best = i;
    return best;
}
