#include "General/Streams/XorFilter.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "General/Streams/FileBuf.h"
#include "General/Streams/RealFile.h"
#include "Support/FileFaults.h"
#include "Support/TempDir.h"

namespace {

using Bytes = std::vector<unsigned char>;
constexpr unsigned long kRead = 2, kWrite = 4;

} // namespace

TEST(XorFilter, ScramblesWithTheKeyAndLeavesTheCallersData) {
    Bytes data(700);
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<unsigned char>(i);
    const Bytes original = data;
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(kWrite, 0));
    TXorFilter out;
    ASSERT_TRUE(out.Open(&file, 0x5A));
    EXPECT_TRUE(out.IsWriteable());
    ASSERT_TRUE(out.Write(data.data(), int(data.size()))); // more than one 256-byte block
    EXPECT_EQ(data, original);
    ASSERT_EQ(file.Length(), 700);
    EXPECT_EQ(file.GetBuffer()[0], 0x5A);
    EXPECT_EQ(file.GetBuffer()[0x5A], 0x00);
    EXPECT_EQ(file.GetBuffer()[699], (699 & 255) ^ 0x5A);
    out.CloseLayer();

    ASSERT_TRUE(file.Close());
    ASSERT_TRUE(file.Open(kRead, 0));
    TXorFilter in;
    ASSERT_TRUE(in.Open(&file, 0x5A));
    EXPECT_TRUE(in.IsReadable());
    Bytes back(800);
    EXPECT_EQ(in.Read(back.data(), 800), 700);
    back.resize(700);
    EXPECT_EQ(back, original);
}

TEST(XorFilter, AFailedLowerWriteIsPassedUp) {
    vlib::test::TTempDir dir;
    vlib::test::TFileFaultGuard faults;
    TRealFile file;
    ASSERT_TRUE(file.Open(dir.File("x.bin").c_str(), kWrite));
    TXorFilter out;
    ASSERT_TRUE(out.Open(&file, 1));
    const Bytes data(600, 7);
    faults->Write.Arm(2); // the second 256-byte block
    EXPECT_FALSE(out.Write(data.data(), int(data.size())));
    EXPECT_TRUE(out.IsBad());
    EXPECT_TRUE(file.IsBad());
}

TEST(NullFilter, PassesBytesThrough) {
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(kWrite, 0));
    TNullFilter filter;
    ASSERT_TRUE(filter.Open(&file));
    ASSERT_TRUE(filter.Write("abc", 3));
    EXPECT_EQ(filter.GetPos(), 3);
    filter.CloseLayer();
    ASSERT_TRUE(file.Seek(0, TFileObj::SeekStart));
    file.ClearWriteable().SetReadable();
    TNullFilter reader;
    ASSERT_TRUE(reader.Open(&file));
    char text[4] = {};
    EXPECT_EQ(reader.Read(text, 3), 3);
    EXPECT_STREQ(text, "abc");
    TNullFilter second;
    EXPECT_FALSE(second.Open(&file));
}
