// Tests of parameter lists and substitution: the case rules of the lookups, the numeric test
// behind the typed reads, the line form of definitions, the interning hash, the text stream
// round trip and the substituter's fixed point and round limit.
#include "General/Components/ParameterList.h"

#include <string>

#include <gtest/gtest.h>

#include "General/Core/StrToID.h"
#include "General/Streams/AsciiFilter.h"
#include "General/Streams/FileBuf.h"

namespace {

using TString = TParameterList::TString;

TParameterList ListOf(std::initializer_list<std::pair<const char *, const char *>> pairs) {
    TParameterList list;
    for (const auto &[name, value] : pairs)
        list.AddParameter(name, value, nullptr);
    return list;
}

TEST(ParameterList, TypedReadsFollowTheNumericTest) {
    struct Case {
        const char *value;
        int integer;
        float real;
    };
    // Default 7 / 7.5: values the numeric test refuses fall back, others go through atoi/atof.
    constexpr Case kCases[] = {
        {"", 0, 0.0f},    {"12a", 7, 7.5f},     {"-.5", 0, -0.5f},  {".-5", 0, 0.0f},
        {"1.", 1, 1.0f},  {".", 0, 0.0f},       {"1-", 7, 7.5f},    {"--1", 7, 7.5f},
        {"1e5", 7, 7.5f}, {"-42", -42, -42.0f}, {"3.25", 3, 3.25f}, {"1..2", 7, 7.5f},
        {" 5", 7, 7.5f},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.value);
        TParameterList list = ListOf({{"Size", c.value}});
        EXPECT_EQ(list.GetIntegerParameter("size", 7), c.integer);
        EXPECT_FLOAT_EQ(list.GetFloatParameter("SIZE", 7.5f), c.real);
    }
    TParameterList empty;
    EXPECT_EQ(empty.GetIntegerParameter("size", 7), 7);
    EXPECT_FLOAT_EQ(empty.GetFloatParameter("size", 7.5f), 7.5f);
}

TEST(ParameterList, BoolIsTrueOnlyForTheWordTrue) {
    TParameterList list = ListOf({{"a", "TRUE"}, {"b", "1"}, {"c", "true "}});
    EXPECT_TRUE(list.GetBoolParameter("A", false));
    EXPECT_FALSE(list.GetBoolParameter("b", true));
    EXPECT_FALSE(list.GetBoolParameter("c", true));
    EXPECT_TRUE(list.GetBoolParameter("missing", true));
}

TEST(ParameterList, StringLookupsAreExactCaseAndFirstWins) {
    TParameterList list = ListOf({{"Name", "one"}, {"name", "two"}, {"Name", "three"}});
    ASSERT_NE(list.GetParameter(TString("Name")), nullptr);
    EXPECT_EQ(*list.GetParameter(TString("Name")), "one");
    EXPECT_EQ(*list.GetParameter(TString("name")), "two");
    EXPECT_EQ(list.GetParameter(TString("NAME")), nullptr);
    EXPECT_EQ(list.GetCheckedParameter("NAME", "dflt", true), "dflt");
    EXPECT_EQ(list.GetCheckedParameter("name", "dflt", false), "two");

    ASSERT_NE(list.GetParameter(static_cast<unsigned long>(StrToID("name"))), nullptr);

    // By index: the name of the pair there, the value of the first pair of that name.
    TString name;
    EXPECT_EQ(*list.GetParameter(2, name), "one");
    EXPECT_EQ(name, "Name");
    EXPECT_EQ(*list.GetParameter(-3, name), "one");

    EXPECT_TRUE(list.RemoveParameter("Name"));
    EXPECT_EQ(*list.GetParameter(TString("Name")), "three");
    EXPECT_FALSE(list.RemoveParameter("NAME"));
    EXPECT_EQ(list.GetParameterCount(), 2);
}

TEST(ParameterList, LinesOfText) {
    struct Case {
        const char *text;
        int lines;
        const char *expected; // "name:value;" for each pair added
    };
    constexpr Case kCases[] = {
        {"a=1\n#b=2\n\nc\r\n-d\ne = 2 = 3", 5, "a:1;c:true;e:2;"},
        {"=", 1, ":true;"},
        {"a=", 1, "a:true;"},
        {"=5", 1, "5:true;"},
        {"\r\n\r\n", 0, ""},
        {"  x  =  y z \t", 1, "x:y z;"},
        {"a==b", 1, "a:b;"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.text);
        TParameterList list;
        EXPECT_EQ(list.AddParametersFromString(c.text), c.lines);
        std::string got;
        TString name;
        for (int i = 0; i < list.GetParameterCount(); ++i) {
            const TString *value = list.GetParameter(i, name);
            got += std::string(name.GetData()) + ":" + value->GetData() + ";";
        }
        EXPECT_EQ(got, c.expected);
    }
}

