// Colours: packing constants, whole-word arithmetic, alpha-weighted averages, compositing in
// both directions, HSV conversions and the random spread.
#include "General/Maths/Colour.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

TEST(Colour, PackingRoundsWith255Point499) {
    EXPECT_EQ(TPackColour(TColour(1, 1, 1)).colour, 0xFFFFFFFFu);
    EXPECT_EQ(TPackColour(TColour(0.5f, 0.0f, 1.0f)).colour, 0xFF8000FFu);
    EXPECT_EQ(TPackColour(TColourAlpha(0, 0, 0, 0.5f)).colour, 0x80000000u);
    TPackColour p;
    p.SetPack(TColour(0.25f, 0.75f, 0.1f), 3);
    EXPECT_EQ(p.GetAlpha(), 3);
    EXPECT_EQ(p.GetRed(), 64);    // 63.87
    EXPECT_EQ(p.GetGreen(), 192); // 191.62
    EXPECT_EQ(p.GetBlue(), 26);   // 25.55
    // Unpacking and packing again gives every byte back.
    for (int v = 0; v < 256; ++v) {
        const TPackColour c(v, 255 - v, v / 2, 255);
        EXPECT_EQ(TPackColour(TColour(c)).colour, c.colour) << v;
        EXPECT_EQ(TPackColour(TColourAlpha(c)).colour, c.colour) << v;
    }
    EXPECT_EQ(TColour(TPackColour(0x00FF0000u)).r, float(255.0 * double(0.003921569f)));
}

TEST(Colour, WholeWordOperations) {
    TPackColour c(0xFFFFFFFFu);
    c.Over2();
    EXPECT_EQ(c.colour, 0x7F7F7F7Fu);
    c.SetOver4(TPackColour(0xFFFFFFFFu));
    EXPECT_EQ(c.colour, 0x3F3F3F3Fu);
    // A carry passes into the next channel.
    c.SetAdd(TPackColour(0x000000FFu), TPackColour(0x00000001u));
    EXPECT_EQ(c.colour, 0x00000100u);
    TPackColour even(0x80402010u), avg;
    avg.SetAverage(even, even);
    EXPECT_EQ(avg.colour, even.colour);
    avg.SetAverage(TPackColour(0x00000003u), TPackColour(0x00000005u));
    EXPECT_EQ(avg.colour, 0x00000003u); // 1 + 2: each input loses its lowest bit
    avg.SetAverage(TPackColour(0x08000000u), TPackColour(0x04000000u), TPackColour(0u),
                   TPackColour(0x10000000u));
    EXPECT_EQ(avg.colour, 0x07000000u);
    TPackColour rgb(0x11223344u);
    rgb.SetRGB(TPackColour(0xAABBCCDDu));
    EXPECT_EQ(rgb.colour, 0x11BBCCDDu);
    rgb.SetRed(0x55);
    rgb.SetAlpha(0x66);
    EXPECT_EQ(rgb.colour, 0x6655CCDDu);
    EXPECT_EQ(TPackColour(255, 255, 255, 0).GetIntensity(), 255);
    EXPECT_EQ(TPackColour(100, 0, 0, 0).GetIntensity(), 30); // 7700 >> 8
}

TEST(Colour, PackedScaling) {
    TPackColour c(100, 50, 3, 7);
    c.Mul(0.5f);
    EXPECT_EQ(c.colour, TPackColour(50, 25, 2, 255).colour); // 1.5 rounds to even
    TPackColour m(200, 100, 255, 128);
    m.Mul(TPackColour(255, 128, 0, 255));
    EXPECT_EQ(m.GetRed(), 200);
    EXPECT_EQ(m.GetGreen(), 50);
    EXPECT_EQ(m.GetBlue(), 0);
    EXPECT_EQ(m.GetAlpha(), 128);
    TPackColour i;
    i.SetInterpolate(TPackColour(0, 100, 200, 255), TPackColour(255, 0, 100, 55), 0.25f);
    EXPECT_EQ(i.colour, TPackColour(64, 75, 175, 205).colour);
}

