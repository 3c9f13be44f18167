// Id texts, lookups and replacements, the record file, the binary form, and translation of
// binary string reads through the adapter.
#include "General/Text/StringDatabase.h"

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "General/Streams/IOAdapter.h"
#include "General/Text/StringDict.h"
#include "Support/TempDir.h"
#include "TextFiles.h"

namespace {

using TString = TStringDatabase::TString;
using vlib::test::Contents;
using vlib::test::TSourceFile;

TEST(StringDatabase, ExtractStringIDReadsAsScanfDoes) {
    struct Case {
        const char *text;
        bool isID;
        uint32_t id;
    };
    constexpr Case kCases[] = {
        {"${0000ABCD}", true, 0xABCD},      {"${0000abcd}", true, 0xABCD},
        {"${0000ABCD}tail", true, 0xABCD},  {"${12zz5678}", true, 0x12},
        {"${zzzzzzzz}", false, 0},          {"$", false, 0},
        {"${1234567}", false, 0},           {"x{0000ABCD}", false, 0},
        {"${0000ABCD)", false, 0},          {"$(0000ABCD}", false, 0},
        {"${FFFFFFFF}", true, 0xFFFFFFFFu},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.text);
        uint32_t id = 0;
        EXPECT_EQ(TStringDatabase::ExtractStringID(c.text, id), c.isID);
        if (c.isID)
            EXPECT_EQ(id, c.id);
    }
}

TEST(StringDatabase, LookupGivesEntryTextOrNormalisedID) {
    TStringDatabase db;
    db.SetString(0xABCD, "translated");
    TString plain("plain word");
    EXPECT_EQ(&db.LookupString(plain), &plain);
    EXPECT_STREQ(db.LookupString(TString("${0000abcd}")).GetData(), "translated");
    EXPECT_STREQ(db.LookupString(TString("${0000000a}")).GetData(), "${0000000A}");
    EXPECT_STREQ(db.LookupString(0x10u).GetData(), "${00000010}");

    TString out;
    db.LookupString("${0000ABCD}tail", out);
    EXPECT_STREQ(out.GetData(), "translated");
    db.LookupString("other", out);
    EXPECT_STREQ(out.GetData(), "other");

    TString text("${0000abcd}xyz");
    db.ReplaceString(text);
    EXPECT_STREQ(text.GetData(), "translated");
    text = "${0000000b}";
    db.ReplaceString(text);
    EXPECT_STREQ(text.GetData(), "${0000000B}");
    text = "no id";
    db.ReplaceString(text);
    EXPECT_STREQ(text.GetData(), "no id");

    char buffer[8] = "${0000A";
    db.ReplaceString(buffer, sizeof(buffer)); // not an id text: untouched
    EXPECT_STREQ(buffer, "${0000A");
    char wide[16] = "${0000ABCD}";
    db.ReplaceString(wide, 5); // strncpy adds no terminator beyond the size
    EXPECT_EQ(std::string(wide, 5), "trans");
    EXPECT_EQ(std::string(wide + 5), "0ABCD}");
}

TEST(StringDatabase, LoadAsciiReadsRecordsUntilTheFirstBadOne) {
    struct Case {
        const char *name;
        const char *file;
        std::vector<std::pair<uint32_t, const char *>> entries;
    };
    const Case kCases[] = {
        {"plain",
         "${00000001}\n1\none\n${00000002}\n2\ntwo\nlines\n",
         {{1, "one"}, {2, "two\nlines"}}},
        {"no lines", "${00000003}\n0\n${00000004}\n1\nfour\n", {{3, ""}, {4, "four"}}},
        {"blank line ends", "${00000001}\n1\none\n\n${00000002}\n1\ntwo\n", {{1, "one"}}},
        {"short record dropped", "${00000001}\n1\none\n${00000002}\n3\na\nb\n", {{1, "one"}}},
        {"first text wins", "${00000001}\n1\nfirst\n${00000001}\n1\nsecond\n", {{1, "first"}}},
        {"CR LF", "${00000005}\r\n1\r\nfive\r\n", {{5, "five"}}},
        {"empty", "", {}},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        TStringDatabase db;
        TSourceFile source(c.file);
        EXPECT_TRUE(db.LoadAscii(&source.file));
        ASSERT_EQ(db.GetCount(), c.entries.size());
        for (const auto &entry : c.entries)
            EXPECT_STREQ(db.LookupString(entry.first).GetData(), entry.second);
    }
    TStringDatabase db;
    EXPECT_FALSE(db.LoadAscii(nullptr));
}

TEST(StringDatabase, BinaryFormRoundTripsAndIsLittleEndian) {
    TStringDatabase db;
    db.SetString(2, "b");
    db.SetString(1, "a");
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(6, 0));
    ASSERT_TRUE(db.SaveBinary(&file));
    const std::string expected("\x02\0\0\0"
                               "\x01\0\0\0\x01\0\0\0a"
                               "\x02\0\0\0\x01\0\0\0b",
                               22);
    EXPECT_EQ(Contents(file), expected);

    ASSERT_TRUE(file.Seek(0, TFileObj::SeekStart));
    TStringDatabase loaded;
    loaded.SetString(9, "cleared by the load");
    ASSERT_TRUE(loaded.LoadBinary(&file));
    EXPECT_EQ(loaded.GetStrings(), db.GetStrings());
}

