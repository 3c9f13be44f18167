#include "General/Resources/Hash.h"

#include <cstring>

#include <gtest/gtest.h>

#include "General/Streams/FileBuf.h"

TEST(Hash, StandardCheckValues) {
    struct Case {
        const char *text;
        uint32_t crc;
    };
    constexpr Case kCases[] = {
        {"", 0x00000000u},
        {"a", 0xE8B7BE43u},
        {"123456789", 0xCBF43926u},
        {"The quick brown fox jumps over the lazy dog", 0x414FA339u},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(THash(c.text).GetValue(), c.crc);
        EXPECT_EQ(THash(0u).AddCrc(c.text, static_cast<int>(std::strlen(c.text))).GetValue(),
                  c.crc);
    }
    EXPECT_EQ(THash::HashTable.Words[1], 0x77073096u);
    EXPECT_EQ(THash::HashTable.Words[255], 0x2D02EF8Du);
}

TEST(Hash, ContinuesAcrossCalls) {
    THash hash("1234");
    hash.AddCrc("56789", 5);
    EXPECT_EQ(hash, THash("123456789"));

    // A hash fed into another goes in as its four bytes, low byte first.
    const THash inner(0x04030201u);
    const unsigned char bytes[4] = {1, 2, 3, 4};
    EXPECT_EQ(THash(0u).AddCrc(inner), THash(0u).AddCrc(bytes, 4));
}

TEST(Hash, ValueOperations) {
    THash a(0x0Fu);
    a.XorOn(THash(0xF0u));
    EXPECT_EQ(a.GetValue(), 0xFFu);
    EXPECT_FALSE(a.IsReset());
    EXPECT_TRUE(a.Reset().IsReset());
    EXPECT_TRUE(THash(0x80000000u) > THash(1u)); // unsigned comparison
    EXPECT_TRUE(THash(1u) < THash(0xFFFFFFFFu));
    EXPECT_NE(THash(1u), THash(2u));
    EXPECT_EQ(THash::GetMinValue(), 0u);
    EXPECT_EQ(THash::GetMaxValue(), 0xFFFFFFFFu);
}

TEST(Hash, FileFormIsFourLittleEndianBytes) {
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(4, 0));
    THash(0xCBF43926u).SaveSubBinary(&file);
    ASSERT_EQ(file.Length(), 4);
    const unsigned char expected[4] = {0x26, 0x39, 0xF4, 0xCB};
    EXPECT_EQ(std::memcmp(file.GetBuffer(), expected, 4), 0);

    ASSERT_TRUE(file.Seek(0, TFileObj::SeekStart));
    EXPECT_EQ(THash::LoadSubBinaryGet(&file).GetValue(), 0xCBF43926u);

    // At the end of the data nothing is read and the value stays.
    THash kept(7u);
    kept.LoadSubBinary(&file);
    EXPECT_EQ(kept.GetValue(), 7u);
}
