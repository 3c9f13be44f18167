#include "General/Streams/BinaryFilter.h"

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "General/Maths/Matrix.h"
#include "General/Maths/Quaternion.h"
#include "General/Maths/Vector.h"
#include "General/Platform/Time.h"
#include "General/Streams/FileBuf.h"
#include "General/Streams/RealFile.h"
#include "Support/FileFaults.h"
#include "Support/TempDir.h"

namespace {

using Bytes = std::vector<unsigned char>;
constexpr unsigned long kRead = 2, kWrite = 4;

Bytes Written(const std::function<void(TBinaryOutFilter &)> &write) {
    TManagedFileBuf file;
    file.Open(kWrite, 0);
    TBinaryOutFilter out;
    EXPECT_TRUE(out.Open(&file));
    write(out);
    return Bytes(file.GetBuffer(), file.GetBuffer() + file.Length());
}

/// A binary reader over a copy of `bytes`.
struct TByteSource {
    explicit TByteSource(const Bytes &bytes) : m_Bytes(bytes) {
        m_File.Open(m_Bytes.data(), int(m_Bytes.size()), kRead);
        m_In.Open(&m_File);
    }
    Bytes m_Bytes;
    TFixedFileBuf m_File;
    TBinaryInFilter m_In;
};

TMatrix2 Matrix2(float a, float b, float c, float d) {
    TMatrix2 m;
    m.m[0][0] = a, m.m[0][1] = b, m.m[1][0] = c, m.m[1][1] = d;
    return m;
}

} // namespace

