#include "General/Streams/FileBuf.h"

#include <cstring>
#include <new>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<unsigned char>;
constexpr unsigned long kRead = 2, kWrite = 4;

} // namespace

TEST(FixedFileBuf, ReportsEndOnlyAfterAReadRunsIntoIt) {
    unsigned char block[6] = {1, 2, 3, 4, 5, 6};
    TFixedFileBuf file;
    ASSERT_TRUE(file.Open(block, 6, kRead));
    EXPECT_EQ(file.GetFlags(), unsigned(TFileObj::FlagOpen | TFileObj::FlagReadable));
    EXPECT_FALSE(file.Open(block, 6, kRead));
    unsigned char out[8] = {};
    EXPECT_EQ(file.Read(out, 6), 6);
    EXPECT_FALSE(file.AtEOF()) << "standing at the end is not yet end of file";
    EXPECT_EQ(file.Read(out, 1), 0);
    EXPECT_TRUE(file.AtEOF());
    EXPECT_EQ(file.GetPos(), 7);
    EXPECT_EQ(file.Read(out, 1), 0);

    ASSERT_TRUE(file.Seek(2, TFileObj::SeekStart));
    EXPECT_EQ(file.Read(out, 8), 4) << "a read across the end delivers the rest";
    EXPECT_EQ(Bytes(out, out + 4), (Bytes{3, 4, 5, 6}));
    EXPECT_TRUE(file.AtEOF());
    EXPECT_EQ(file.GetFileName(), "FixedFileBuf");
}

TEST(FixedFileBuf, WritesWhatFits) {
    unsigned char block[4] = {};
    TFixedFileBuf file;
    ASSERT_TRUE(file.Open(block, 4, kWrite));
    EXPECT_TRUE(file.IsWriteable());
    EXPECT_FALSE(file.IsReadable());
    const unsigned char data[6] = {9, 8, 7, 6, 5, 4};
    EXPECT_TRUE(file.Write(data, 3));
    EXPECT_FALSE(file.Write(data + 3, 3)) << "only one of three bytes fits";
    EXPECT_EQ(file.GetPos(), 4);
    EXPECT_EQ(Bytes(block, block + 4), (Bytes{9, 8, 7, 6}));
    EXPECT_FALSE(file.Write(data, 1));
}

TEST(MemoryFiles, SeekTargetsMustLieWithinTheData) {
    struct Case {
        int offset;
        TFileObj::TSeekMode mode;
        bool ok;
        int pos;
    };
    // From position 3 of 10 bytes.
    const Case kCases[] = {
        {0, TFileObj::SeekStart, true, 0},   {9, TFileObj::SeekStart, true, 9},
        {10, TFileObj::SeekStart, false, 3}, {-1, TFileObj::SeekStart, false, 3},
        {2, TFileObj::SeekCurrent, true, 5}, {-4, TFileObj::SeekCurrent, false, 3},
        {1, TFileObj::SeekEnd, true, 9},     {0, TFileObj::SeekEnd, false, 3},
        {10, TFileObj::SeekEnd, true, 0},    {4, TFileObj::TSeekMode(7), true, 4},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(testing::Message() << c.offset << " mode " << int(c.mode));
        unsigned char block[10] = {};
        TFixedFileBuf fixed;
        ASSERT_TRUE(fixed.Open(block, 10, kRead));
        ASSERT_TRUE(fixed.Seek(3, TFileObj::SeekStart));
        EXPECT_EQ(fixed.Seek(c.offset, c.mode), c.ok);
        EXPECT_EQ(fixed.GetPos(), c.pos);

        TManagedFileBuf managed;
        ASSERT_TRUE(managed.Open(kWrite | kRead, 10));
        ASSERT_TRUE(managed.Seek(3, TFileObj::SeekStart));
        EXPECT_EQ(managed.Seek(c.offset, c.mode), c.ok);
        EXPECT_EQ(managed.GetPos(), c.pos);
    }
    TManagedFileBuf empty;
    ASSERT_TRUE(empty.Open(kWrite, 0));
    EXPECT_FALSE(empty.Seek(0, TFileObj::SeekStart)) << "an empty buffer refuses every seek";
}

TEST(ManagedFileBuf, LengthIsWhereTheLastWriteEnded) {
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(kWrite, 8192));
    EXPECT_EQ(file.Length(), 8192);
    EXPECT_FALSE(file.Open(kWrite, 1));
    const Bytes data(100, 0x5A);
    ASSERT_TRUE(file.Write(data.data(), 100));
    EXPECT_EQ(file.Length(), 100);
    ASSERT_TRUE(file.Seek(0, TFileObj::SeekStart));
    ASSERT_TRUE(file.Write(data.data(), 10));
    EXPECT_EQ(file.Length(), 10) << "a write into the middle cuts the data there";
    EXPECT_EQ(file.GetFileName(), "ManagedFileBuf");
}

