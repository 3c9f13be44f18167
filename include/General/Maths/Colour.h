// Colours as floats from 0 to 1 (TColour, TColourAlpha), as hue, saturation and value
// (TColourHSVA), and packed in one word 0xAARRGGBB (TPackColour). Packed arithmetic works on the
// whole word at once; conversions are fixed to the bit, since saved data holds packed colours.
#pragma once

#include "General/Core/Export.h"
#include "General/Maths/MTRand.h"
#include "General/Maths/RandomAlgorithms.h"

#include <cstdint>
#include <type_traits>

class TColourAlpha;
class TPackColour;

/// Red, green and blue, 0 to 1; white by default.
class VLIB_API TColour {
public:
    float r, g, b;

    TColour() : r(1.0f), g(1.0f), b(1.0f) {}
    TColour(float r_, float g_, float b_) : r(r_), g(g_), b(b_) {}
    /// Drops alpha.
    explicit TColour(const TColourAlpha &c);
    explicit TColour(const TPackColour &c) { SetUnpack(c); }

    /// Exact comparison of the float bits.
    bool operator==(const TColour &o) const;
    bool operator!=(const TColour &o) const { return !(*this == o); }

    void SetAdd(const TColour &a, const TColour &c) { r = a.r + c.r, g = a.g + c.g, b = a.b + c.b; }
    void SetSub(const TColour &a, const TColour &c) { r = a.r - c.r, g = a.g - c.g, b = a.b - c.b; }
    void SetMul(const TColour &a, float s) { r = a.r * s, g = a.g * s, b = a.b * s; }
    void SetMul(const TColour &a, const TColour &c) { r = a.r * c.r, g = a.g * c.g, b = a.b * c.b; }
    void Add(const TColour &c) { SetAdd(*this, c); }
    void Sub(const TColour &c) { SetSub(*this, c); }
    void Mul(float s) { SetMul(*this, s); }
    void Mul(const TColour &c) { SetMul(*this, c); }
    /// a * (1 - t) + c * t.
    void SetInterpolate(const TColour &a, const TColour &c, const float &t);
    void SetClip(const TColour &a, float low, float high);
    void Clip(float low, float high) { SetClip(*this, low, high); }
    /// Channels times 1/255.
    void SetUnpack(const TPackColour &c);
    /// 0.3 r + 0.59 g + 0.11 b.
    float GetIntensity() const;

    /// From hue in degrees (360 counts as 0), saturation and value; a negative hue leaves the
    /// colour unchanged.
    void SetFromHSV(float h, float s, float v);
    /// Hue in degrees (0 for black and greys), saturation and value.
    void GetHSV(float *h, float *s, float *v) const;
    /// Scales the saturation.
    void Desaturate(float factor);
    /// Moves each channel by up to amount / 2 either way, one word of `random` per channel,
    /// and clamps to 0 .. 1.
    void Spread(float amount, TRandomAlgorithms<TMTRand> &random);
};

/// Red, green, blue and alpha, 0 to 1; opaque white by default.
class VLIB_API TColourAlpha {
public:
    float r, g, b, a;

    TColourAlpha() : r(1.0f), g(1.0f), b(1.0f), a(1.0f) {}
    TColourAlpha(float r_, float g_, float b_) : r(r_), g(g_), b(b_), a(1.0f) {}
    TColourAlpha(float r_, float g_, float b_, float a_) : r(r_), g(g_), b(b_), a(a_) {}
    explicit TColourAlpha(const TPackColour &c) { SetUnpack(c); }

    bool operator==(const TColourAlpha &o) const;
    bool operator!=(const TColourAlpha &o) const { return !(*this == o); }

    void SetAdd(const TColourAlpha &x, const TColourAlpha &y) {
        r = x.r + y.r, g = x.g + y.g, b = x.b + y.b, a = x.a + y.a;
    }
    void SetSub(const TColourAlpha &x, const TColourAlpha &y) {
        r = x.r - y.r, g = x.g - y.g, b = x.b - y.b, a = x.a - y.a;
    }
    void SetMul(const TColourAlpha &x, float s) {
        r = x.r * s, g = x.g * s, b = x.b * s, a = x.a * s;
    }
    void SetMul(const TColourAlpha &x, const TColourAlpha &y) {
        r = x.r * y.r, g = x.g * y.g, b = x.b * y.b, a = x.a * y.a;
    }
    void Add(const TColourAlpha &c) { SetAdd(*this, c); }
    void Sub(const TColourAlpha &c) { SetSub(*this, c); }
    void Mul(float s) { SetMul(*this, s); }
    void Mul(const TColourAlpha &c) { SetMul(*this, c); }
    void SetInterpolate(const TColourAlpha &x, const TColourAlpha &y, const float &t);
    void SetClip(const TColourAlpha &x, float low, float high);
    void Clip(float low, float high) { SetClip(*this, low, high); }
    void SetUnpack(const TPackColour &c);
    float GetIntensity() const;
};

/// Hue in degrees, saturation, value and alpha; (0, 0, 0, 1) by default.
class VLIB_API TColourHSVA {
public:
    float h, s, v, a;

