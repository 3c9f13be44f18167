// Tests of the in-place delimiter split and the two quoting machines of the quoted split,
// including the 128-field cap, malformed lines and their messages, and a quote/split round
// trip over generated fields.
#include "General/Text/SplitString.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "SplitStringLines.h"

namespace {

std::vector<std::string> FieldsOf(const TSplitString &split) {
    std::vector<std::string> fields;
    for (int i = 0; i < split.GetNumFields(); ++i)
        fields.emplace_back(split.StrPtr(i), static_cast<size_t>(split.StrLen(i)));
    return fields;
}

std::vector<std::string> FieldsOf(const TQuotedSplitString &split) {
    std::vector<std::string> fields;
    for (unsigned int i = 0; i < split.GetNumFields(); ++i)
        fields.emplace_back(split.GetField(i), split.GetFieldLength(i));
    return fields;
}

std::unique_ptr<TSplitString> SplitLine(const char *text, char delimiter) {
    auto split = std::make_unique<TSplitString>(delimiter);
    split->FillBuffer(text);
    split->Split(static_cast<int>(std::strlen(text)));
    return split;
}

} // namespace

TEST(SplitString, NewObjectHasNoSplitYet) {
    auto split = std::make_unique<TSplitString>(',');
    EXPECT_EQ(split->GetNumFields(), -1);
    EXPECT_EQ(split->GetNumFilled(), 0);
}

TEST(SplitString, CutsAtDelimiter) {
    struct Case {
        const char *text;
        char delimiter;
        std::vector<std::string> fields;
        int filled;
    };
    const Case kCases[] = {
        {"", ',', {""}, 0},
        {"abc", ',', {"abc"}, 1},
        {"a,,b", ',', {"a", "", "b"}, 2},
        {"a,", ',', {"a", ""}, 1},
        {",", ',', {"", ""}, 0},
        {",a", ',', {"", "a"}, 1},
        {"1 2  3", ' ', {"1", "2", "", "3"}, 3},
        {"key=value=more", '=', {"key", "value", "more"}, 3},
        // A NUL delimiter (the default) never matches inside the text.
        {"a,b", '\0', {"a,b"}, 1},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.text);
        auto split = SplitLine(c.text, c.delimiter);
        EXPECT_EQ(FieldsOf(*split), c.fields);
        EXPECT_EQ(split->GetNumFields(), static_cast<int>(c.fields.size()));
        EXPECT_EQ(split->GetNumFilled(), c.filled);
        // Every field is a terminated text of its own after the split.
        for (int i = 0; i < split->GetNumFields(); ++i)
            EXPECT_EQ(std::strlen(split->StrPtr(i)), static_cast<size_t>(split->StrLen(i)));
    }
}

TEST(SplitString, SplitsOnlyTheGivenLength) {
    auto split = std::make_unique<TSplitString>(',');
    split->FillBuffer("a,b,c,d");
    split->Split(3);
    EXPECT_EQ(split->GetNumFields(), 2);
    EXPECT_STREQ(split->StrPtr(0), "a");
    EXPECT_EQ(split->StrLen(1), 1);
    // No terminator is written behind the last field: the rest of the text is untouched.
    EXPECT_STREQ(split->StrPtr(1), "b,c,d");
}

TEST(SplitString, NegativeLengthCountsAsEmpty) {
    auto split = std::make_unique<TSplitString>(',');
    split->FillBuffer("a,b");
    split->Split(-5);
    EXPECT_EQ(split->GetNumFields(), 1);
    EXPECT_EQ(split->GetNumFilled(), 0);
    EXPECT_EQ(split->StrLen(0), 0);
}

TEST(SplitString, InitSetsDelimiterAndSplitsAgain) {
    auto split = std::make_unique<TSplitString>(',');
    std::strcpy(split->GetBufferPtr(), "a;b,c");
    split->Init(5, ';');
    EXPECT_EQ(FieldsOf(*split), (std::vector<std::string>{"a", "b,c"}));
}

TEST(SplitString, KeepsFirst128Fields) {
    struct Case {
        int delimiters;
        int fields;
        int filled;
        std::string last;
    };
    // 127 commas make exactly 128 fields; more commas drop everything behind the 128th.
    const Case kCases[] = {
        {127, 128, 128, "127"},
        {128, 128, 128, "127"},
        {300, 128, 128, "127"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.delimiters);
        std::string text;
        for (int i = 0; i <= c.delimiters; ++i)
            text += std::to_string(i) + (i < c.delimiters ? "," : "");
        auto split = SplitLine(text.c_str(), ',');
        ASSERT_EQ(split->GetNumFields(), c.fields);
        EXPECT_EQ(split->GetNumFilled(), c.filled);
        EXPECT_EQ(std::string(split->StrPtr(c.fields - 1)), c.last);
        EXPECT_EQ(split->StrLen(c.fields - 1), static_cast<int>(c.last.size()));
    }
}

