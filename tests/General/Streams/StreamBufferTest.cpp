#include "General/Streams/StreamBuffer.h"

#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "General/Streams/FileBuf.h"

namespace {

using Bytes = std::vector<unsigned char>;

Bytes Contents(TManagedFileBuf &file) {
    return Bytes(file.GetBuffer(), file.GetBuffer() + file.Length());
}

} // namespace

TEST(StreamBuffer, GrowsToPowersOfTwo) {
    TStreamBuffer buffer;
    EXPECT_FALSE(buffer.HasBuffer());
    buffer.Write4(0x11223344);
    EXPECT_EQ(buffer.GetAlloced(), 4);
    buffer.Write1(0x55);
    EXPECT_EQ(buffer.GetAlloced(), 8);
    buffer.Write2(0x6677);
    EXPECT_EQ(buffer.GetAlloced(), 8);
    buffer.WriteF(1.5f);
    EXPECT_EQ(buffer.GetAlloced(), 16);
    EXPECT_EQ(buffer.GetPos(), 11);
    const Bytes golden = {0x44, 0x33, 0x22, 0x11, 0x55, 0x77, 0x66, 0x00, 0x00, 0xC0, 0x3F};
    EXPECT_EQ(Bytes(buffer.GetBuffer(), buffer.GetBuffer() + 11), golden);

    buffer.SetPos(0);
    EXPECT_EQ(buffer.Read4(), 0x11223344u);
    EXPECT_EQ(buffer.Read1(), 0x55);
    EXPECT_EQ(buffer.Read2(), 0x6677);
    EXPECT_EQ(buffer.ReadF(), 1.5f);
    buffer.SetPosRel(-4);
    EXPECT_EQ(buffer.GetPos(), 7);
}

TEST(StreamBuffer, ReserveAlignAndReallocateEnd) {
    TStreamBuffer buffer;
    buffer.Write1(1);
    unsigned char *slot = buffer.ReserveMore(3);
    ASSERT_NE(slot, nullptr);
    EXPECT_EQ(slot, buffer.GetBuffer() + 1);
    std::memcpy(slot, "abc", 3);
    EXPECT_EQ(buffer.GetPos(), 4);
    buffer.Align(8);
    EXPECT_EQ(buffer.GetPos(), 8);
    EXPECT_EQ(buffer.GetAlloced(), 8);
    buffer.Align(8);
    EXPECT_EQ(buffer.GetPos(), 8) << "an aligned offset stays";
    buffer.Write1(9);
    EXPECT_EQ(buffer.GetAlloced(), 16);

    buffer.SetPos(3);
    const unsigned char *old = buffer.GetBuffer();
    const Bytes tail(old + 12, old + 16);
    buffer.ReallocateEnd(4);
    EXPECT_EQ(buffer.GetAlloced(), 4);
    EXPECT_EQ(Bytes(buffer.GetBuffer(), buffer.GetBuffer() + 4), tail);
    EXPECT_EQ(buffer.GetPos(), 3);
    buffer.ReallocateEnd(2);
    EXPECT_EQ(buffer.GetPos(), 2) << "the cursor is cut to the new size";
    buffer.Unallocate();
    EXPECT_FALSE(buffer.HasBuffer());
    EXPECT_EQ(buffer.GetAlloced(), 0);
}

TEST(StreamBuffer, StringsCarryACountAndTheirTerminator) {
    TStreamBuffer buffer;
    buffer.WriteS("abc");
    buffer.WriteS("");
    const Bytes golden = {4, 0, 0, 0, 'a', 'b', 'c', 0, 1, 0, 0, 0, 0};
    ASSERT_EQ(buffer.GetPos(), int(golden.size()));
    EXPECT_EQ(Bytes(buffer.GetBuffer(), buffer.GetBuffer() + golden.size()), golden);
    buffer.SetPos(0);
    TDynamicString a("junk"), b("junk");
    buffer.ReadS(a);
    buffer.ReadS(b);
    EXPECT_EQ(a, "abc");
    EXPECT_TRUE(b.IsEmpty());
    EXPECT_EQ(buffer.GetPos(), int(golden.size()));
}

TEST(StreamBuffer, SaveAndLoadThroughAFile) {
    TStreamBuffer buffer;
    buffer.Write4(0xCAFEF00D);
    buffer.Write2(7);
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(4, 0));
    ASSERT_TRUE(buffer.Save(&file));
    TStreamBuffer empty;
    ASSERT_TRUE(empty.Save(&file));
    ASSERT_TRUE(buffer.Save(&file, 2));
    EXPECT_EQ(Contents(file),
              (Bytes{6, 0, 0, 0, 0x0D, 0xF0, 0xFE, 0xCA, 7, 0, 0, 0, 0, 0, 0x0D, 0xF0}));

    ASSERT_TRUE(file.Seek(0, TFileObj::SeekStart));
    TStreamBuffer loaded;
    ASSERT_TRUE(loaded.Load(&file));
    EXPECT_EQ(loaded.GetAlloced(), 6);
    EXPECT_EQ(loaded.GetPos(), 0);
    EXPECT_EQ(loaded.Read4(), 0xCAFEF00Du);
    ASSERT_TRUE(loaded.Load(&file)) << "a zero count";
    EXPECT_FALSE(loaded.HasBuffer()) << "a zero count frees the block";
    ASSERT_TRUE(loaded.Load(&file, 2));
    EXPECT_EQ(loaded.Read2(), 0xF00D);
}

TEST(StreamBuffer, LoadOfAHostileCountCostsOnlyWhatArrives) {
    // A count of nearly 2 GiB followed by ten bytes: the load fails without reserving
    // memory for the count.
    const unsigned char data[14] = {0xF0, 0xFF, 0xFF, 0x7F, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    TFixedFileBuf file;
    ASSERT_TRUE(file.Open(const_cast<unsigned char *>(data), 14, 2));
    TStreamBuffer buffer;
    EXPECT_FALSE(buffer.Load(&file));
    EXPECT_LE(buffer.GetAlloced(), 10);
    const unsigned char truncated[3] = {1, 0, 0};
    TFixedFileBuf shortFile;
    ASSERT_TRUE(shortFile.Open(const_cast<unsigned char *>(truncated), 3, 2));
    TStreamBuffer other;
    EXPECT_FALSE(other.Load(&shortFile));
    EXPECT_FALSE(other.HasBuffer());
}

TEST(StreamBuffer, AdoptedBlocksAreDetachedBeforeDestruction) {
    unsigned char block[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    TStreamBuffer buffer;
    buffer.SetBuffer(block, 8);
    EXPECT_EQ(buffer.GetBuffer(), block);
    EXPECT_EQ(buffer.Read4(), 0x04030201u);
    buffer.SetBuffer(nullptr, 0);
    EXPECT_FALSE(buffer.HasBuffer());
}