    TColourHSVA() : h(0.0f), s(0.0f), v(0.0f), a(1.0f) {}
    TColourHSVA(float h_, float s_, float v_, float a_) : h(h_), s(s_), v(v_), a(a_) {}
    /// As GetHSV gives it, alpha 1.
    explicit TColourHSVA(const TColour &c);
    /// The colour of these values; a sector outside 0 to 5 gives white.
    TColourAlpha GetColourAlpha() const;
};

/// One word 0xAARRGGBB.
class VLIB_API TPackColour {
public:
    uint32_t colour;

    /// Leaves the word unset.
    TPackColour() = default;
    explicit constexpr TPackColour(uint32_t word) : colour(word) {}
    /// Assembled with no range check.
    TPackColour(int r, int g, int b, int a) { SetPack(r, g, b, a); }
    explicit TPackColour(const TColour &c) { SetPack(c); }
    explicit TPackColour(const TColourAlpha &c) { SetPack(c); }

    bool operator==(const TPackColour &o) const { return colour == o.colour; }
    bool operator!=(const TPackColour &o) const { return colour != o.colour; }

    void SetPack(int r, int g, int b, int a) {
        colour = (uint32_t(a) << 24) | (uint32_t(r) << 16) | (uint32_t(g) << 8) | uint32_t(b);
    }
    /// Channels times 255.499, rounded; alpha 255.
    void SetPack(const TColour &c);
    void SetPack(const TColour &c, int alpha);
    void SetPack(const TColourAlpha &c);

    int GetRed() const { return int((colour >> 16) & 255u); }
    int GetGreen() const { return int((colour >> 8) & 255u); }
    int GetBlue() const { return int(colour & 255u); }
    int GetAlpha() const { return int(colour >> 24); }
    void SetRed(int v) { colour = (colour & 0xFF00FFFFu) | ((uint32_t(v) & 255u) << 16); }
    void SetGreen(int v) { colour = (colour & 0xFFFF00FFu) | ((uint32_t(v) & 255u) << 8); }
    void SetBlue(int v) { colour = (colour & 0xFFFFFF00u) | (uint32_t(v) & 255u); }
    void SetAlpha(int v) { colour = (colour & 0x00FFFFFFu) | (uint32_t(v) << 24); }
    /// c's red, green and blue with this alpha.
    void SetRGB(TPackColour c) { colour = (colour & 0xFF000000u) | (c.colour & 0x00FFFFFFu); }

    /// Whole-word arithmetic: a carry passes from one channel into the next.
    void SetAdd(TPackColour x, TPackColour y) { colour = x.colour + y.colour; }
    void SetSub(TPackColour x, TPackColour y) { colour = x.colour - y.colour; }
    void Add(TPackColour c) { colour += c.colour; }
    void Sub(TPackColour c) { colour -= c.colour; }
    /// Every channel halved.
    void SetOver2(TPackColour c) { colour = (c.colour >> 1) & 0x7F7F7F7Fu; }
    void Over2() { SetOver2(*this); }
    /// Every channel quartered.
    void SetOver4(TPackColour c) { colour = (c.colour >> 2) & 0x3F3F3F3Fu; }
    void Over4() { SetOver4(*this); }
    /// (77 r + 151 g + 28 b) >> 8.
    int GetIntensity() const {
        return int(
            (77u * uint32_t(GetRed()) + 151u * uint32_t(GetGreen()) + 28u * uint32_t(GetBlue())) >>
            8);
    }
    /// Red, green and blue scaled and rounded; alpha becomes 255.
    void Mul(float f);
    /// Each channel scaled by the other's over 255, rounded.
    void Mul(TPackColour o);
    /// Each channel x * (1 - t) + y * t, rounded.
    void SetInterpolate(TPackColour x, TPackColour y, float t);
    /// Each channel's average, each input losing its lowest bit.
    void SetAverage(TPackColour x, TPackColour y) {
        colour = ((x.colour >> 1) & 0x7F7F7F7Fu) + ((y.colour >> 1) & 0x7F7F7F7Fu);
    }
    void SetAverage(TPackColour w, TPackColour x, TPackColour y, TPackColour z);
    /// The average weighted by alpha; two transparent inputs give the word 0.
    void SetAverageWA(TPackColour x, TPackColour y);
    void SetAverageWA(TPackColour w, TPackColour x, TPackColour y, TPackColour z);
    /// Draws src over this colour.
    void PostDraw(TPackColour src);
    /// Draws `under` beneath this colour.
    void PreDraw(TPackColour under);
};

static_assert(sizeof(TColour) == 12 && std::is_trivially_copyable_v<TColour>);
static_assert(sizeof(TColourAlpha) == 16 && std::is_trivially_copyable_v<TColourAlpha>);
static_assert(sizeof(TColourHSVA) == 16 && std::is_trivially_copyable_v<TColourHSVA>);
static_assert(sizeof(TPackColour) == 4 && std::is_trivially_copyable_v<TPackColour>);
