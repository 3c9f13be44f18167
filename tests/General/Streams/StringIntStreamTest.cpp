#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "General/Core/StringInt.h"
#include "General/Streams/FileBuf.h"

namespace {

/// A read-only file over `text`, kept alive by the caller.
struct TTextFile {
    explicit TTextFile(const std::string &text) : m_Text(text) {
        m_File.Open(reinterpret_cast<unsigned char *>(m_Text.data()), int(m_Text.size()), 2);
    }
    std::string m_Text;
    TFixedFileBuf m_File;
};

} // namespace

TEST(StringIntStream, WriteQuotesTheTextRaw) {
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(4, 0));
    TDynamicString("a b").Write(file);
    TDynamicString().Write(file);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(file.GetBuffer()), file.Length()),
              "\"a b\"\"\"");
}

TEST(StringIntStream, ReadTakesOneToken) {
    struct Case {
        const char *text;
        const char *first;
        const char *second;
    };
    const Case kCases[] = {
        {"\"a b\" next", "a b", "next"},
        {" \t\r\n plain\tnext", "plain", "next"},
        {"\"\" x", "", "x"},
        {"one", "one", ""},
        {"\"unterminated to the end", "unterminated to the end", ""},
        {"   ", "", ""},
        {"a\"b\" c", "a\"b\"", "c"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.text);
        TTextFile in(c.text);
        TDynamicString first("junk"), second("junk");
        first.Read(in.m_File);
        second.Read(in.m_File);
        EXPECT_EQ(first, c.first);
        EXPECT_EQ(second, c.second);
    }
}

TEST(StringIntStream, LongTokensArriveWhole) {
    for (size_t length : {254u, 255u, 256u, 300u, 65535u}) {
        SCOPED_TRACE(length);
        std::string token(length, 'x');
        for (size_t i = 0; i < length; ++i)
            token[i] = char('a' + i % 26);
        TTextFile in("\"" + token + "\" tail");
        TDynamicString s, tail;
        s.Read(in.m_File);
        tail.Read(in.m_File);
        EXPECT_EQ(std::string(s.GetData()), token);
        EXPECT_EQ(tail, "tail");
    }
    // Beyond what a token may hold the text is cut, and the stream stays in step.
    TTextFile in(std::string(70000, 'y') + " tail");
    TDynamicString s, tail;
    s.Read(in.m_File);
    tail.Read(in.m_File);
    EXPECT_EQ(s.GetLength(), 65535);
    EXPECT_EQ(tail, "tail");
}

TEST(StringIntStream, WriteThenReadRoundTripsUnlessTheTextHoldsAQuote) {
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(4 | 2, 0));
    TDynamicString("with blank").Write(file);
    TDynamicString("say \"hi\"").Write(file);
    ASSERT_TRUE(file.Seek(0, TFileObj::SeekStart));
    TDynamicString a, b;
    a.Read(file);
    b.Read(file);
    EXPECT_EQ(a, "with blank");
    EXPECT_NE(b, "say \"hi\"");
    EXPECT_EQ(b, "say ");
}

TEST(StringIntStream, ABadFileGivesTheEmptyString) {
    TTextFile in("token");
    in.m_File.SetBad();
    TDynamicString s("junk");
    s.Read(in.m_File);
    EXPECT_TRUE(s.IsEmpty());
}

TEST(StringIntStream, StaticStringsCutAtTheirCapacity) {
    TTextFile in("abcdefghijklmnopqrstuvwxyz next");
    TStringInt<TStaticStringAllocationStrategy<16>> s;
    s.Read(in.m_File);
    EXPECT_STREQ(s.GetData(), "abcdefghijklmno");
    TStringInt<TStaticStringAllocationStrategy<16>> next;
    next.Read(in.m_File);
    EXPECT_STREQ(next.GetData(), "next");
    TManagedFileBuf out;
    ASSERT_TRUE(out.Open(4, 0));
    next.Write(out);
    EXPECT_EQ(out.Length(), 6);
}