TEST(SplitString, EmptyFieldsBeyondCapAreNotCounted) {
    // 200 empty fields: the cap keeps 128, all of them empty.
    auto split = SplitLine(std::string(199, ',').c_str(), ',');
    EXPECT_EQ(split->GetNumFields(), 128);
    EXPECT_EQ(split->GetNumFilled(), 0);
}

TEST(SplitString, OverlongTextIsCutToBuffer) {
    const std::string text(TSplitString::kBufferSize + 100, 'x');
    auto split = std::make_unique<TSplitString>(',');
    split->FillBuffer(text.c_str());
    EXPECT_EQ(std::strlen(split->GetBufferPtr()), size_t(TSplitString::kBufferSize - 1));
    // A length beyond the buffer is held to it as well.
    split->Split(static_cast<int>(text.size()));
    EXPECT_EQ(split->GetNumFields(), 1);
    EXPECT_EQ(split->StrLen(0), TSplitString::kBufferSize - 1);
}

TEST(SplitString, CopyTakesWholeBlock) {
    auto original = SplitLine("x,yy", ',');
    auto copy = std::make_unique<TSplitString>();
    *copy = *original;
    original->FillBuffer("changed");
    original->Split(7);
    EXPECT_EQ(FieldsOf(*copy), (std::vector<std::string>{"x", "yy"}));
}

namespace {

struct TLineCase {
    const char *line;
    std::vector<std::string> fields;
    unsigned int filled;
};

void ExpectSplits(TQuotedSplitString::TSyntax syntax, const std::vector<TLineCase> &cases) {
    // One object for all lines: each Split starts afresh.
    TQuotedSplitString split(syntax, 16, 4);
    for (const TLineCase &c : cases) {
        SCOPED_TRACE(c.line);
        ASSERT_TRUE(split.Split(c.line));
        EXPECT_EQ(FieldsOf(split), c.fields);
        EXPECT_EQ(split.GetNumFilled(), c.filled);
    }
}

} // namespace

TEST(QuotedSplitString, CsvLines) {
    ExpectSplits(TQuotedSplitString::CSV, {
                                              {"", {""}, 0},
                                              {"a", {"a"}, 1},
                                              {"a,", {"a", ""}, 1},
                                              {",", {"", ""}, 0},
                                              {"a,,b", {"a", "", "b"}, 2},
                                              {"\"a\"\"b\",c", {"a\"b", "c"}, 2},
                                              {"a\"b,c", {"a\"b", "c"}, 2},
                                              {"\"a,b\",c", {"a,b", "c"}, 2},
                                              {"\"\",x", {"", "x"}, 1},
                                              {"\"\"", {""}, 0},
                                              {" a , b ", {" a ", " b "}, 2},
                                              {"\"x\",", {"x", ""}, 1},
                                          });
}

TEST(QuotedSplitString, CommandLines) {
    ExpectSplits(TQuotedSplitString::Command,
                 {
                     {"", {}, 0},
                     {"    ", {}, 0},
                     {"a", {"a"}, 1},
                     {"  run   fast ", {"run", "fast"}, 2},
                     {"a\"b c\"d e", {"ab cd", "e"}, 2},
                     {"\"\"", {""}, 0},
                     {"\"\" x", {"", "x"}, 1},
                     {"a\\ b", {"a b"}, 1},
                     {"\\\"q\\\"", {"\"q\""}, 1},
                     {"\"in \\\"quotes\\\" \\\\\"", {"in \"quotes\" \\"}, 1},
                     // Only the blank separates: a tab belongs to the field.
                     {"a\tb c", {"a\tb", "c"}, 2},
                     {"-cfg Section Key", {"-cfg", "Section", "Key"}, 3},
                 });
}

TEST(QuotedSplitString, MalformedLinesFailWithMessage) {
    struct Case {
        TQuotedSplitString::TSyntax syntax;
        const char *line;
        const char *message;
        std::vector<std::string> fieldsSoFar;
    };
    const Case kCases[] = {
        {TQuotedSplitString::CSV, "\"a\"b", "Stray quote in csv line at column 2.", {"a"}},
        {TQuotedSplitString::CSV, "x,\"ab\"c", "Stray quote in csv line at column 5.", {"x", "ab"}},
        {TQuotedSplitString::CSV, "\"abc", "Unterminated quote in CSV line.", {"abc"}},
        {TQuotedSplitString::CSV, "a,\"b\"\"", "Unterminated quote in CSV line.", {"a", "b\""}},
        {TQuotedSplitString::Command, "\\q", "Unrecognised escape character: 'q'", {""}},
        {TQuotedSplitString::Command, "a\\", "Unterminated escape", {"a"}},
        {TQuotedSplitString::Command, "x \"abc", "Unterminated quote", {"x", "abc"}},
        {TQuotedSplitString::Command, "\"a\\", "Unterminated escape", {"a"}},
        // Inside quotes a blank needs no escape, so escaping it is refused.
        {TQuotedSplitString::Command, "\"a\\ b\"", "Unrecognised escape character: ' '", {"a"}},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.line);
        TQuotedSplitString split(c.syntax, 0, 0);
        EXPECT_FALSE(split.Split(c.line));
        EXPECT_STREQ(split.GetLastError().GetData(), c.message);
        EXPECT_EQ(split.GetNumFilled(), 0u);
        EXPECT_EQ(FieldsOf(split), c.fieldsSoFar);
    }
}

