// Colour conversions and packed compositing. Float results are formed in double and narrowed
// once; packing multiplies by 255.499 and rounds to nearest, so 0.5 packs to 128 and 1 to 255.
// The compositing of PostDraw and PreDraw is integer only: k is a 16-bit fixed-point
// reciprocal of the resulting alpha.
#include "General/Maths/Colour.h"

#include <bit>
#include <cmath>
#include <cstring>

namespace {

/// The float 0.003921569, close to 1/255.
constexpr float kUnpack = 0.003921569f;
/// Not 255: rounding after this factor keeps 1.0 at 255 and 0.5 at 128.
constexpr float kPack = 255.499f;
/// The float 0.016666668, close to 1/60.
constexpr float kOneSixtieth = 0.016666668f;

int PackChannel(float c) {
    return int(std::lrint(double(c) * double(kPack)));
}
float Unpack(int c) {
    return float(double(c) * double(kUnpack));
}
int Round(double v) {
    return int(std::lrint(v));
}
float Hold(float c, float low, float high) {
    return c < low ? low : (c > high ? high : c);
}

/// The six sectors of the hue circle; false for a sector outside 0 to 5.
bool HsvSector(int i, double v, double p, double q, double t, double out[3]) {
    switch (i) {
    case 0:
        out[0] = v, out[1] = t, out[2] = p;
        return true;
    case 1:
        out[0] = q, out[1] = v, out[2] = p;
        return true;
    case 2:
        out[0] = p, out[1] = v, out[2] = t;
        return true;
    case 3:
        out[0] = p, out[1] = q, out[2] = v;
        return true;
    case 4:
        out[0] = t, out[1] = p, out[2] = v;
        return true;
    case 5:
        out[0] = v, out[1] = p, out[2] = q;
        return true;
    default:
        return false;
    }
}

uint32_t Half(uint32_t x) {
    return (x >> 1) & 0x7F7F7F7Fu;
}

uint32_t Channel(uint32_t word, int shift) {
    return (word >> shift) & 255u;
}

/// k for compositing: 0x1000000 / t, at most 16384; 16384 for t = 0.
uint32_t Reciprocal(uint32_t t) {
    if (t == 0)
        return 16384u;
    const uint32_t k = 0x1000000u / t;
    return k > 16384u ? 16384u : k;
}

uint32_t Blend(uint32_t top, uint32_t topWeight, uint32_t bottom, uint32_t bottomWeight,
               uint32_t t) {
    uint32_t word = (t >> 8) << 24;
    for (int shift = 0; shift < 24; shift += 8) {
        const uint32_t c =
            (Channel(top, shift) * topWeight + Channel(bottom, shift) * bottomWeight) >> 16;
        word |= (c & 255u) << shift;
    }
    return word;
}

} // namespace

// TColour -------------------------------------------------------------------------------------

TColour::TColour(const TColourAlpha &c) : r(c.r), g(c.g), b(c.b) {}

bool TColour::operator==(const TColour &o) const {
    return std::memcmp(this, &o, sizeof o) == 0;
}

void TColour::SetInterpolate(const TColour &a, const TColour &c, const float &t) {
    const double u = 1.0 - double(t);
    r = float(a.r * u + double(c.r) * t);
    g = float(a.g * u + double(c.g) * t);
    b = float(a.b * u + double(c.b) * t);
}

void TColour::SetClip(const TColour &a, float low, float high) {
    r = Hold(a.r, low, high), g = Hold(a.g, low, high), b = Hold(a.b, low, high);
}

void TColour::SetUnpack(const TPackColour &c) {
    r = Unpack(c.GetRed()), g = Unpack(c.GetGreen()), b = Unpack(c.GetBlue());
}

float TColour::GetIntensity() const {
    return float(double(0.3f) * r + double(0.59f) * g + double(0.11f) * b);
}

