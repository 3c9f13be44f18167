#include "General/Streams/AsciiFilter.h"

#include <cstring>
#include <functional>
#include <random>
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

constexpr unsigned long kRead = 2, kWrite = 4;

/// An output filter over a managed buffer, and the text it produced.
struct TTextSink {
    TTextSink() {
        m_File.Open(kWrite, 0);
        m_Out.Open(&m_File);
    }
    std::string Text() {
        return std::string(reinterpret_cast<const char *>(m_File.GetBuffer()),
                           size_t(m_File.Length()));
    }
    TManagedFileBuf m_File;
    TAsciiOutFilter m_Out;
};

/// An input filter over a copy of `text`.
struct TTextSource {
    explicit TTextSource(const std::string &text) : m_Text(text) {
        m_File.Open(reinterpret_cast<unsigned char *>(m_Text.data()), int(m_Text.size()), kRead);
        m_In.Open(&m_File);
    }
    std::string m_Text;
    TFixedFileBuf m_File;
    TAsciiInFilter m_In;
};

} // namespace

TEST(AsciiOutFilter, TextFormOfEveryType) {
    struct Case {
        const char *name;
        std::function<void(TAsciiOutFilter &)> write;
        const char *text;
    };
    const Case kCases[] = {
        {"int", [](auto &o) { o << -5; }, "-5"},
        {"unsigned int", [](auto &o) { o << 4000000000u; }, "4000000000"},
        {"short", [](auto &o) { o << short(-2); }, "-2"},
        {"unsigned short", [](auto &o) { o << static_cast<unsigned short>(65535); }, "65535"},
        {"long", [](auto &o) { o << -7L; }, "-7"},
        {"long keeps 32 bits", [](auto &o) { o << 0x100000005L; }, "5"},
        {"unsigned long", [](auto &o) { o << 0xFFFFFFFFUL; }, "4294967295"},
        {"int64 low word signed", [](auto &o) { o << __int64(0x1FFFFFFFFLL); }, "-1"},
        {"uint64 low word", [](auto &o) { o << VUInt64(0x100000002ULL); }, "2"},
        {"bool", [](auto &o) { o << true << false; }, "10"},
        {"char", [](auto &o) { o << 'A' << static_cast<signed char>('b'); }, "Ab"},
        {"unsigned char", [](auto &o) { o << static_cast<unsigned char>('z'); }, "z"},
        {"zero char writes nothing", [](auto &o) { o << '\0'; }, ""},
        {"double %g", [](auto &o) { o << 0.1; }, "0.1"},
        {"double %g exponent", [](auto &o) { o << 123456789.0; }, "1.23457e+008"},
        {"float %f", [](auto &o) { o << 1.5f; }, "1.500000"},
        {"float %f small", [](auto &o) { o << 0.1f; }, "0.100000"},
        {"float %f large", [](auto &o) { o << 1e20f; }, "100000002004087730000.000000"},
        {"TTime low word", [](auto &o) { o << TTime(5000000000LL); }, "705032704"},
        {"const char*", [](auto &o) { o << "abc"; }, "abc"},
        {"string", [](auto &o) { o << TDynamicString("a b"); }, "a b"},
        {"vector2", [](auto &o) { o << TVector2(1.0f, -2.0f); }, "1.000000-2.000000"},
        {"quaternion w first", [](auto &o) { o << TQuaternion(1.0f, 2.0f, 3.0f, 4.0f); },
         "1.0000002.0000003.0000004.000000"},
        {"hex int", [](auto &o) { o.WriteHexInt(-1); }, "ffffffff"},
        {"sprintf", [](auto &o) { o.SPrintf("<%d:%s>", 3, "x"); }, "<3:x>"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        TTextSink sink;
        c.write(sink.m_Out);
        EXPECT_EQ(sink.Text(), c.text);
    }
}

TEST(AsciiOutFilter, AppendCharAndDelimiter) {
    TTextSink sink;
    EXPECT_EQ(sink.m_Out.SetAppendChar(' '), char(-1));
    sink.m_Out.SetDelimiter(TAsciiOutFilter::ms_pszDelimComma);
    EXPECT_STREQ(sink.m_Out.Delimiter(), ",");
    sink.m_Out << 1 << TVector3(1.0f, 2.5f, -0.25f) << "s" << '\0';
    TMatrix2 m;
    m.m[0][0] = 1.0f, m.m[0][1] = 2.0f, m.m[1][0] = 3.0f, m.m[1][1] = 4.0f;
    sink.m_Out << m;
    sink.m_Out.WriteHexInt(255); // no append char
    EXPECT_EQ(sink.Text(),
              "1 1.000000,2.500000,-0.250000 s  1.000000,2.000000,3.000000,4.000000 ff");
    TDynamicString text("word");
    sink.m_Out.WriteString(text);
    EXPECT_EQ(text, "word ") << "WriteString adds the append char to the caller's string";
}

TEST(AsciiOutFilter, LinePrefixAndWindowsLineEndings) {
    struct Case {
        const char *name;
        bool windows;
        const char *prefix;
        std::vector<std::string> writes;
        const char *text;
    };
    const Case kCases[] = {
        {"plain", false, "", {"a\nb\n"}, "a\nb\n"},
        {"windows", true, "", {"a\nb\r\nc"}, "a\r\nb\r\nc"},
        {"prefix forces CR LF", false, "\t\t", {"a\nb\n"}, "a\r\n\t\tb\r\n\t\t"},
        {"CR from an earlier write", true, "", {"a\r", "\nb"}, "a\r\nb"},
        {"empty lines", true, "", {"\n\n"}, "\r\n\r\n"},
        {"prefix on empty lines", false, ">", {"\n\nx"}, "\r\n>\r\n>x"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        TTextSink sink;
        sink.m_Out.SetWindowsStyleLineEndings(c.windows);
        sink.m_Out.SetLinePrefix(c.prefix);
        EXPECT_STREQ(sink.m_Out.GetLinePrefix(), c.prefix);
        for (const std::string &w : c.writes)
            ASSERT_TRUE(sink.m_Out.Write(w.data(), int(w.size())));
        EXPECT_EQ(sink.Text(), c.text);
    }
}

TEST(AsciiOutFilter, BinaryBlocksAsHexLines) {
    unsigned char data[20];
    for (int i = 0; i < 20; ++i)
        data[i] = static_cast<unsigned char>(i);
    struct Case {
        uint32_t size;
        int indent;
        const char *text;
    };
    const Case kCases[] = {
        {0, 0, "1\r\n0\r\n\r\n"},
        {5, 1, "\t1\r\n\t5\r\n\t00010203 04000000\r\n"},
        {8, 0, "1\r\n8\r\n00010203 04050607 \r\n"},
        {16, 0, "1\r\n16\r\n00010203 04050607 08090a0b 0c0d0e0f\r\n\r\n"},
        {20, 2, "\t\t1\r\n\t\t20\r\n\t\t00010203 04050607 08090a0b 0c0d0e0f\r\n\t\t10111213 \r\n"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.size);
        TTextSink sink;
        TIOBinaryBlock block;
        block.data = data;
        block.size = c.size;
        block.indent = c.indent;
        sink.m_Out << block;
        EXPECT_EQ(sink.Text(), c.text);

        TTextSource source(sink.Text());
        TIOBinaryBlock in;
        source.m_In >> in;
        ASSERT_EQ(in.size, c.size);
        ASSERT_NE(in.data, nullptr);
        EXPECT_EQ(std::memcmp(in.data, data, c.size), 0);
        GetAllocatorInstance().Unalloc(in.data);
    }
}

TEST(AsciiInFilter, NumericTokens) {
    struct Case {
        const char *text;
        int first;
        int second;
    };
    const Case kCases[] = {
        {"12 34", 12, 34},
        {"x12 7", 0, 7},       // the first character of a token is taken untested
        {"-5\r\n\t+6", -5, 6}, // '+' is not in the set, but a first character is untested
        {"12", 12, 2},         // at the end the pending character is read again
        {"", 0, 0},
        {"99999999999 1", 1215752191, 1}, // atoi keeps 32 bits
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.text);
        TTextSource source(c.text);
        int a = -1, b = -1;
        source.m_In >> a >> b;
        EXPECT_EQ(a, c.first);
        EXPECT_EQ(b, c.second);
    }
}

TEST(AsciiInFilter, TypedValuesRoundTrip) {
    TTextSink sink;
    sink.m_Out.SetAppendChar(' ');
    sink.m_Out.SetDelimiter(" "); // with no delimiter the values of a vector run together
    const TVector3 v(1.5f, -2.25f, 1e-3f);
    TMatrix43 m43;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 3; ++c)
            m43.m[r][c] = float(r * 3 + c) * 0.5f;
    sink.m_Out << -123456 << 4000000000u << short(-300) << static_cast<unsigned short>(60000) << -9L
               << 77UL << __int64(-5) << VUInt64(6) << true << 2.5 << 0.75f << TTime(123456) << v
               << m43 << TQuaternion(0.5f, 1.0f, 2.0f, 3.0f);
    TTextSource source(sink.Text());
    int i = 0;
    unsigned int u = 0;
    short s = 0;
    unsigned short us = 0;
    long l = 0;
    unsigned long ul = 0;
    __int64 i64 = 0;
    VUInt64 u64 = 0;
    bool b = false;
    double d = 0;
    float f = 0;
    TTime t;
    TVector3 vin(0, 0, 0);
    TMatrix43 min;
    TQuaternion q(0, 0, 0, 0);
    source.m_In >> i >> u >> s >> us >> l >> ul >> i64 >> u64 >> b >> d >> f >> t >> vin >> min >>
        q;
    EXPECT_EQ(i, -123456);
    EXPECT_EQ(u, 4000000000u) << "atoi wraps to the right unsigned value";
    EXPECT_EQ(s, -300);
    EXPECT_EQ(us, 60000);
    EXPECT_EQ(l, -9);
    EXPECT_EQ(ul, 77u);
    EXPECT_EQ(i64, -5);
    EXPECT_EQ(u64, 6u);
    EXPECT_TRUE(b);
    EXPECT_EQ(d, 2.5);
    EXPECT_EQ(f, 0.75f);
    EXPECT_EQ(t.GetValue(), 123456);
    EXPECT_EQ(vin.x, 1.5f);
    EXPECT_EQ(vin.y, -2.25f);
    EXPECT_EQ(vin.z, 0.001f);
    EXPECT_EQ(std::memcmp(&min, &m43, sizeof min), 0);
    EXPECT_EQ(q.w, 0.5f);
    EXPECT_EQ(q.z, 3.0f);
}

