// Streaming of the maths value types through TIOAdapter: round trips in both forms, the exact
// bytes and lines of a vector and a matrix, element order and names, the packed colour and
// the tracking of unnamed elements.
#include "General/Streams/IOAdapter.h"

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "General/Maths/Colour.h"
#include "General/Maths/Matrix.h"
#include "General/Maths/Quaternion.h"
#include "General/Maths/Rectangle.h"
#include "General/Maths/Vector.h"
#include "General/Streams/AsciiFilter.h"
#include "General/Streams/FileBuf.h"

namespace {

/// One of every maths value, streamed by one routine both ways.
struct TMathsSample {
    TVector2 v2{0, 0};
    TVector3 v3{0, 0, 0};
    TQuaternion q{0, 0, 0, 0};
    TRectangle rect{0, 0, 0, 0};
    TColour colour{0, 0, 0};
    TPackColour pack{0u};
    TMatrix3 m3 = TMatrix3::StaticZero;
    TMatrix4 m4 = TMatrix4::StaticZero;
    TMatrix43 m43 = TMatrix43::StaticZero;

    void Stream(TIOAdapter &io) {
        io.StreamVector2(v2, "V2");
        io.StreamVector3(v3, "V3");
        io.StreamQuaternion(q, "Q");
        io.StreamRect(rect, "Rect");
        io.StreamColour(colour, "Colour");
        io.StreamPackColour(pack, "Pack");
        io.StreamMatrix3(m3, "M3");
        io.StreamMatrix4(m4, "M4");
        io.StreamTransform(m43, "M43");
    }

    /// Values that survive the six decimals of text form exactly.
    static TMathsSample Filled() {
        TMathsSample s;
        s.v2 = TVector2(1.5f, -2.25f);
        s.v3 = TVector3(0.125f, 1024.0f, -0.5f);
        s.q = TQuaternion(0.75f, 0.25f, -0.5f, 0.375f);
        s.rect = TRectangle(-1.0f, 3.0f, -2.0f, 4.5f);
        s.colour = TColour(0.25f, 0.5f, 1.0f);
        s.pack = TPackColour(0x80FF4001u);
        float k = 0.0f;
        for (auto &row : s.m3.m)
            for (float &f : row)
                f = (k += 0.5f);
        for (auto &row : s.m4.m)
            for (float &f : row)
                f = -(k += 0.25f);
        for (auto &row : s.m43.m)
            for (float &f : row)
                f = (k += 1.0f);
        return s;
    }

    /// Bitwise comparison, so a swapped or dropped element cannot hide behind a tolerance.
    bool operator==(const TMathsSample &o) const {
        return std::memcmp(&v2, &o.v2, sizeof v2) == 0 && std::memcmp(&v3, &o.v3, sizeof v3) == 0 &&
               std::memcmp(&q, &o.q, sizeof q) == 0 &&
               std::memcmp(&rect, &o.rect, sizeof rect) == 0 &&
               std::memcmp(&colour, &o.colour, sizeof colour) == 0 && pack == o.pack &&
               std::memcmp(&m3, &o.m3, sizeof m3) == 0 && std::memcmp(&m4, &o.m4, sizeof m4) == 0 &&
               std::memcmp(&m43, &o.m43, sizeof m43) == 0;
    }
};

std::string Bytes(TManagedFileBuf &file) {
    return std::string(reinterpret_cast<const char *>(file.GetBuffer()),
                       static_cast<size_t>(file.Length()));
}

/// Writes with `stream` in binary or text form and returns the bytes.
template <typename F> std::string Write(bool text, F stream) {
    TManagedFileBuf file;
    EXPECT_TRUE(file.Open(4, 0));
    if (!text) {
        TIOAdapter io(&file, true);
        stream(io);
        EXPECT_FALSE(io.IsBad());
        return Bytes(file);
    }
    TAsciiOutFilter out;
    EXPECT_TRUE(out.Open(&file));
    TIOAdapter io(&out);
    stream(io);
    EXPECT_FALSE(io.IsBad());
    out.CloseLayer();
    return Bytes(file);
}

/// Reads `bytes` with `stream` in binary or text form.
template <typename F> void Read(bool text, const std::string &bytes, F stream) {
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(6, static_cast<int>(bytes.size())));
    std::memcpy(file.GetBuffer(), bytes.data(), bytes.size());
    if (!text) {
        TIOAdapter io(&file, false);
        stream(io);
        return;
    }
    TAsciiInFilter in;
    ASSERT_TRUE(in.Open(&file));
    TIOAdapter io(&in);
    stream(io);
}