void TColour::SetFromHSV(float h, float s, float v) {
    if (s < 1e-15f) {
        r = g = b = v;
        return;
    }
    const double hh = double(h >= 360.0f ? 0.0f : h) * double(kOneSixtieth);
    const double i = std::floor(hh);
    const double f = hh - i;
    const double p = (1.0 - s) * double(v);
    const double q = (1.0 - f * s) * double(v);
    const double t = (1.0 - (1.0 - f) * s) * double(v);
    double out[3];
    if (i < 0.0 || i > 5.0 || !HsvSector(int(i), v, p, q, t, out))
        return;
    r = float(out[0]), g = float(out[1]), b = float(out[2]);
}

void TColour::GetHSV(float *h, float *s, float *v) const {
    const float hi = std::fmax(r, std::fmax(g, b));
    const float lo = std::fmin(r, std::fmin(g, b));
    *v = hi;
    if (hi < 1e-15f) {
        *s = 0.0f;
        *h = 0.0f;
        return;
    }
    const double d = double(hi) - lo;
    *s = float(d / hi);
    if (d == 0.0) {
        *h = 0.0f; // a grey has no hue; 0 keeps it defined
        return;
    }
    double hue;
    if (r == hi)
        hue = (double(g) - b) / d;
    else if (g == hi)
        hue = 2.0 + (double(b) - r) / d;
    else
        hue = 4.0 + (double(r) - g) / d;
    hue *= 60.0;
    if (hue < 0.0)
        hue += 360.0;
    *h = float(hue);
}

void TColour::Desaturate(float factor) {
    float h, s, v;
    GetHSV(&h, &s, &v);
    SetFromHSV(h, s * factor, v);
}

void TColour::Spread(float amount, TRandomAlgorithms<TMTRand> &random) {
    for (float *c : {&r, &g, &b}) {
        const uint32_t w = random.iRand32();
        float v = float(*c + (double(w) * vlib::detail::kWordScale - 0.5) * amount);
        *c = v <= 0.0f ? 0.0f : (v >= 1.0f ? 1.0f : v);
    }
}

// TColourAlpha --------------------------------------------------------------------------------

bool TColourAlpha::operator==(const TColourAlpha &o) const {
    return std::memcmp(this, &o, sizeof o) == 0;
}

void TColourAlpha::SetInterpolate(const TColourAlpha &x, const TColourAlpha &y, const float &t) {
    const double u = 1.0 - double(t);
    r = float(x.r * u + double(y.r) * t);
    g = float(x.g * u + double(y.g) * t);
    b = float(x.b * u + double(y.b) * t);
    a = float(x.a * u + double(y.a) * t);
}

void TColourAlpha::SetClip(const TColourAlpha &x, float low, float high) {
    r = Hold(x.r, low, high), g = Hold(x.g, low, high);
    b = Hold(x.b, low, high), a = Hold(x.a, low, high);
}

void TColourAlpha::SetUnpack(const TPackColour &c) {
    r = Unpack(c.GetRed()), g = Unpack(c.GetGreen()), b = Unpack(c.GetBlue());
    a = Unpack(c.GetAlpha());
}

float TColourAlpha::GetIntensity() const {
    return float(double(0.3f) * r + double(0.59f) * g + double(0.11f) * b);
}

// TColourHSVA ---------------------------------------------------------------------------------

TColourHSVA::TColourHSVA(const TColour &c) : a(1.0f) {
    c.GetHSV(&h, &s, &v);
}

TColourAlpha TColourHSVA::GetColourAlpha() const {
    const double hh = double(h) * double(kOneSixtieth);
    const double i = std::trunc(hh);
    const double f = hh - i;
    const double p = (1.0 - s) * double(v);
    const double q = (1.0 - f * s) * double(v);
    const double t = (1.0 - (1.0 - f) * s) * double(v);
    double out[3];
    if (!(i >= 0.0 && i <= 5.0) || !HsvSector(int(i), v, p, q, t, out))
        return TColourAlpha(1.0f, 1.0f, 1.0f, a);
    return TColourAlpha(float(out[0]), float(out[1]), float(out[2]), a);
}

// TPackColour ---------------------------------------------------------------------------------

void TPackColour::SetPack(const TColour &c) {
    SetPack(c, 255);
}

void TPackColour::SetPack(const TColour &c, int alpha) {
    SetPack(PackChannel(c.r), PackChannel(c.g), PackChannel(c.b), alpha);
}