TEST(AsciiInFilter, QuirksOfTheTokenReader) {
    {
        // With the comma delimiter the second value's token starts with the comma.
        TTextSink sink;
        sink.m_Out.SetDelimiter(TAsciiOutFilter::ms_pszDelimComma);
        sink.m_Out << TVector2(1.0f, 2.0f);
        EXPECT_EQ(sink.Text(), "1.000000,2.000000");
        TTextSource source(sink.Text());
        TVector2 v(9, 9);
        source.m_In >> v;
        EXPECT_EQ(v.x, 1.0f);
        EXPECT_EQ(v.y, 0.0f);
    }
    {
        TTextSource source("2 1");
        bool a = true, b = false;
        source.m_In >> a >> b;
        EXPECT_FALSE(a) << "only the value 1 is true";
        EXPECT_TRUE(b);
    }
    {
        // One raw byte, no white space skipped; the pending blank comes first.
        TTextSource source("7 xy");
        int n = 0;
        char c1 = 0, c2 = 0;
        unsigned char c3 = 0;
        source.m_In >> n >> c1 >> c2 >> c3;
        EXPECT_EQ(n, 7);
        EXPECT_EQ(c1, ' ');
        EXPECT_EQ(c2, 'x');
        EXPECT_EQ(c3, 'y');
    }
    {
        // A numeric token longer than the buffer is cut and read to its end.
        TTextSource source(std::string(100, '1') + " 5");
        double d = 0;
        int n = 0;
        source.m_In >> d >> n;
        EXPECT_GT(d, 1e61);
        EXPECT_EQ(n, 5);
    }
    {
        TTextSource source("ff -1 zz");
        int a = 0, b = 0, c = 42;
        source.m_In.ReadHexInt(a);
        source.m_In.ReadHexInt(b);
        source.m_In.ReadHexInt(c);
        EXPECT_EQ(a, 255);
        EXPECT_EQ(b, -1);
        EXPECT_EQ(c, 42) << "a token without digits leaves the value alone";
    }
}

