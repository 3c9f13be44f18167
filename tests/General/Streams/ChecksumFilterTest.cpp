#include "General/Streams/ChecksumFilter.h"

#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "General/Streams/AsciiFilter.h"
#include "General/Streams/DeflateFilter.h"

namespace {

uint32_t Sum(const std::vector<std::string> &pieces) {
    TChecksumFilter sum;
    sum.Open();
    for (const std::string &piece : pieces)
        EXPECT_TRUE(sum.Write(piece.data(), int(piece.size())));
    return sum.GetChecksum();
}

} // namespace

// Sums worked out independently from the table's definition.
TEST(ChecksumFilter, GoldenSums) {
    std::string all;
    for (int i = 0; i < 3 * 256; ++i)
        all += char(i & 255);
    struct Case {
        const char *name;
        std::vector<std::string> pieces;
        uint32_t sum;
    };
    const Case kCases[] = {
        {"one write", {"Hello, world"}, 0xD6C46328u},
        {"the same bytes in two pieces", {"Hello, worl", "d"}, 0xC71E0F10u},
        {"one byte a time counts one word a byte", {"a", "b", "c"}, 0x6F9A7AE5u},
        {"three counter pages", {all}, 0xD706F199u},
        {"nothing", {}, 0u},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(Sum(c.pieces), c.sum);
    }
}

TEST(ChecksumFilter, IsAWriteableSinkThatLayersCanStandOn) {
    TChecksumFilter sum;
    sum.Open();
    EXPECT_EQ(sum.GetFlags(), unsigned(TFileObj::FlagOpen | TFileObj::FlagWriteable));
    EXPECT_EQ(sum.Read(nullptr, 4), 0);
    EXPECT_FALSE(sum.Seek(0, TFileObj::SeekStart));
    EXPECT_EQ(sum.GetPos(), 0);
    EXPECT_EQ(sum.Length(), 0);

    TAsciiOutFilter text;
    ASSERT_TRUE(text.Open(&sum));
    text << "Hello, world";
    text.CloseLayer();
    EXPECT_EQ(sum.GetChecksum(), 0xD6C46328u);

    sum.Open(); // already open: nothing changes
    EXPECT_EQ(sum.GetChecksum(), 0xD6C46328u);
    ASSERT_TRUE(sum.Close());
    sum.Open();
    EXPECT_EQ(sum.GetChecksum(), 0u);

    TDeflateFilter deflate;
    ASSERT_TRUE(deflate.Open(&sum, TDeflateFilter::DeflateDefault));
    ASSERT_TRUE(deflate.Write("some text to compress", 21));
    deflate.CloseLayer();
    EXPECT_NE(sum.GetChecksum(), 0u);
}