TEST(StringDatabase, BinaryCountThatLiesStopsAtTheEnd) {
    TSourceFile source(std::string("\xFF\xFF\xFF\x7F\x01\0\0\0\x01\0\0\0a", 13));
    TStringDatabase db;
    EXPECT_TRUE(db.LoadBinary(&source.file));
    EXPECT_EQ(db.GetCount(), 1u);
}

TEST(StringDatabase, LoadsThatRunOutOfMemoryFail) {
    const std::string text = "${00000001}\n1\none\n${00000002}\n2\ntwo\nlines\n";
    TStringDatabase reference;
    {
        TSourceFile source(text);
        ASSERT_TRUE(reference.LoadAscii(&source.file));
    }
    TManagedFileBuf binary;
    ASSERT_TRUE(binary.Open(6, 0));
    ASSERT_TRUE(reference.SaveBinary(&binary));
    for (const bool fromBinary : {false, true}) {
        SCOPED_TRACE(fromBinary ? "binary" : "text");
        TSourceFile source(fromBinary ? Contents(binary) : text);
        const int attempts = vlib::test::RunUntilAllocationsSucceed([&] {
            EXPECT_TRUE(source.file.Seek(0, TFileObj::SeekStart));
            TStringDatabase db;
            const bool loaded = static_cast<bool>(fromBinary ? db.LoadBinary(&source.file)
                                                             : db.LoadAscii(&source.file));
            GetAllocatorInstance().Faults().Disarm(); // keeps the count of failures
            if (loaded)
                EXPECT_EQ(db.GetStrings(), reference.GetStrings());
            return loaded;
        });
        EXPECT_GT(attempts, 1);
    }
}

TEST(StringDatabase, AdapterTranslatesBinaryStringReads) {
    TStringDatabase db;
    db.SetString(0x42, "answer");
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(6, 0));
    {
        TIOAdapter out(&file, true);
        TString a("${00000042}"), b("${00000043}"), c("kept");
        out.StreamString(a, "a");
        out.StreamString(b, "b");
        out.StreamString(c, "c");
    }
    ASSERT_TRUE(file.Seek(0, TFileObj::SeekStart));
    TIOAdapter::SetStringDatabase(&db);
    TIOAdapter in(&file, false);
    TString a, b, c;
    in.StreamString(a, "a");
    in.StreamString(b, "b");
    in.StreamString(c, "c");
    TIOAdapter::SetStringDatabase(nullptr);
    EXPECT_STREQ(a.GetData(), "answer");
    EXPECT_STREQ(b.GetData(), "${00000043}");
    EXPECT_STREQ(c.GetData(), "kept");
}

TEST(StringDatabase, FactoryMakesDatabases) {
    TResourceFactory *factory =
        TResourceFactoryRegistry::Find(TResource::StrToID("TStringDatabase"));
    ASSERT_EQ(factory, &TStringDatabase::mFactory);
    TResource *made = factory->New();
    ASSERT_NE(dynamic_cast<TStringDatabase *>(made), nullptr);
    EXPECT_EQ(made->GetFactory(), factory);
    factory->Delete(made);
}

} // namespace

// Builds the seed corpus of the string-table fuzz target from our own writers: database
// binary files, database record files, and dictionary files of both forms, each behind the
// byte that picks its reader. With VLIB_FUZZ_CORPUS_DIR set it writes them there.
TEST(StringDatabase, WriterOutputSeedsTheFuzzCorpus) {
    const char *directory = std::getenv("VLIB_FUZZ_CORPUS_DIR");
    for (int n = 0; n < 24; ++n) {
        SCOPED_TRACE(n);
        const int mode = n % 4;
        TManagedFileBuf file;
        ASSERT_TRUE(file.Open(6, 0));
        if (mode == 0 || mode == 1) {
            TStringDatabase db;
            std::string records;
            for (int i = 0; i <= n; ++i) {
                TString id, text(("entry " + std::to_string(i * n)).c_str());
                if (i % 3 == 1)
                    text.Append("\nsecond line");
                TStringDatabase::MakeStringIDString(static_cast<uint32_t>(i * 0x1111 + n), id);
                db.SetString(static_cast<uint32_t>(i * 0x1111 + n), text);
                records += std::string(id.GetData()) + "\n" + (i % 3 == 1 ? "2" : "1") + "\n" +
                           text.GetData() + "\n";
            }
            if (mode == 0) {
                TStringDatabase parsed;
                TSourceFile source(records);
                ASSERT_TRUE(parsed.LoadAscii(&source.file));
                EXPECT_EQ(parsed.GetStrings(), db.GetStrings());
                file.Write(records.data(), static_cast<int>(records.size()));
            } else {
                ASSERT_TRUE(db.SaveBinary(&file));
            }
        } else {
            TStringDict dict;
            for (int i = 0; i <= n; ++i) {
                TString text(
                    ("name" + std::to_string(i % (n / 2 + 1)) + (i % 5 == 0 ? "\nx" : "")).c_str());
                dict.Insert(text);
            }
            if (mode == 2)
                dict.SaveAscii(&file);
            else
                dict.SaveSubBinary(&file);
        }
        if (directory != nullptr)
            vlib::test::WriteSeed(directory, "StringDatabase", n,
                                  std::string(1, static_cast<char>(mode)) + Contents(file));
    }
}