TEST(AsciiInFilter, StringsStopAtTheAppendChar) {
    TTextSource source("  hello world\r\nnext line\r\nlast");
    TDynamicString s;
    EXPECT_EQ(source.m_In.SetAppendChar('\n'), char(-1));
    source.m_In >> s;
    EXPECT_EQ(s, "hello world");
    source.m_In >> s;
    EXPECT_EQ(s, "next line");
    source.m_In >> s;
    EXPECT_EQ(s, "last");
    EXPECT_EQ(source.m_In.GetLineNumber(), 3);

    // With the default append char a string runs to the end of the file.
    TTextSource all("a b\nc");
    all.m_In >> s;
    EXPECT_EQ(s, "a b\nc");
}

TEST(AsciiInFilter, GetLineAndLineNumbers) {
    TTextSource source("abc\r\ndef");
    char line[16];
    bool truncated = true;
    EXPECT_EQ(source.m_In.GetLine(line, 16, '\n', &truncated), 3);
    EXPECT_STREQ(line, "abc");
    EXPECT_FALSE(truncated);
    EXPECT_EQ(source.m_In.GetLineNumber(), 2);
    EXPECT_EQ(source.m_In.GetLine(line, 16, '\n', &truncated), 3);
    EXPECT_STREQ(line, "def");
    EXPECT_EQ(source.m_In.GetLine(line, 16, '\n', &truncated), 0)
        << "at the end with nothing pending";
    EXPECT_STREQ(line, "");
    EXPECT_FALSE(truncated);

    TTextSource longLine("abcdefgh\nxy");
    char small[5];
    EXPECT_EQ(longLine.m_In.GetLine(small, 5, '\n', &truncated), 4);
    EXPECT_STREQ(small, "abcd");
    EXPECT_TRUE(truncated);
    EXPECT_EQ(longLine.m_In.GetLine(small, 5, '\n', &truncated), 3) << "the 'e' was lost";
    EXPECT_STREQ(small, "fgh");
    EXPECT_FALSE(truncated);

    TTextSource words("  one two\tthree");
    char word[8];
    EXPECT_EQ(words.m_In.ReadChars(word, 8), 3);
    EXPECT_STREQ(word, "one");
    words.m_In.ReadCharsInl(word, 8).ReadCharsInl(word, 8);
    EXPECT_STREQ(word, "three");
}