TEST(Colour, AlphaWeightedAverage) {
    TPackColour c;
    c.SetAverageWA(TPackColour(10, 20, 30, 0), TPackColour(40, 50, 60, 0));
    EXPECT_EQ(c.colour, 0u);
    c.SetAverageWA(TPackColour(100, 0, 0, 255), TPackColour(0, 100, 0, 0));
    EXPECT_EQ(c.colour, TPackColour(100, 0, 0, 127).colour);
    c.SetAverageWA(TPackColour(90, 0, 0, 200), TPackColour(0, 90, 30, 100));
    EXPECT_EQ(c.colour, TPackColour(60, 30, 10, 150).colour);
    c.SetAverageWA(TPackColour(0u), TPackColour(0u), TPackColour(0u), TPackColour(0u));
    EXPECT_EQ(c.colour, 0u);
    c.SetAverageWA(TPackColour(40, 0, 0, 100), TPackColour(0, 40, 0, 100),
                   TPackColour(0, 0, 40, 100), TPackColour(40, 40, 40, 100));
    EXPECT_EQ(c.colour, TPackColour(20, 20, 20, 100).colour);
}

TEST(Colour, CompositingBothWays) {
    const TPackColour base(10, 20, 30, 200);
    TPackColour c = base;
    c.PostDraw(TPackColour(255, 255, 255, 0));
    EXPECT_EQ(c.colour, base.colour);
    c.PostDraw(TPackColour(1, 2, 3, 255));
    EXPECT_EQ(c.colour, TPackColour(1, 2, 3, 255).colour);
    c = base;
    c.PreDraw(TPackColour(99, 99, 99, 99));
    EXPECT_EQ(c.GetAlpha(), 220); // ((255 - 99) * 200 + 99 * 256) >> 8
    TPackColour top(10, 20, 30, 255);
    top.PreDraw(TPackColour(200, 200, 200, 255));
    EXPECT_EQ(top.colour, TPackColour(10, 20, 30, 255).colour);
    TPackColour clear(10, 20, 30, 0);
    clear.PreDraw(TPackColour(200, 201, 202, 203));
    EXPECT_EQ(clear.colour, TPackColour(200, 201, 202, 203).colour);

    // Half white over opaque black comes out mid grey and opaque.
    TPackColour black(0, 0, 0, 255);
    black.PostDraw(TPackColour(255, 255, 255, 128));
    EXPECT_EQ(black.GetAlpha(), 255);
    EXPECT_NEAR(black.GetRed(), 128, 1);

    // "a over b" is the same whichever of the two does the drawing.
    for (int sa : {1, 64, 128, 200, 254})
        for (int ub : {0, 1, 100, 255}) {
            SCOPED_TRACE(::testing::Message() << sa << " over " << ub);
            const TPackColour a(250, 10, 128, sa), b(3, 240, 77, ub);
            TPackColour viaPost = b, viaPre = a;
            viaPost.PostDraw(a);
            viaPre.PreDraw(b);
            EXPECT_EQ(viaPost.colour, viaPre.colour);
        }
}