/// The little-endian bytes of a float.
std::string FloatBytes(float f) {
    uint32_t bits;
    std::memcpy(&bits, &f, 4);
    std::string out;
    for (int i = 0; i < 4; ++i)
        out += static_cast<char>(bits >> (8 * i));
    return out;
}

} // namespace

TEST(IOAdapter, EveryValueRoundTripsInBothForms) {
    for (bool text : {false, true}) {
        SCOPED_TRACE(text ? "text" : "binary");
        TMathsSample written = TMathsSample::Filled();
        const std::string bytes = Write(text, [&](TIOAdapter &io) { written.Stream(io); });
        TMathsSample read;
        Read(text, bytes, [&](TIOAdapter &io) { read.Stream(io); });
        EXPECT_TRUE(read == written);
        // Writing changes nothing either (the packed colour is rebuilt from its channels).
        EXPECT_TRUE(written == TMathsSample::Filled());
    }
    // Binary form is the floats and ints alone: no names, no counts.
    TMathsSample s = TMathsSample::Filled();
    EXPECT_EQ(Write(false, [&](TIOAdapter &io) { s.Stream(io); }).size(),
              4u * (2 + 3 + 4 + 4 + 3 + 4 + 9 + 16 + 12));
}

TEST(IOAdapter, GoldenVectorAndMatrix) {
    TVector3 v(1.5f, -2.0f, 0.25f);
    TMatrix3 m(1, 2, 3, 4, 5, 6, 7, 8, 9.5f);
    auto stream = [&](TIOAdapter &io) {
        io.StreamVector3(v, "Pos");
        io.StreamMatrix3(m, "Rot");
    };
    EXPECT_EQ(Write(true, stream), "Pos[0]=1.500000\nPos[1]=-2.000000\nPos[2]=0.250000\n"
                                   "Rot[0][0]=1.000000\nRot[0][1]=2.000000\nRot[0][2]=3.000000\n"
                                   "Rot[1][0]=4.000000\nRot[1][1]=5.000000\nRot[1][2]=6.000000\n"
                                   "Rot[2][0]=7.000000\nRot[2][1]=8.000000\nRot[2][2]=9.500000\n");
    const std::string binary = Write(false, stream);
    EXPECT_EQ(binary.substr(0, 12), std::string("\x00\x00\xC0\x3F"
                                                "\x00\x00\x00\xC0"
                                                "\x00\x00\x80\x3E",
                                                12));
    // Row by row: element [0][1] follows [0][0], and [1][0] starts the second row.
    std::string rows;
    for (float f : {1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f, 7.0f, 8.0f, 9.5f})
        rows += FloatBytes(f);
    EXPECT_EQ(binary.substr(12), rows);
}