TEST(AsciiInFilter, RawReadsDeliverThePendingCharacterFirst) {
    TTextSource source("12;abc\n");
    int n = 0;
    source.m_In >> n;
    char raw[8] = {};
    EXPECT_EQ(source.m_In.Read(raw, 4), 4);
    EXPECT_EQ(std::string(raw, 4), ";abc");
    EXPECT_EQ(source.m_In.Read(raw, 1), 1);
    EXPECT_EQ(raw[0], '\n');
    EXPECT_EQ(source.m_In.GetLineNumber(), 2);
    EXPECT_EQ(source.m_In.Read(raw, 4), 0);
    EXPECT_FALSE(source.m_In.Write("x", 1));
}

TEST(AsciiInFilter, SeekStringFindsMarkers) {
    const char *text = "header\r\n# comment [Section]\r\n[Section] one\r\nend\r\n";
    char line[256];
    {
        TTextSource source(text);
        EXPECT_EQ(source.m_In.SeekString(line, 2, "end", "[Section]"), 1);
        EXPECT_STREQ(line, "[Section] one");
        EXPECT_EQ(source.m_In.SeekString(line, 1, "nothing"), -1);
    }
    {
        TTextSource source(text);
        std::strcpy(line, "stale text");
        // Anywhere in the line; the buffer's old content is tested first.
        EXPECT_EQ(source.m_In.SeekStringLine(line, 1, "stale"), 0);
        EXPECT_EQ(source.m_In.SeekStringLine(line, 1, "[Section]"), 0);
        EXPECT_STREQ(line, "# comment [Section]");
    }
}

TEST(LineFilter, DeliversLinesWithoutTheirEnds) {
    std::string text = "first\r\nsecond\nlast";
    TFixedFileBuf file;
    ASSERT_TRUE(file.Open(reinterpret_cast<unsigned char *>(text.data()), int(text.size()), 2));
    TLineFilter lines;
    ASSERT_TRUE(lines.Open(&file));
    char buffer[32];
    EXPECT_EQ(lines.Read(buffer, 32), 5);
    EXPECT_STREQ(buffer, "first");
    EXPECT_EQ(lines.GetLineNumber(), 1);
    EXPECT_EQ(lines.Read(buffer, 4), 4) << "a full buffer returns its size";
    EXPECT_STREQ(buffer, "sec");
    EXPECT_EQ(lines.Read(buffer, 32), 3);
    EXPECT_STREQ(buffer, "ond");
    EXPECT_EQ(lines.Read(buffer, 32), 4);
    EXPECT_STREQ(buffer, "last");
    EXPECT_EQ(lines.Read(buffer, 32), 0);
    EXPECT_EQ(lines.GetLineNumber(), 2);
    EXPECT_FALSE(lines.Write("x", 1));
    ASSERT_TRUE(lines.Close());
    EXPECT_EQ(lines.GetLineNumber(), 0);
    EXPECT_FALSE(file.IsOpen());
}