TEST(Colour, HsvConversions) {
    TColour c(0, 0, 0);
    c.SetFromHSV(360.0f, 1.0f, 1.0f);
    EXPECT_EQ(c, TColour(1, 0, 0));
    float h, s, v;
    TColour(0, 0, 0).GetHSV(&h, &s, &v);
    EXPECT_EQ(h, 0.0f);
    EXPECT_EQ(s, 0.0f);
    EXPECT_EQ(v, 0.0f);
    TColour(0.5f, 0.5f, 0.5f).GetHSV(&h, &s, &v);
    EXPECT_EQ(h, 0.0f); // a grey has no hue; it comes out 0, not NaN
    EXPECT_EQ(s, 0.0f);

    struct Case {
        float h, s, v;
        TColour rgb;
    };
    const Case kCases[] = {
        {0, 1, 1, {1, 0, 0}},  {120, 1, 1, {0, 1, 0}},       {240, 1, 1, {0, 0, 1}},
        {60, 1, 1, {1, 1, 0}}, {300, 0.5f, 1, {1, 0.5f, 1}}, {30, 1, 0.5f, {0.5f, 0.25f, 0}},
    };
    for (const Case &k : kCases) {
        SCOPED_TRACE(k.h);
        TColour out(9, 9, 9);
        out.SetFromHSV(k.h, k.s, k.v);
        EXPECT_NEAR(out.r, k.rgb.r, 1e-6f);
        EXPECT_NEAR(out.g, k.rgb.g, 1e-6f);
        EXPECT_NEAR(out.b, k.rgb.b, 1e-6f);
        out.GetHSV(&h, &s, &v);
        EXPECT_NEAR(h, k.h, 1e-4f);
        EXPECT_NEAR(s, k.s, 1e-6f);
        EXPECT_NEAR(v, k.v, 1e-6f);
        const TColourAlpha back = TColourHSVA(out).GetColourAlpha();
        EXPECT_NEAR(back.r, k.rgb.r, 1e-6f);
        EXPECT_NEAR(back.b, k.rgb.b, 1e-6f);
        EXPECT_EQ(back.a, 1.0f);
    }
    TColour unchanged(0.1f, 0.2f, 0.3f);
    unchanged.SetFromHSV(-90.0f, 1.0f, 1.0f);
    EXPECT_EQ(unchanged, TColour(0.1f, 0.2f, 0.3f));
    EXPECT_EQ(TColourHSVA(-90.0f, 1, 1, 0.5f).GetColourAlpha(), TColourAlpha(1, 1, 1, 0.5f));
    EXPECT_EQ(TColourHSVA(400.0f, 1, 1, 1).GetColourAlpha(), TColourAlpha(1, 1, 1, 1));

    TColour grey(0.8f, 0.4f, 0.4f);
    grey.Desaturate(0.0f);
    EXPECT_FLOAT_EQ(grey.g, 0.8f);
    EXPECT_FLOAT_EQ(grey.b, 0.8f);
}

TEST(Colour, FloatChannels) {
    TColour c;
    EXPECT_EQ(c, TColour(1, 1, 1));
    EXPECT_EQ(TColourHSVA().a, 1.0f);
    EXPECT_EQ(TColourAlpha(0.1f, 0.2f, 0.3f).a, 1.0f);
    c.SetInterpolate(TColour(0, 0, 1), TColour(1, 0, 0), 0.25f);
    EXPECT_FLOAT_EQ(c.r, 0.25f);
    EXPECT_FLOAT_EQ(c.b, 0.75f);
    c.Mul(4.0f);
    c.Clip(0.0f, 1.0f);
    EXPECT_EQ(c, TColour(1, 0, 1));
    EXPECT_FLOAT_EQ(TColour(1, 1, 1).GetIntensity(), 1.0f);
    EXPECT_NE(TColour(0.0f, 0, 0), TColour(-0.0f, 0, 0)); // the bits differ
    const TColour dropped(TColourAlpha(0.1f, 0.2f, 0.3f, 0.4f));
    EXPECT_EQ(dropped, TColour(0.1f, 0.2f, 0.3f));
}

TEST(Colour, SpreadUsesOneWordPerChannel) {
    TRandomAlgorithms<TMTRand> random, twin;
    TColour c(0.5f, 0.0f, 0.99f);
    c.Spread(0.2f, random);
    const float kStart[3] = {0.5f, 0.0f, 0.99f};
    float expected[3];
    for (int i = 0; i < 3; ++i) {
        const double w = double(twin.iRand32()) / 4294967296.0;
        const float v = float(kStart[i] + (w - 0.5) * 0.2f);
        expected[i] = v <= 0.0f ? 0.0f : (v >= 1.0f ? 1.0f : v);
    }
    EXPECT_EQ(c.r, expected[0]);
    EXPECT_EQ(c.g, expected[1]);
    EXPECT_EQ(c.b, expected[2]);
    EXPECT_EQ(random.iRand32(), twin.iRand32());
}

} // namespace