TEST(IOAdapter, ElementOrderAndNamesInText) {
    struct Case {
        const char *label;
        void (*stream)(TIOAdapter &);
        const char *text;
    };
    static const Case kCases[] = {
        {"vector2",
         [](TIOAdapter &io) {
             TVector2 v(1, 2);
             io.StreamVector2(v, "P");
         },
         "P[0]=1.000000\nP[1]=2.000000\n"},
        {"quaternion, w last",
         [](TIOAdapter &io) {
             TQuaternion q(4, 1, 2, 3);
             io.StreamQuaternion(q, "Q");
         },
         "Q[x]=1.000000\nQ[y]=2.000000\nQ[z]=3.000000\nQ[w]=4.000000\n"},
        {"rectangle",
         [](TIOAdapter &io) {
             TRectangle r(1, 3, 2, 4); // x0, x1, y0, y1
             io.StreamRect(r, "R");
         },
         "R[XMin]=1.000000\nR[YMin]=2.000000\nR[XMax]=3.000000\nR[YMax]=4.000000\n"},
        {"colour",
         [](TIOAdapter &io) {
             TColour c(0.5f, 0.25f, 0);
             io.StreamColour(c, "C");
         },
         "C[R]=0.500000\nC[G]=0.250000\nC[B]=0.000000\n"},
        {"packed colour as ints",
         [](TIOAdapter &io) {
             TPackColour c(1, 2, 3, 0x80);
             io.StreamPackColour(c, "C");
         },
         "C[R]=1\nC[G]=2\nC[B]=3\nC[A]=128\n"},
        {"transform, four rows of three",
         [](TIOAdapter &io) {
             TMatrix43 m(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11);
             io.StreamTransform(m, "T");
         },
         "T[0][0]=0.000000\nT[0][1]=1.000000\nT[0][2]=2.000000\nT[1][0]=3.000000\n"
         "T[1][1]=4.000000\nT[1][2]=5.000000\nT[2][0]=6.000000\nT[2][1]=7.000000\n"
         "T[2][2]=8.000000\nT[3][0]=9.000000\nT[3][1]=10.000000\nT[3][2]=11.000000\n"},
        {"vector3's own routine",
         [](TIOAdapter &io) {
             TVector3 v(1, 2, 3);
             v.Stream(io);
         },
         "Component[0]=1.000000\nComponent[1]=2.000000\nComponent[2]=3.000000\n"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.label);
        EXPECT_EQ(Write(true, c.stream), c.text);
    }
    // Sixteen elements of a 4 x 4 matrix, the last named [3][3].
    TMatrix4 m = TMatrix4::StaticI;
    const std::string text = Write(true, [&](TIOAdapter &io) { io.StreamMatrix4(m, "M"); });
    EXPECT_EQ(text.rfind("M[3][2]=0.000000\nM[3][3]=1.000000\n"), text.size() - 34);
}

TEST(IOAdapter, PackColourIsFourIntsAndRebuildsTheWord) {
    TPackColour c(1, 2, 3, 0x80); // red 1, green 2, blue 3, alpha 0x80
    const uint32_t before = c.colour;
    const std::string binary = Write(false, [&](TIOAdapter &io) { io.StreamPackColour(c, "C"); });
    EXPECT_EQ(c.colour, before);
    EXPECT_EQ(binary, std::string("\x01\0\0\0\x02\0\0\0\x03\0\0\0\x80\0\0\0", 16));

    // Channels read from text are put back in their places; out-of-range ones keep their byte.
    TPackColour read(0u);
    Read(true, "C[R]=16\nC[G]=32\nC[B]=48\nC[A]=511\n",
         [&](TIOAdapter &io) { io.StreamPackColour(read, "C"); });
    EXPECT_EQ(read.colour, 0xFF102030u);
}

TEST(IOAdapter, QuaternionPutsWLastInBinaryToo) {
    TQuaternion q(4, 1, 2, 3); // w first in memory
    EXPECT_EQ(Write(false, [&](TIOAdapter &io) { io.StreamQuaternion(q, "Q"); }),
              FloatBytes(1) + FloatBytes(2) + FloatBytes(3) + FloatBytes(4));
}

TEST(IOAdapter, BinaryElementsAreTrackedUnderTheEmptyName) {
    TRootTrack track;
    TRootTrack::SetGlobalTracking(&track);
    TVector3 v(1, 2, 3);
    TPackColour c(0u);
    TMatrix43 m = TMatrix43::StaticI;
    (void)Write(false, [&](TIOAdapter &io) {
        io.StreamVector3(v, "V");
        io.StreamPackColour(c, "C");
        io.StreamTransform(m, "T");
        v.Stream(io); // named elements count under their own names
    });
    (void)Write(true, [&](TIOAdapter &io) { io.StreamVector3(v, "V"); }); // text: no tracking
    TRootTrack::SetGlobalTracking(nullptr);
    EXPECT_EQ(track.GetEntries().at(""), 12 + 16 + 48);
    EXPECT_EQ(track.GetEntries().at("Component[1]"), 4);
    EXPECT_EQ(track.GetEntries().size(), 4u);
}