TEST(AsciiFilters, OpenFollowsTheLayeringRules) {
    TManagedFileBuf writeOnly;
    ASSERT_TRUE(writeOnly.Open(kWrite, 0));
    TAsciiInFilter in;
    EXPECT_FALSE(in.Open(&writeOnly)) << "a read filter needs a readable file";
    EXPECT_FALSE(writeOnly.IsOpen());
    int n = 3;
    in >> n;
    EXPECT_EQ(n, 0) << "a filter that never opened reads nothing and does not crash";
    EXPECT_TRUE(in.GetFileName().IsEmpty());
    TAsciiInFilter fresh;
    EXPECT_FALSE(fresh.Open(nullptr));
    char line[8];
    EXPECT_EQ(fresh.GetLine(line, 8, '\n'), 0);

    TAsciiOutFilter out;
    EXPECT_FALSE(out.Open(nullptr));
    out << 5;
    EXPECT_TRUE(out.IsBad()) << "a write without a file is refused";
}

TEST(AsciiFilters, WriteFailuresReachBothLevels) {
    vlib::test::TTempDir dir;
    vlib::test::TFileFaultGuard faults;
    TRealFile file;
    ASSERT_TRUE(file.Open(dir.File("text.txt").c_str(), kWrite));
    TAsciiOutFilter out;
    ASSERT_TRUE(out.Open(&file));
    out << "first line\n";
    EXPECT_FALSE(out.IsBad());
    faults->Write.Arm(1);
    out << 12345;
    EXPECT_TRUE(out.IsBad());
    EXPECT_TRUE(file.IsBad());
    EXPECT_FALSE(out.Write("more", 4)) << "every later write is refused";
    EXPECT_TRUE(out.Close());
}

TEST(AsciiInFilter, HostileBinaryBlockSizesFailCleanly) {
    // A size of nearly 4 GB backed by two groups: no block, Bad set, nothing leaked.
    const size_t before = GetAllocatorInstance().GetLiveBlocks();
    TTextSource source("1\r\n4000000000\r\n01020304 05060708");
    TIOBinaryBlock block;
    source.m_In >> block;
    EXPECT_EQ(block.data, nullptr);
    EXPECT_EQ(block.size, 0u);
    EXPECT_TRUE(source.m_In.IsBad());
    EXPECT_EQ(GetAllocatorInstance().GetLiveBlocks(), before);
}

TEST(AsciiInFilter, ReadsThroughAChunkedDiskFile) {
    vlib::test::TTempDir dir;
    {
        TRealFile file;
        ASSERT_TRUE(file.Open(dir.File("n.txt").c_str(), kWrite));
        TAsciiOutFilter out;
        ASSERT_TRUE(out.Open(&file));
        out.SetAppendChar('\n');
        for (int i = 0; i < 30000; ++i)
            out << i * 7 - 1000;
        ASSERT_TRUE(out.Close());
    }
    TRealFile file;
    ASSERT_TRUE(file.Open(dir.File("n.txt").c_str(), kRead));
    TAsciiInFilter in;
    ASSERT_TRUE(in.Open(&file));
    EXPECT_EQ(in.GetFileName(), dir.File("n.txt").c_str());
    for (int i = 0; i < 30000; ++i) {
        int n = 0;
        in >> n;
        ASSERT_EQ(n, i * 7 - 1000) << "value " << i;
    }
    EXPECT_EQ(in.GetLineNumber(), 30001);
    in.EatWhite();
    EXPECT_TRUE(in.AtEOF());
    in.CloseLayer();
    EXPECT_TRUE(file.IsOpen());
    EXPECT_FALSE(file.IsLayered());
}