TEST(ParameterList, HashRunsOverNamesAndValuesWithoutTerminators) {
    EXPECT_EQ(TParameterList().GetHash(), 0x811C9DC5u);
    EXPECT_EQ(ListOf({{"ab", "c"}}).GetHash(), ListOf({{"a", "bc"}}).GetHash());
    EXPECT_NE(ListOf({{"ab", "c"}}).GetHash(), ListOf({{"ab", "d"}}).GetHash());
    // One byte by hand: (basis * prime) ^ byte, with a high byte widened with its sign.
    uint32_t expected = (0x811C9DC5u * 16777619u) ^ 0xFFFFFFE9u;
    EXPECT_EQ(ListOf({{"\xE9", ""}}).GetHash(), expected);
}

TEST(ParameterList, TextRoundTrip) {
    TParameterList list = ListOf({{"Alpha", "a value with spaces"}, {"Beta", ""}, {"Alpha", "2"}});
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(4, 0));
    TAsciiOutFilter out;
    ASSERT_TRUE(out.Open(&file));
    list.WriteAscii(out);
    out.CloseLayer();

    std::string text(reinterpret_cast<const char *>(file.GetBuffer()),
                     static_cast<size_t>(file.Length()));
    TFixedFileBuf in;
    ASSERT_TRUE(
        in.Open(reinterpret_cast<unsigned char *>(text.data()), static_cast<int>(text.size()), 2));
    TAsciiInFilter filter;
    ASSERT_TRUE(filter.Open(&in));
    TParameterList back;
    back.ReadAscii(filter);
    ASSERT_EQ(back.GetParameterCount(), 3) << text;
    EXPECT_EQ(back.GetHash(), list.GetHash()) << text;
}

TEST(ParameterList, TextCountLargerThanTheTextAddsNoPairs) {
    struct Case {
        const char *text;
        int pairs;
    };
    constexpr Case kCases[] = {
        {"Count=2000000000\n", 0},
        {"Count=2000000000\nName=a\nValue=b\n", 1},
        {"Count=2000000000\nName=a\n", 0},
        {"Count=3\nName=a\nValue=\nName=b\nValue=2", 2},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.text);
        std::string text = c.text;
        TFixedFileBuf in;
        ASSERT_TRUE(in.Open(reinterpret_cast<unsigned char *>(text.data()),
                            static_cast<int>(text.size()), 2));
        TAsciiInFilter filter;
        ASSERT_TRUE(filter.Open(&in));
        TParameterList list;
        list.ReadAscii(filter);
        EXPECT_EQ(list.GetParameterCount(), c.pairs);
    }
}

TEST(ParameterSubstituter, ReplacesToAFixedPoint) {
    struct Case {
        const char *key;
        const char *value;
        const char *text;
        const char *expected;
        int rounds;
    };
    constexpr Case kCases[] = {
        {"ab", "b", "aab", "b", 2},
        {"$(x)", "y", "$(x)/$(x)", "y/y", 2},
        {"zz", "q", "abc", "abc", 0},
        {"A", "a", "aAa", "aaa", 1}, // case-sensitive
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.text);
        TParameterSubstituter sub;
        TString key(c.key), value(c.value), text(c.text);
        sub.SetSubstitution(key, value);
        EXPECT_EQ(sub.Apply(text), c.rounds);
        EXPECT_EQ(text, c.expected);
    }
}

TEST(ParameterSubstituter, KeysInOrderAndChainedKeys) {
    TParameterSubstituter sub;
    TString a("$a"), av("[$b]"), b("$b"), bv("B");
    sub.SetSubstitution(b, bv);
    sub.SetSubstitution(a, av);
    TString text("$a$b");
    // "$a" sorts first: "[$b]$b", then "$b" twice.
    EXPECT_EQ(sub.Apply(text), 3);
    EXPECT_EQ(text, "[B]B");

    TParameterList list;
    list.AddParameter("p", "x$a", &sub);
    EXPECT_EQ(*list.GetParameter(TString("p")), "x[B]");

    sub.Clear();
    TString again("$a");
    EXPECT_EQ(sub.Apply(again), 0);
}

TEST(ParameterSubstituter, SelfReferenceStopsAfterTheRoundLimit) {
    TParameterSubstituter sub;
    TString key("x"), value("xx"), text("x");
    sub.SetSubstitution(key, value);
    EXPECT_EQ(sub.Apply(text), TParameterSubstituter::kMaxRounds);
    EXPECT_EQ(text.GetLength(), TParameterSubstituter::kMaxRounds + 1);
}

} // namespace
