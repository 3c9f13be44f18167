// Interning, index bookkeeping across loads, and both file forms of the dictionary.
#include "General/Text/StringDict.h"

#include <string>

#include <gtest/gtest.h>

#include "General/Core/LibAllocator.h"
#include "TextFiles.h"

namespace {

using TString = TStringDict::TString;
using vlib::test::Contents;
using vlib::test::TSourceFile;

const TString *Insert(TStringDict &dict, const char *text) {
    TString s(text);
    return dict.Insert(s);
}

TEST(StringDict, InsertKeepsOneCopyPerExactText) {
    TStringDict dict;
    const TString *a = Insert(dict, "ab");
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(dict.GetIndex(a), 1);
    EXPECT_EQ(Insert(dict, "ab"), a);
    // Same bucket (case-folded byte sum), still separate entries.
    const TString *upper = Insert(dict, "AB");
    const TString *anagram = Insert(dict, "ba");
    EXPECT_NE(upper, a);
    EXPECT_NE(anagram, a);
    EXPECT_EQ(dict.GetIndex(upper), 2);
    EXPECT_EQ(dict.GetIndex(anagram), 3);
    EXPECT_STREQ(dict.GetString(2)->GetData(), "AB");
    EXPECT_EQ(dict.GetString(0), nullptr);
    EXPECT_EQ(dict.GetString(4), nullptr);
    const TString *empty = Insert(dict, "");
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(Insert(dict, ""), empty);
}

TEST(StringDict, AddressesStayValidWhileTheTableGrows) {
    TStringDict dict;
    const TString *first = Insert(dict, "first");
    for (int i = 0; i < 5000; ++i)
        Insert(dict, ("name" + std::to_string(i)).c_str());
    EXPECT_STREQ(first->GetData(), "first");
    EXPECT_EQ(Insert(dict, "first"), first);
    EXPECT_EQ(dict.GetCount(), 5001);
    dict.Clear();
    EXPECT_EQ(dict.GetCount(), 0);
    EXPECT_EQ(dict.GetIndex(Insert(dict, "again")), 1);
}

/// Writes a dictionary with gaps in its indices by loading hand-made binary data.
std::string BinaryWithIndices(const std::initializer_list<std::pair<int, const char *>> &items) {
    std::string bytes;
    auto put32 = [&](int v) {
        for (int i = 0; i < 4; ++i)
            bytes.push_back(static_cast<char>(static_cast<unsigned>(v) >> (8 * i)));
    };
    put32(static_cast<int>(items.size()));
    for (const auto &item : items) {
        put32(item.first);
        bytes += item.second;
        bytes.push_back('\0');
    }
    return bytes;
}

TEST(StringDict, LoadKeepsIndicesAndInsertsGoOnAboveTheGreatest) {
    TStringDict dict;
    Insert(dict, "dropped by the load");
    TSourceFile source(BinaryWithIndices({{7, "seven"}, {3, "three"}}));
    dict.LoadSubBinary(&source.file);
    EXPECT_EQ(dict.GetCount(), 2);
    EXPECT_STREQ(dict.GetString(3)->GetData(), "three");
    EXPECT_STREQ(dict.GetString(7)->GetData(), "seven");
    EXPECT_EQ(dict.GetString(1), nullptr);
    EXPECT_EQ(dict.GetIndex(Insert(dict, "new")), 8);
    EXPECT_EQ(dict.GetIndex(Insert(dict, "three")), 3);
}

TEST(StringDict, TheLargestIndexLeavesNoRoomForInserts) {
    // A file may claim the last index there is; new texts are refused, known ones still found.
    TStringDict dict;
    TSourceFile source(BinaryWithIndices({{2147483647, "last"}}));
    dict.LoadSubBinary(&source.file);
    EXPECT_STREQ(dict.GetString(2147483647)->GetData(), "last");
    EXPECT_EQ(Insert(dict, "new"), nullptr);
    EXPECT_EQ(dict.GetIndex(Insert(dict, "last")), 2147483647);
}

TEST(StringDict, BothFileFormsRoundTrip) {
    TStringDict dict;
    const char *texts[] = {"tag", "TAG", "gat", "two\nlines", "", "value with blanks"};
    for (const char *text : texts)
        Insert(dict, text);

    TManagedFileBuf binary;
    ASSERT_TRUE(binary.Open(6, 0));
    dict.SaveSubBinary(&binary);
    TManagedFileBuf ascii;
    ASSERT_TRUE(ascii.Open(6, 0));
    dict.SaveAscii(&ascii);
    EXPECT_EQ(Contents(ascii).rfind("NumStrings=6\nIndex=", 0), 0u);

    for (TManagedFileBuf *file : {&binary, &ascii}) {
        SCOPED_TRACE(file == &binary ? "binary" : "text");
        ASSERT_TRUE(file->Seek(0, TFileObj::SeekStart));
        TStringDict loaded;
        if (file == &binary)
            loaded.LoadSubBinary(file);
        else
            loaded.LoadAscii(file);
        ASSERT_EQ(loaded.GetCount(), dict.GetCount());
        for (int index = 1; index <= dict.GetCount(); ++index) {
            ASSERT_NE(loaded.GetString(index), nullptr) << index;
            EXPECT_STREQ(loaded.GetString(index)->GetData(), dict.GetString(index)->GetData());
        }
        // The same order on the way out again.
        TManagedFileBuf again;
        ASSERT_TRUE(again.Open(6, 0));
        if (file == &binary) {
            loaded.SaveSubBinary(&again);
            EXPECT_EQ(Contents(again), Contents(binary));
        } else {
            loaded.SaveAscii(&again);
            EXPECT_EQ(Contents(again), Contents(ascii));
        }
    }
}

TEST(StringDict, TruncatedBinaryStopsAtTheEnd) {
    const std::string whole = BinaryWithIndices({{1, "alpha"}, {2, "beta"}});
    for (size_t cut = 0; cut < whole.size(); ++cut) {
        SCOPED_TRACE(cut);
        TSourceFile source(whole.substr(0, cut));
        TStringDict dict;
        dict.LoadSubBinary(&source.file);
        EXPECT_LE(dict.GetCount(), 2);
        if (cut < whole.size() - 1)
            EXPECT_EQ(dict.GetString(2), nullptr);
    }
    // A count far beyond the data allocates by what comes, not by what is claimed.
    std::string lying = whole;
    lying[3] = 0x7F;
    TSourceFile source(lying);
    TStringDict dict;
    dict.LoadSubBinary(&source.file);
    EXPECT_EQ(dict.GetCount(), 2);
}

TEST(StringDict, TextWithoutItsMarkerIsDropped) {
    TSourceFile source("NumStrings=2\nIndex=4\nfour\n---#***#---\nIndex=5\nfive\n");
    TStringDict dict;
    dict.LoadAscii(&source.file);
    EXPECT_EQ(dict.GetCount(), 1);
    EXPECT_STREQ(dict.GetString(4)->GetData(), "four");
}

TEST(StringDict, DestructionFreesEveryBlock) {
    const size_t before = GetAllocatorInstance().GetLiveBlocks();
    {
        TStringDict dict;
        for (int i = 0; i < 100; ++i)
            Insert(dict, ("s" + std::to_string(i)).c_str());
        TSourceFile source(BinaryWithIndices({{2, "x"}}));
        dict.LoadSubBinary(&source.file);
    }
    EXPECT_EQ(GetAllocatorInstance().GetLiveBlocks(), before);
}

} // namespace