namespace {

/// Runs a fixed mix of reads and records every result, line number, position and end flag.
std::vector<std::string> ReadScript(TAsciiInFilter &in, int steps) {
    std::vector<std::string> log;
    for (int step = 0; step < steps; ++step) {
        std::string entry;
        switch (step % 7) {
        case 0: {
            int n = 0;
            in >> n;
            entry = "i" + std::to_string(n);
            break;
        }
        case 1: {
            double d = 0;
            in >> d;
            entry = "d" + std::to_string(d);
            break;
        }
        case 2: {
            char line[40];
            bool truncated = false;
            const int n = in.GetLine(line, 40, '\n', &truncated);
            entry = "l" + std::to_string(n) + line + (truncated ? "+" : "");
            break;
        }
        case 3: {
            char word[8];
            const int n = in.ReadChars(word, 8);
            entry = "w" + std::to_string(n) + word;
            break;
        }
        case 4: {
            char raw[3] = {};
            const int n = in.Read(raw, 3);
            entry = "r" + std::to_string(n) + std::string(raw, n > 0 ? n : 0);
            break;
        }
        case 5: {
            TDynamicString s;
            in.SetAppendChar(step % 2 ? '\n' : ' ');
            in >> s;
            entry = std::string("s") + s.GetData();
            break;
        }
        case 6: {
            int h = 0;
            in.ReadHexInt(h);
            entry = "h" + std::to_string(h);
            break;
        }
        }
        entry += "@" + std::to_string(in.GetLineNumber()) + ":" + std::to_string(in.GetPos()) +
                 (in.AtEOF() ? "E" : "");
        log.push_back(entry);
    }
    return log;
}

std::string RandomText(size_t size, unsigned seed) {
    static const char *const kPieces[] = {"12", "-7",  " ",   "  ", "\r\n", "\n",     "\t", "3.25",
                                          "x",  "abc", "1e3", "ff", ",",    "999999", "\r"};
    std::mt19937 rng(seed);
    std::string text;
    while (text.size() < size)
        text += kPieces[rng() % (sizeof(kPieces) / sizeof(kPieces[0]))];
    text.resize(size);
    return text;
}

} // namespace

/// A layer that hides the file beneath, so a text filter on it reads byte by byte.
class TPassThrough : public TFilter {
public:
    bool Open(TFileObj *lower) {
        if (!ReadFilterOpenValid(lower))
            return HandleOpenFailed(lower);
        Layer(lower, FlagOpen | FlagReadable);
        return true;
    }
    int Read(void *buffer, int size) override { return m_Lower->Read(buffer, size); }
    bool Write(const void *, int) override { return false; }
};

// The filter reads straight from the buffers of the library's own files; through any other
// file it reads byte by byte. Both must agree in every result, line number, position and
// end of file, for each kind of file.
TEST(AsciiInFilter, ReadingFromBuffersMatchesReadingByteByByte) {
    vlib::test::TTempDir dir;
    for (size_t size : {0u, 1u, 2u, 50u, 3000u, 140000u}) {
        SCOPED_TRACE(size);
        std::string text = RandomText(size, unsigned(size) + 1);
        const std::string path = dir.File("t" + std::to_string(size) + ".txt");
        {
            TRealFile out;
            ASSERT_TRUE(out.Open(path.c_str(), kWrite));
            ASSERT_TRUE(out.Write(text.data(), int(text.size())));
        }
        const int steps = int(size / 3) + 20;
        // Opens a fresh file of one kind, directly or behind the pass-through layer.
        const std::function<std::vector<std::string>(int, bool)> run = [&](int kind, bool hide) {
            TRealFile real;
            TFixedFileBuf fixed;
            TManagedFileBuf managed;
            TFileObj *file = nullptr;
            if (kind < 2) {
                EXPECT_TRUE(
                    real.Open(path.c_str(), kind == 0 ? kRead : kRead | TRealFile::RealFileWhole));
                file = &real;
            } else if (kind == 2) {
                EXPECT_TRUE(
                    fixed.Open(reinterpret_cast<unsigned char *>(text.data()), int(size), kRead));
                file = &fixed;
            } else {
                EXPECT_TRUE(managed.Open(kWrite, 0));
                EXPECT_TRUE(managed.Write(text.data(), int(size)));
                EXPECT_TRUE(managed.Close());
                EXPECT_TRUE(managed.Open(kRead, 0));
                file = &managed;
            }
            TPassThrough layer;
            if (hide) {
                EXPECT_TRUE(layer.Open(file));
                file = &layer;
            }
            TAsciiInFilter in;
            EXPECT_TRUE(in.Open(file));
            return ReadScript(in, steps);
        };
        for (int kind = 0; kind < 4; ++kind) {
            SCOPED_TRACE(kind);
            EXPECT_EQ(run(kind, false), run(kind, true));
        }
    }
}
