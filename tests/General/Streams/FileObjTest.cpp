#include "General/Streams/FileObj.h"

#include <string>

#include <gtest/gtest.h>

#include "General/Streams/FileBuf.h"
#include "General/Streams/RealFile.h"
#include "Support/TempDir.h"

namespace {

constexpr unsigned long kRead = 2, kWrite = 4;

/// A pass-through layer in either direction that counts its flushes.
class TCountingFilter : public TFilter {
public:
    bool Open(TFileObj *lower) {
        if (!FilterOpenValid(lower))
            return HandleOpenFailed(lower);
        Layer(lower, FlagOpen | (lower->IsReadable() ? FlagReadable : FlagWriteable));
        return true;
    }
    int Read(void *buffer, int size) override { return m_Lower->Read(buffer, size); }
    bool Write(const void *buffer, int size) override { return m_Lower->Write(buffer, size); }
    bool Flush() override {
        ++m_Flushes;
        return TFilter::Flush();
    }
    int m_Flushes = 0;
};

} // namespace

TEST(FileObj, FlagsAndPrivateFlags) {
    TManagedFileBuf file;
    file.SetBad().SetSequential();
    EXPECT_EQ(file.IsBad(), int(TFileObj::FlagBad)) << "queries give the masked bit";
    EXPECT_EQ(file.IsSequential(), 0x100);
    EXPECT_EQ(file.IsOpen(), 0);
    EXPECT_EQ(file.SetPrivateFlags(0xABCD), 0xABCD0000u | 0x140u);
    EXPECT_EQ(file.GetPrivateFlags(), 0xABCDu);
    file.ClearBad();
    EXPECT_EQ(file.GetFlags(), 0xABCD0100u);
    file.ClearAll();
    EXPECT_EQ(file.GetFlags(), 0u);
    EXPECT_EQ(TFileObj::LastFileError.GetCode(), 0u);
}

TEST(FileObj, FilterOpenTakesTheLowerFileOver) {
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(kWrite, 0));
    TCountingFilter filter;
    ASSERT_TRUE(filter.Open(&file));
    EXPECT_TRUE(file.IsLayered());
    EXPECT_EQ(filter.GetLowerFile(), &file);
    EXPECT_EQ(filter.GetFlags(), unsigned(TFileObj::FlagOpen | TFileObj::FlagWriteable));
    EXPECT_EQ(filter.GetFileName(), "ManagedFileBuf") << "the name comes from below";

    // A second filter on a layered file fails and closes the file it was offered.
    TCountingFilter second;
    EXPECT_FALSE(second.Open(&file));
    EXPECT_FALSE(file.IsOpen());
    EXPECT_FALSE(second.IsOpen());
    // A filter that never opened refuses everything instead of touching a null file.
    EXPECT_FALSE(second.Flush());
    EXPECT_FALSE(second.Seek(0, TFileObj::SeekStart));
    EXPECT_EQ(second.GetPos(), 0);
    EXPECT_EQ(second.Length(), 0);
    EXPECT_NE(second.AtEOF(), 0);
    EXPECT_TRUE(second.GetFileName().IsEmpty());
    TCountingFilter none;
    EXPECT_FALSE(none.Open(nullptr));
}

TEST(FileObj, CloseLayerFlushesAWriterAndLeavesTheFileOpen) {
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(kWrite, 0));
    TCountingFilter filter;
    ASSERT_TRUE(filter.Open(&file));
    ASSERT_TRUE(filter.Write("ab", 2));
    filter.CloseLayer();
    EXPECT_EQ(filter.m_Flushes, 1);
    EXPECT_FALSE(filter.IsOpen());
    EXPECT_EQ(filter.GetLowerFile(), nullptr);
    EXPECT_TRUE(file.IsOpen());
    EXPECT_FALSE(file.IsLayered());
    // The file takes a new filter.
    TCountingFilter next;
    ASSERT_TRUE(next.Open(&file));
    ASSERT_TRUE(next.Write("c", 1));
    EXPECT_EQ(file.Length(), 3);

    // A reading filter is not flushed on the way off.
    TManagedFileBuf source;
    ASSERT_TRUE(source.Open(kRead, 0));
    TCountingFilter reader;
    ASSERT_TRUE(reader.Open(&source));
    reader.CloseLayer();
    EXPECT_EQ(reader.m_Flushes, 0);
}

TEST(FileObj, CloseRunsDownTheWholeStack) {
    vlib::test::TTempDir dir;
    TRealFile file;
    ASSERT_TRUE(file.Open(dir.File("stack.bin").c_str(), kWrite));
    TCountingFilter middle, top;
    ASSERT_TRUE(middle.Open(&file));
    ASSERT_TRUE(top.Open(&middle));
    EXPECT_EQ(top.GetFileName(), dir.File("stack.bin").c_str());
    ASSERT_TRUE(top.Write("xyz", 3));
    EXPECT_EQ(top.GetPos(), 3);
    EXPECT_EQ(top.Length(), 3);
    ASSERT_TRUE(top.Close());
    EXPECT_FALSE(top.IsOpen());
    EXPECT_FALSE(middle.IsOpen());
    EXPECT_FALSE(file.IsOpen());
}

TEST(FileObj, ConvertPathTurnsSlashesIntoBackslashes) {
    EXPECT_EQ(ConvertPath("a/b\\c/"), "a\\b\\c\\");
    EXPECT_EQ(ConvertPath(""), "");
}