TEST(QuotedSplitString, SuccessKeepsOldMessage) {
    TQuotedSplitString split(TQuotedSplitString::CSV, 0, 0);
    EXPECT_TRUE(split.GetLastError().IsEmpty());
    EXPECT_FALSE(split.Split("\"open"));
    EXPECT_TRUE(split.Split("a,b"));
    EXPECT_STREQ(split.GetLastError().GetData(), "Unterminated quote in CSV line.");
    EXPECT_EQ(split.GetNumFields(), 2u);
}

TEST(QuotedSplitString, SyntaxOutsideEnumFails) {
    TQuotedSplitString split(static_cast<TQuotedSplitString::TSyntax>(7), 0, 0);
    EXPECT_FALSE(split.Split("a"));
    EXPECT_STREQ(split.GetLastError().GetData(), "Code error. syntax 7 not in enum.");
    EXPECT_EQ(split.GetNumFields(), 0u);
}

TEST(QuotedSplitString, NullLineIsEmpty) {
    TQuotedSplitString csv(TQuotedSplitString::CSV, 0, 0);
    EXPECT_TRUE(csv.Split(nullptr));
    EXPECT_EQ(csv.GetNumFields(), 1u);
    TQuotedSplitString command(TQuotedSplitString::Command, 0, 0);
    EXPECT_TRUE(command.Split(nullptr));
    EXPECT_EQ(command.GetNumFields(), 0u);
}

TEST(QuotedSplitString, CopyIsIndependent) {
    TQuotedSplitString split(TQuotedSplitString::CSV, 0, 0);
    ASSERT_TRUE(split.Split("one,two"));
    TQuotedSplitString copy(split);
    ASSERT_TRUE(split.Split("three"));
    EXPECT_EQ(FieldsOf(copy), (std::vector<std::string>{"one", "two"}));
    copy = split;
    EXPECT_EQ(FieldsOf(copy), (std::vector<std::string>{"three"}));
}

// Fields of every awkward kind, quoted by the writers the corpus is made with, must come
// back unchanged from the machine of the matching syntax.
TEST(QuotedSplitString, QuotedFieldsRoundTrip) {
    for (const vlib::test::TSplitLineSample &sample : vlib::test::MakeSplitLineSamples()) {
        SCOPED_TRACE(sample.line);
        if (sample.kind == vlib::test::TSplitLineSample::Plain)
            continue;
        const auto syntax = sample.kind == vlib::test::TSplitLineSample::Csv
                                ? TQuotedSplitString::CSV
                                : TQuotedSplitString::Command;
        TQuotedSplitString split(syntax, 0, 0);
        ASSERT_TRUE(split.Split(sample.line.c_str())) << split.GetLastError().GetData();
        EXPECT_EQ(FieldsOf(split), sample.fields);
    }
}

TEST(SplitString, JoinedFieldsRoundTrip) {
    for (const vlib::test::TSplitLineSample &sample : vlib::test::MakeSplitLineSamples()) {
        if (sample.kind != vlib::test::TSplitLineSample::Plain)
            continue;
        SCOPED_TRACE(sample.line);
        auto split = SplitLine(sample.line.c_str(), sample.delimiter);
        std::vector<std::string> expected = sample.fields;
        if (expected.size() > size_t(TSplitString::kMaxFields))
            expected.resize(TSplitString::kMaxFields);
        EXPECT_EQ(FieldsOf(*split), expected);
    }
}

// The fuzz corpus is these samples, one file each: the delimiter byte, then the line. Run
// with VLIB_WRITE_CORPUS=1 to write the files after a change to the writers.
TEST(SplitString, FuzzCorpusMatchesWriters) {
    namespace fs = std::filesystem;
    const fs::path dir = fs::path(VLIB_SOURCE_DIR) / "fuzz/corpus/SplitString";
    const bool write = std::getenv("VLIB_WRITE_CORPUS") != nullptr;
    const char *kKindNames[] = {"plain", "csv", "command"};
    int counts[3] = {};
    for (const vlib::test::TSplitLineSample &sample : vlib::test::MakeSplitLineSamples()) {
        char name[32];
        std::snprintf(name, sizeof name, "%s_%02d", kKindNames[sample.kind], counts[sample.kind]++);
        const std::string content = sample.delimiter + sample.line;
        if (write)
            std::ofstream(dir / name, std::ios::binary) << content;
        std::ifstream in(dir / name, std::ios::binary);
        const std::string onDisk((std::istreambuf_iterator<char>(in)),
                                 std::istreambuf_iterator<char>());
        EXPECT_EQ(onDisk, content) << name;
    }
}