void TPackColour::SetPack(const TColourAlpha &c) {
    SetPack(PackChannel(c.r), PackChannel(c.g), PackChannel(c.b), PackChannel(c.a));
}

void TPackColour::Mul(float f) {
    SetPack(Round(double(GetRed()) * f), Round(double(GetGreen()) * f),
            Round(double(GetBlue()) * f), 255);
}

void TPackColour::Mul(TPackColour o) {
    const auto scale = [](int other, int own) {
        return Round(double(other) * double(kUnpack) * double(own));
    };
    SetPack(scale(o.GetRed(), GetRed()), scale(o.GetGreen(), GetGreen()),
            scale(o.GetBlue(), GetBlue()), scale(o.GetAlpha(), GetAlpha()));
}

void TPackColour::SetInterpolate(TPackColour x, TPackColour y, float t) {
    const double u = 1.0 - double(t);
    const auto mix = [&](int cx, int cy) { return Round(cx * u + double(cy) * t); };
    SetPack(mix(x.GetRed(), y.GetRed()), mix(x.GetGreen(), y.GetGreen()),
            mix(x.GetBlue(), y.GetBlue()), mix(x.GetAlpha(), y.GetAlpha()));
}

void TPackColour::SetAverage(TPackColour w, TPackColour x, TPackColour y, TPackColour z) {
    colour = Half(Half(w.colour) + Half(x.colour)) + Half(Half(y.colour) + Half(z.colour));
}

void TPackColour::SetAverageWA(TPackColour x, TPackColour y) {
    const uint32_t ax = uint32_t(x.GetAlpha()), ay = uint32_t(y.GetAlpha());
    const uint32_t s = ax + ay;
    if (s == 0) {
        colour = 0;
        return;
    }
    uint32_t word = (s >> 1) << 24;
    for (int shift = 0; shift < 24; shift += 8)
        word |= ((Channel(x.colour, shift) * ax + Channel(y.colour, shift) * ay) / s) << shift;
    colour = word;
}

void TPackColour::SetAverageWA(TPackColour w, TPackColour x, TPackColour y, TPackColour z) {
    const TPackColour in[4] = {w, x, y, z};
    uint32_t s = 0;
    for (const TPackColour &c : in)
        s += uint32_t(c.GetAlpha());
    if (s == 0) {
        colour = 0;
        return;
    }
    uint32_t word = (s >> 2) << 24;
    for (int shift = 0; shift < 24; shift += 8) {
        uint32_t sum = 0;
        for (const TPackColour &c : in)
            sum += Channel(c.colour, shift) * uint32_t(c.GetAlpha());
        word |= (sum / s) << shift;
    }
    colour = word;
}

void TPackColour::PostDraw(TPackColour src) {
    const uint32_t s = uint32_t(src.GetAlpha()), a = uint32_t(GetAlpha());
    if (s == 0)
        return;
    if (s == 255) {
        colour = src.colour;
        return;
    }
    const uint32_t t = (255u - a) * s + a * 256u;
    const uint32_t k = Reciprocal(t);
    uint32_t wOwn = ((255u - s) * k * a) >> 8;
    uint32_t wSrc = k * s;
    wOwn = wOwn > 65535u ? 65535u : wOwn;
    wSrc = wSrc > 65535u ? 65535u : wSrc;
    colour = Blend(colour, wOwn, src.colour, wSrc, t);
}

void TPackColour::PreDraw(TPackColour under) {
    const uint32_t a = uint32_t(GetAlpha()), u = uint32_t(under.GetAlpha());
    if (a == 0) {
        colour = under.colour;
        return;
    }
    if (a == 255)
        return;
    const uint32_t t = (255u - u) * a + u * 256u;
    const uint32_t k = Reciprocal(t);
    uint32_t wUnder = ((255u - a) * k * u) >> 8;
    uint32_t wOwn = k * a;
    wUnder = wUnder > 65535u ? 65535u : wUnder;
    wOwn = wOwn > 65535u ? 65535u : wOwn;
    colour = Blend(colour, wOwn, under.colour, wUnder, t);
}
