#include "General/Streams/VersionedFilter.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "General/Streams/BinaryFilter.h"
#include "General/Streams/FileBuf.h"
#include "General/Streams/RealFile.h"
#include "Support/TempDir.h"

namespace {

constexpr unsigned long kRead = 2, kWrite = 4;

std::string Contents(TManagedFileBuf &file) {
    return std::string(reinterpret_cast<const char *>(file.GetBuffer()), size_t(file.Length()));
}

} // namespace

TEST(VersionedFilter, HeaderGoldenBytes) {
    struct Case {
        unsigned long version;
        const char *header;
    };
    const Case kCases[] = {
        {7, "VVRH100007\r\n"},
        {0, "VVRH100000\r\n"},
        {99999, "VVRH199999\r\n"},
        {123456, "VVRH1123456\r\n"}, // "%05d" of a larger version takes more digits
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.version);
        TManagedFileBuf file;
        ASSERT_TRUE(file.Open(kWrite, 0));
        TVersionedOutFilter out;
        ASSERT_TRUE(out.Open(&file, c.version));
        EXPECT_EQ(out.GetDataStart(), int(std::string(c.header).size()));
        ASSERT_TRUE(out.Write("data", 4));
        EXPECT_EQ(out.Read(nullptr, 1), 0);
        EXPECT_EQ(Contents(file), std::string(c.header) + "data");

        TManagedFileBuf direct;
        ASSERT_TRUE(direct.Open(kWrite, 0));
        TVersionedOutFilter::WriteVersionInfo(&direct, c.version);
        EXPECT_EQ(Contents(direct), c.header);
    }
}

TEST(VersionedFilter, ReadsTheHeaderAndStandsAtTheData) {
    struct Case {
        const char *name;
        std::string text;
        unsigned long version;
        bool found;
        const char *data; // what reading after Open gives
    };
    const Case kCases[] = {
        {"version 7", "VVRH100007\r\nabc", 7, true, "abc"},
        {"line feed alone keeps the next byte", "VVRH100042\nXY", 42, true, "XY"},
        {"carriage return alone", "VVRH100042\rXY", 42, true, "XY"},
        {"extra text before the line end", "VVRH100003 note\r\nZ", 3, true, "Z"},
        {"header to the end of the file", "VVRH100005", 5, true, ""},
        {"digits are not checked", "VVRH1a0001\r\n", 490001, true, ""},
        {"no magic", "ABCDEFG", 0, false, "ABCDEFG"},
        {"almost the magic", "VVRX10007\r\n", 0, false, "VVRX10007\r\n"},
        {"shorter than four bytes", "AB", 0, false, "AB"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        std::string text = c.text;
        TFixedFileBuf file;
        ASSERT_TRUE(
            file.Open(reinterpret_cast<unsigned char *>(text.data()), int(text.size()), kRead));
        TVersionedInFilter in;
        unsigned long version = 12345;
        ASSERT_TRUE(in.Open(&file, version));
        EXPECT_EQ(version, c.version);
        EXPECT_EQ(in.HeaderFound(), c.found);
        char data[32] = {};
        const int n = in.Read(data, 31);
        EXPECT_EQ(std::string(data, n > 0 ? n : 0), c.data);
        EXPECT_FALSE(in.Write("x", 1));
    }
}

TEST(VersionedFilter, PositionTwelveAfterTheHeader) {
    std::string text = "VVRH100007\r\n";
    text += std::string(20, 'd');
    TFixedFileBuf file;
    ASSERT_TRUE(file.Open(reinterpret_cast<unsigned char *>(text.data()), int(text.size()), kRead));
    TVersionedInFilter in;
    unsigned long version = 0;
    ASSERT_TRUE(in.Open(&file, version));
    EXPECT_EQ(version, 7u);
    EXPECT_EQ(in.GetPos(), 12);
    EXPECT_EQ(in.GetDataStart(), 12);
    // Taken off, it leaves the file at the first data byte for the next layer.
    in.CloseLayer();
    EXPECT_TRUE(file.IsOpen());
    TBinaryInFilter next;
    ASSERT_TRUE(next.Open(&file));
    char c = 0;
    next >> c;
    EXPECT_EQ(c, 'd');
}

TEST(VersionedFilter, AnEmptyMemoryFileCannotGiveBytesBack) {
    unsigned char none = 0;
    TFixedFileBuf file;
    ASSERT_TRUE(file.Open(&none, 0, kRead));
    TVersionedInFilter in;
    unsigned long version = 9;
    EXPECT_FALSE(in.Open(&file, version)) << "a memory file refuses every seek when empty";
    EXPECT_FALSE(in.IsOpen());
    EXPECT_TRUE(file.IsOpen()) << "the layer is taken off again; the file stays open";
    EXPECT_FALSE(file.IsLayered());
}

TEST(VersionedFilter, HeaderAndDataThroughADiskFile) {
    vlib::test::TTempDir dir;
    const std::string path = dir.File("v.bin");
    {
        TRealFile file;
        ASSERT_TRUE(file.Open(path.c_str(), kWrite));
        TVersionedOutFilter header;
        ASSERT_TRUE(header.Open(&file, 3));
        header.CloseLayer();
        TBinaryOutFilter out;
        ASSERT_TRUE(out.Open(&file));
        out << 1234 << TDynamicString("tail");
        ASSERT_TRUE(out.Close());
    }
    for (const char *content : {"with header", "without header"}) {
        SCOPED_TRACE(content);
        TRealFile file;
        ASSERT_TRUE(file.Open(path.c_str(), kRead));
        if (content[1] == 'o') { // skip the header by hand: the rest has no magic
            ASSERT_TRUE(file.Seek(12, TFileObj::SeekStart));
        }
        TVersionedInFilter in;
        unsigned long version = 99;
        ASSERT_TRUE(in.Open(&file, version));
        EXPECT_EQ(version, content[1] == 'i' ? 3u : 0u);
        in.CloseLayer();
        TBinaryInFilter body;
        ASSERT_TRUE(body.Open(&file));
        int n = 0;
        TDynamicString s;
        body >> n >> s;
        EXPECT_EQ(n, 1234);
        EXPECT_EQ(s, "tail");
    }
    // A refused open closes the file it was offered.
    TManagedFileBuf readOnly;
    ASSERT_TRUE(readOnly.Open(kRead, 0));
    TVersionedOutFilter out;
    EXPECT_FALSE(out.Open(&readOnly, 1));
    EXPECT_FALSE(readOnly.IsOpen());
}