// The memory form of every type, as a 32-bit build writes it: little-endian, `long` in four
// bytes, strings with their terminator and no count.
TEST(BinaryFilter, GoldenBytesOfEveryType) {
    struct Case {
        const char *name;
        std::function<void(TBinaryOutFilter &)> write;
        std::function<bool(TBinaryInFilter &)> readBack;
        Bytes bytes;
    };
    const Case kCases[] = {
        {"int",
         [](auto &o) { o << -2; },
         [](auto &i) {
             int v = 0;
             i >> v;
             return v == -2;
         },
         {0xFE, 0xFF, 0xFF, 0xFF}},
        {"unsigned int",
         [](auto &o) { o << 0x01020304u; },
         [](auto &i) {
             unsigned v = 0;
             i >> v;
             return v == 0x01020304u;
         },
         {4, 3, 2, 1}},
        {"long is four bytes",
         [](auto &o) { o << -1L; },
         [](auto &i) {
             long v = 0;
             i >> v;
             return v == -1;
         },
         {0xFF, 0xFF, 0xFF, 0xFF}},
        {"long keeps its low word",
         [](auto &o) { o << 0x100000002L; },
         [](auto &i) {
             long v = 0;
             i >> v;
             return v == 2;
         },
         {2, 0, 0, 0}},
        {"unsigned long",
         [](auto &o) { o << 0xDEADBEEFUL; },
         [](auto &i) {
             unsigned long v = 0;
             i >> v;
             return v == 0xDEADBEEFUL;
         },
         {0xEF, 0xBE, 0xAD, 0xDE}},
        {"short",
         [](auto &o) { o << short(-2); },
         [](auto &i) {
             short v = 0;
             i >> v;
             return v == -2;
         },
         {0xFE, 0xFF}},
        {"unsigned short",
         [](auto &o) { o << static_cast<unsigned short>(0x1234); },
         [](auto &i) {
             unsigned short v = 0;
             i >> v;
             return v == 0x1234;
         },
         {0x34, 0x12}},
        {"int64",
         [](auto &o) { o << __int64(-2); },
         [](auto &i) {
             __int64 v = 0;
             i >> v;
             return v == -2;
         },
         {0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
        {"uint64",
         [](auto &o) { o << VUInt64(0x0102030405060708ULL); },
         [](auto &i) {
             VUInt64 v = 0;
             i >> v;
             return v == 0x0102030405060708ULL;
         },
         {8, 7, 6, 5, 4, 3, 2, 1}},
        {"bool",
         [](auto &o) { o << true << false; },
         [](auto &i) {
             bool a = false, b = true;
             i >> a >> b;
             return a && !b;
         },
         {1, 0}},
        {"chars",
         [](auto &o) {
             o << 'A' << static_cast<signed char>(-1) << static_cast<unsigned char>(0x80);
         },
         [](auto &i) {
             char a = 0;
             signed char b = 0;
             unsigned char c = 0;
             i >> a >> b >> c;
             return a == 'A' && b == -1 && c == 0x80;
         },
         {0x41, 0xFF, 0x80}},
        {"float",
         [](auto &o) { o << 1.5f; },
         [](auto &i) {
             float v = 0;
             i >> v;
             return v == 1.5f;
         },
         {0, 0, 0xC0, 0x3F}},
        {"double",
         [](auto &o) { o << 1.5; },
         [](auto &i) {
             double v = 0;
             i >> v;
             return v == 1.5;
         },
         {0, 0, 0, 0, 0, 0, 0xF8, 0x3F}},
        {"TTime",
         [](auto &o) { o << TTime(0x0102030405060708LL); },
         [](auto &i) {
             TTime v;
             i >> v;
             return v.GetValue() == 0x0102030405060708LL;
         },
         {8, 7, 6, 5, 4, 3, 2, 1}},
        {"string",
         [](auto &o) { o << TDynamicString("ab") << TDynamicString(); },
         [](auto &i) {
             TDynamicString a, b("junk");
             i >> a >> b;
             return a == "ab" && b.IsEmpty();
         },
         {'a', 'b', 0, 0}},
        {"const char*",
         [](auto &o) { o << "x" << static_cast<const char *>(nullptr); },
         [](auto &i) {
             TDynamicString a, b("junk");
             i >> a >> b;
             return a == "x" && b.IsEmpty();
         },
         {'x', 0, 0}},
        {"vector2",
         [](auto &o) { o << TVector2(1.0f, -2.0f); },
         [](auto &i) {
             TVector2 v(0, 0);
             i >> v;
             return v.x == 1.0f && v.y == -2.0f;
         },
         {0, 0, 0x80, 0x3F, 0, 0, 0, 0xC0}},
        {"quaternion w first",
         [](auto &o) { o << TQuaternion(1.0f, 0.0f, 0.0f, 2.0f); },
         [](auto &i) {
             TQuaternion q(0, 0, 0, 0);
             i >> q;
             return q.w == 1.0f && q.z == 2.0f;
         },
         {0, 0, 0x80, 0x3F, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x40}},
        {"matrix2 row by row",
         [](auto &o) { o << Matrix2(1.0f, 2.0f, 0.0f, -1.0f); },
         [](auto &i) {
             TMatrix2 m;
             i >> m;
             return m.m[0][1] == 2.0f && m.m[1][1] == -1.0f;
         },
         {0, 0, 0x80, 0x3F, 0, 0, 0, 0x40, 0, 0, 0, 0, 0, 0, 0x80, 0xBF}},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        const Bytes bytes = Written(c.write);
        EXPECT_EQ(bytes, c.bytes);
        TByteSource source(c.bytes);
        EXPECT_TRUE(c.readBack(source.m_In));
        EXPECT_EQ(source.m_File.GetPos(), int(c.bytes.size()));
    }
}

TEST(BinaryFilter, SizesOfTheLargerValues) {
    TMatrix3 m3{};
    TMatrix4 m4{};
    TMatrix43 m43{};
    EXPECT_EQ(Written([&](auto &o) { o << TVector3(1, 2, 3); }).size(), 12u);
    EXPECT_EQ(Written([&](auto &o) { o << TVector4(1, 2, 3, 4); }).size(), 16u);
    EXPECT_EQ(Written([&](auto &o) { o << m3; }).size(), 36u);
    EXPECT_EQ(Written([&](auto &o) { o << m4; }).size(), 64u);
    EXPECT_EQ(Written([&](auto &o) { o << m43; }).size(), 48u);
    const unsigned char raw[3] = {1, 2, 3};
    TIOBinaryBlock block;
    block.data = const_cast<unsigned char *>(raw);
    block.size = 3;
    EXPECT_EQ(Written([&](auto &o) { o << block; }), (Bytes{1, 2, 3}))
        << "a block goes out without size or format";
    TByteSource source(Bytes{1, 2, 3});
    TIOBinaryBlock in;
    source.m_In >> in;
    EXPECT_EQ(in.data, nullptr) << "a binary block cannot be read back";
    EXPECT_EQ(source.m_File.GetPos(), 0);
}

TEST(BinaryFilter, LongStringsAndMissingTerminators) {
    std::string text(300, ' ');
    for (size_t i = 0; i < text.size(); ++i)
        text[i] = char('a' + i % 26);
    const Bytes bytes = Written([&](auto &o) { o << TDynamicString(text.c_str()) << 7; });
    ASSERT_EQ(bytes.size(), 301u + 4u);
    TByteSource source(bytes);
    TDynamicString s;
    int n = 0;
    source.m_In >> s >> n;
    EXPECT_EQ(std::string(s.GetData()), text);
    EXPECT_EQ(n, 7);

    TByteSource cut(Bytes{'a', 'b', 'c'});
    cut.m_In >> s;
    EXPECT_EQ(s, "abc") << "a string without its terminator ends at the end of the data";
}

TEST(BinaryFilter, ShortReadsLeaveTheTargetAlone) {
    TByteSource source(Bytes{1, 2, 3});
    int n = 42;
    source.m_In >> n;
    EXPECT_EQ(n, 42);
    double d = 2.0;
    source.m_In >> d;
    EXPECT_EQ(d, 2.0);
    EXPECT_FALSE(source.m_In.Write("x", 1));
}

TEST(BinaryFilter, DirectionFollowsTheLowerFile) {
    TManagedFileBuf both;
    ASSERT_TRUE(both.Open(kRead | kWrite, 0));
    TBinaryFilter filter;
    ASSERT_TRUE(filter.Open(&both));
    EXPECT_TRUE(filter.IsReadable());
    EXPECT_FALSE(filter.IsWriteable()) << "a file that does both gives a reading filter";
    EXPECT_FALSE(filter.IsAscii());
    filter.CloseLayer();

    TManagedFileBuf writeOnly;
    ASSERT_TRUE(writeOnly.Open(kWrite, 0));
    TBinaryFilter writer;
    ASSERT_TRUE(writer.Open(&writeOnly));
    EXPECT_TRUE(writer.IsWriteable());
    writer << 5 << 1.0f;
    EXPECT_EQ(writeOnly.Length(), 8);

    TBinaryInFilter in;
    EXPECT_FALSE(in.Open(&writeOnly)) << "the file already carries a filter";
    EXPECT_FALSE(writeOnly.IsOpen());
}

TEST(BinaryFilter, WriteFailuresReachBothLevels) {
    vlib::test::TTempDir dir;
    vlib::test::TFileFaultGuard faults;
    TRealFile file;
    ASSERT_TRUE(file.Open(dir.File("b.bin").c_str(), kWrite));
    TBinaryOutFilter out;
    ASSERT_TRUE(out.Open(&file));
    out << 1 << 2;
    EXPECT_FALSE(out.IsBad());
    faults->ShortWrite.Arm(1);
    out << 0x11223344;
    EXPECT_TRUE(out.IsBad());
    EXPECT_TRUE(file.IsBad());
    EXPECT_FALSE(out.Write("abcd", 4));
    ASSERT_TRUE(out.Close());
    TRealFile check;
    ASSERT_TRUE(check.Open(dir.File("b.bin").c_str(), kRead));
    EXPECT_EQ(check.Length(), 10) << "two whole ints and half of the third";
}