TEST(ManagedFileBuf, GrowsByHalfFrom256AndNeverShrinks) {
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(kWrite, 0));
    Bytes data(1000);
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<unsigned char>(i * 7);
    // 256 -> 384 -> 576 -> 864 -> 1296: the block moves as it grows and keeps the data.
    unsigned char *first = nullptr;
    for (size_t at = 0; at < data.size(); at += 50) {
        ASSERT_TRUE(file.Write(data.data() + at, 50));
        if (first == nullptr)
            first = file.GetBuffer();
    }
    EXPECT_EQ(std::memcmp(file.GetBuffer(), data.data(), data.size()), 0);
    unsigned char *grown = file.GetBuffer();
    EXPECT_NE(grown, first);
    file.Resize(10);
    EXPECT_EQ(file.Length(), 10);
    EXPECT_EQ(file.GetBuffer(), grown) << "shrinking keeps the block";
    file.Enlarge(1286); // to 1296, the capacity: still no move
    EXPECT_EQ(file.GetBuffer(), grown);
    file.Enlarge(1); // past it
    EXPECT_NE(file.GetBuffer(), grown);
    EXPECT_EQ(std::memcmp(file.GetBuffer(), data.data(), 10), 0) << "the logical length moves";
}

TEST(ManagedFileBuf, ReopenedForReadingServesWhatWasWritten) {
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(kWrite, 0));
    const unsigned char data[5] = {1, 2, 3, 4, 5};
    ASSERT_TRUE(file.Write(data, 5));
    ASSERT_TRUE(file.Close());
    unsigned char *block = file.GetBuffer();
    ASSERT_TRUE(file.Open(kRead, 12345));
    EXPECT_EQ(file.GetBuffer(), block) << "a read-only open allocates nothing";
    EXPECT_EQ(file.Length(), 5);
    unsigned char out[8] = {};
    EXPECT_EQ(file.Read(out, 3), 3);
    EXPECT_FALSE(file.AtEOF());
    EXPECT_EQ(file.Read(out + 3, 8), 2);
    EXPECT_TRUE(file.AtEOF()) << "the managed buffer reports the end at once";
    EXPECT_EQ(file.Read(out, 1), 0);
    EXPECT_EQ(Bytes(out, out + 5), Bytes(data, data + 5));
}

TEST(ManagedFileBuf, CopiesShareTheBlock) {
    auto &heap = GetAllocatorInstance();
    const size_t before = heap.GetLiveBlocks();
    {
        TManagedFileBuf original;
        ASSERT_TRUE(original.Open(kWrite, 0));
        const unsigned char b = 42;
        ASSERT_TRUE(original.Write(&b, 1));
        // The copy is never destroyed: only one holder of a block may be.
        alignas(TManagedFileBuf) unsigned char storage[sizeof(TManagedFileBuf)];
        auto *copy = ::new (static_cast<void *>(storage)) TManagedFileBuf(original);
        EXPECT_EQ(copy->GetBuffer(), original.GetBuffer());
        EXPECT_EQ(copy->Length(), 1);
    }
    EXPECT_EQ(heap.GetLiveBlocks(), before) << "the destructor frees the block";
}

TEST(ManagedFileBuf, OutOfMemoryFailsTheWrite) {
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(kWrite, 0));
    auto &faults = GetAllocatorInstance().Faults();
    faults.Arm(1);
    const unsigned char b = 1;
    EXPECT_FALSE(file.Write(&b, 1));
    faults.Disarm();
    EXPECT_TRUE(file.IsBad());
    EXPECT_EQ(file.Length(), 0);
}

TEST(NullFile, CountsWithoutKeeping) {
    TNullFile file;
    ASSERT_TRUE(file.Open());
    EXPECT_EQ(file.GetFlags(),
              unsigned(TFileObj::FlagOpen | TFileObj::FlagReadable | TFileObj::FlagWriteable));
    EXPECT_FALSE(file.Open());
    const Bytes data(1000, 1);
    ASSERT_TRUE(file.Write(data.data(), 1000));
    EXPECT_EQ(file.GetPos(), 1000);
    EXPECT_EQ(file.Length(), 0);
    EXPECT_EQ(file.AtEOF(), 0);
    unsigned char out = 0x77;
    EXPECT_EQ(file.Read(&out, 1), 1);
    EXPECT_EQ(out, 0x77) << "the buffer is not touched";
    EXPECT_TRUE(file.Seek(5, TFileObj::SeekEnd));
    EXPECT_EQ(file.GetPos(), 5) << "every mode sets the position to the offset";
    EXPECT_EQ(file.GetFileName(), "NullFile");
    ASSERT_TRUE(file.Close());
    EXPECT_FALSE(file.IsOpen());
}
