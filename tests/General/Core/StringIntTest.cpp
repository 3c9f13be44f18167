// The string template on the dynamic strategy and on static ones: the edges where the two
// strategies differ, the parsing algorithms (Split, first words, numbers, CSV, KMP Replace),
// capacity cuts of the static form, and allocation behaviour of the dynamic form.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "General/Core/LibAllocator.h"
#include "General/Core/StringInt.h"

namespace {

using TStatic256 = TStringInt<TStaticStringAllocationStrategy<256>>;
using TStatic16 = TStringInt<TStaticStringAllocationStrategy<16>>;

template <class S> std::vector<std::string> ToStd(const TLibVector<S> &fields) {
    std::vector<std::string> out;
    for (const S &field : fields)
        out.emplace_back(field.GetData());
    return out;
}

// ---------------------------------------------------------------------------------------------
// Behaviour shared by every strategy.

template <class S> class StringInt : public testing::Test {};
using TStrategies = testing::Types<TDynamicString, TStatic256>;
TYPED_TEST_SUITE(StringInt, TStrategies);

TYPED_TEST(StringInt, ConstructsFromTextCountAndNull) {
    using S = TypeParam;
    EXPECT_STREQ(S().GetData(), "");
    EXPECT_TRUE(S().IsEmpty());
    EXPECT_STREQ(S(static_cast<const char *>(nullptr)).GetData(), "");
    EXPECT_STREQ(S("hello", 3u).GetData(), "hel");
    EXPECT_STREQ(S("hi", 10u).GetData(), "hi");
    EXPECT_STREQ(S("hi", 0u).GetData(), "");
    // The counted form reads no further than the count, so an unterminated buffer is fine.
    const char raw[4] = {'a', 'b', 'c', 'd'};
    EXPECT_STREQ(S(raw, 4u).GetData(), "abcd");
    EXPECT_EQ(S("abcd").GetLength(), 4);
}

TYPED_TEST(StringInt, SelfAssignmentKeepsTheText) {
    using S = TypeParam;
    S s("abcdef");
    const S &alias = s;
    s = alias;
    EXPECT_STREQ(s.GetData(), "abcdef");
    s = s.GetData();
    EXPECT_STREQ(s.GetData(), "abcdef");
    s.SetText(s.GetData() + 2);
    EXPECT_STREQ(s.GetData(), "cdef");
    S copy(s);
    s = "x";
    EXPECT_STREQ(copy.GetData(), "cdef");
}

TYPED_TEST(StringInt, Extraction) {
    using S = TypeParam;
    const S s("abcde");
    struct Case {
        const char *What;
        S Result;
        const char *Expected;
    };
    const Case cases[] = {
        {"Left(2)", s.Left(2), "ab"},
        {"Left(-1)", s.Left(-1), "abcde"},
        {"Left(9)", s.Left(9), "abcde"},
        {"Right(2)", s.Right(2), "de"},
        {"Right(9)", s.Right(9), "abcde"},
        {"Middle(1,2)", s.Middle(1, 2), "bc"},
        {"Middle(3,9)", s.Middle(3, 9), "de"},
        {"Middle(1,-1)", s.Middle(1, -1), "bcde"},
        {"MiddleRange(1,3)", s.MiddleRange(1, 3), "bcd"},
        {"MiddleRange(2,99)", s.MiddleRange(2, 99), "cde"},
        {"MiddleRange(3,2)", s.MiddleRange(3, 2), ""},
        {"From(2)", s.From(2), "cde"},
        {"From(-2)", s.From(-2), "de"},
        {"From(-5)", s.From(-5), "abcde"},
        {"From(-9)", s.From(-9), ""},
        {"From(5)", s.From(5), ""},
        {"Plus", s.Plus("fg"), "abcdefg"},
        {"operator+", s + "!", "abcde!"},
        {"text+string", "<" + s, "<abcde"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.What);
        EXPECT_STREQ(c.Result.GetData(), c.Expected);
    }
}

TYPED_TEST(StringInt, EditingAppendsInsertsAndDeletes) {
    using S = TypeParam;
    S s("bd");
    s.Prepend("a").Insert(2, 'c').Append('e').Append("f").Insert(1, "-");
    EXPECT_STREQ(s.GetData(), "a-bcdef");
    s.DeleteSubstring(1, 1);
    EXPECT_STREQ(s.GetData(), "abcdef");
    s.ReplaceSubstring(1, 2, "XYZ");
    EXPECT_STREQ(s.GetData(), "aXYZdef");
    s.ReplaceSubstring(1, 3, 'b');
    EXPECT_STREQ(s.GetData(), "abdef");
    s.ReplaceSubstring(0, 2, "AB");
    EXPECT_STREQ(s.GetData(), "ABdef");
    s.Append(static_cast<const char *>(nullptr)).Prepend(static_cast<const char *>(nullptr));
    EXPECT_STREQ(s.GetData(), "ABdef");
    // Editing with a text taken from the string itself.
    s.Append(s.GetData());
    EXPECT_STREQ(s.GetData(), "ABdefABdef");
    s.Prepend(s.GetData() + 8);
    EXPECT_STREQ(s.GetData(), "efABdefABdef");
}

TYPED_TEST(StringInt, NumbersAndFill) {
    using S = TypeParam;
    S s;
    s.Append(-42).Append(' ').AppendHex(0xBEEFu).Append(' ').AppendHex(0u).Append(' ');
    s.Append(1.5f, 6).Append(' ').Append(100.0f, 6).Append(' ').Append(0.1f, 5);
    EXPECT_STREQ(s.GetData(), "-42 beef 0 1.5 100. 0.1");
    s.CreateFilled(4, '*');
    EXPECT_STREQ(s.GetData(), "****");
    s.CreateFilled(0, '*');
    EXPECT_STREQ(s.GetData(), "");
    s.CreateFilled(3, '\0');
    EXPECT_STREQ(s.GetData(), "");
}

TYPED_TEST(StringInt, CaseChangesLatinLettersOnly) {
    using S = TypeParam;
    S s("Hello, World! \xC4\xE4 [@`{]");
    s.LowerCase();
    EXPECT_STREQ(s.GetData(), "hello, world! \xC4\xE4 [@`{]");
    s.UpperCase();
    EXPECT_STREQ(s.GetData(), "HELLO, WORLD! \xC4\xE4 [@`{]");
}

TYPED_TEST(StringInt, FirstWordKeepsLeadingDelimitersButRemoveTakesOne) {
    using S = TypeParam;
    struct Case {
        const char *Text;
        const char *Delimiters;
        const char *FirstWord;
        const char *AfterRemove;
    };
    constexpr Case kCases[] = {
        {"  abc def", " ", "  abc", " abc def"},
        {"abc def", " ", "abc", "def"},
        {"abc", " ", "abc", ""},
        {"abc ", " ", "abc", ""},
        {"", " ", "", ""},
        {"a,b;c", ",;", "a", "b;c"},
        {";a,b", ",;", ";a", "a,b"},
        // A line feed ends a word like a delimiter; at position 0 RemoveFirstWord skips it.
        {"ab\ncd", " ", "ab", "cd"},
        {"\nab cd", " ", "\nab", "cd"},
        {"   ", " ", "   ", "  "},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(testing::Message() << '"' << c.Text << '"');
        const S s(c.Text);
        EXPECT_STREQ(s.GetFirstWord(c.Delimiters).GetData(), c.FirstWord);
        S removed(c.Text);
        removed.RemoveFirstWord(c.Delimiters);
        EXPECT_STREQ(removed.GetData(), c.AfterRemove);
    }
    EXPECT_STREQ(S("x y").GetFirstWord(' ').GetData(), "x");
    S s("x y");
    s.RemoveFirstWord(' ');
    EXPECT_STREQ(s.GetData(), "y");
}

TYPED_TEST(StringInt, SplitFollowsTheStateMachine) {
    using S = TypeParam;
    struct Case {
        const char *Text;
        const char *Delimiters;
        std::vector<std::string> Fields;
    };
    const Case cases[] = {
        {"", ",", {}},
        {"a", ",", {"a"}},
        {"a,b", ",", {"a", "b"}},
        {"a,,b", ",", {"a", "", "b"}},
        {"a,", ",", {"a", ""}},
        {",a", ",", {"a"}},
        {",,a", ",", {"", "a"}},
        {",,", ",", {"", ""}},
        {",", ",", {""}},
        {"a;b,c", ",;", {"a", "b", "c"}},
        {"a,;b", ",;", {"a", "", "b"}},
        {"one two", ",", {"one two"}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << '"' << c.Text << '"');
        EXPECT_EQ(ToStd(S(c.Text).Split(c.Delimiters)), c.Fields);
    }
}

TYPED_TEST(StringInt, JoinPutsTheSeparatorBetween) {
    using S = TypeParam;
    TLibVector<S> items;
    EXPECT_STREQ(S::Join(", ", items).GetData(), "");
    items.emplace_back("a");
    EXPECT_STREQ(S::Join(", ", items).GetData(), "a");
    items.emplace_back("");
    items.emplace_back("c");
    EXPECT_STREQ(S::Join(", ", items).GetData(), "a, , c");
    EXPECT_STREQ(S::Join(nullptr, items).GetData(), "ac");
    // Split and Join are inverse for a single-character separator.
    const S text("x,,y,");
    EXPECT_STREQ(S::Join(",", text.Split(",")).GetData(), "x,,y,");
}

TYPED_TEST(StringInt, Trim) {
    using S = TypeParam;
    struct Case {
        const char *Text;
        const char *Set;
        const char *Both;
        const char *Left;
        const char *Right;
    };
    constexpr Case kCases[] = {
        {"  ab c \t", " \t", "ab c", "ab c \t", "  ab c"},
        {"xxaxx", "x", "a", "axx", "xxa"},
        {" \t ", " \t", "", "", ""},
        {" a ", "", " a ", " a ", " a "},
        {" a ", nullptr, " a ", " a ", " a "},
        {"", " ", "", "", ""},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(testing::Message() << '"' << c.Text << '"');
        EXPECT_STREQ(S(c.Text).Trim(c.Set).GetData(), c.Both);
        EXPECT_STREQ(S(c.Text).TrimLeft(c.Set).GetData(), c.Left);
        EXPECT_STREQ(S(c.Text).TrimRight(c.Set).GetData(), c.Right);
        EXPECT_STREQ(S(c.Text).RemoveLeadingWhiteSpace(c.Set).GetData(), c.Left);
        EXPECT_STREQ(S(c.Text).RemoveTrailingWhiteSpace(c.Set).GetData(), c.Right);
    }
}

TYPED_TEST(StringInt, Searching) {
    using S = TypeParam;
    const S s("Hello World, hello");
    EXPECT_EQ(s.FindSubstring("hello"), 13);
    EXPECT_EQ(s.FindSubstring("hello", 0, false), 0);
    EXPECT_EQ(s.FindSubstring("WORLD", 0, false), 6);
    EXPECT_EQ(s.FindSubstring("World", 7), -1);
    EXPECT_EQ(s.FindSubstring(S("lo"), 4), 16);
    EXPECT_EQ(s.FindSubstring("", 3), 3);
    EXPECT_EQ(s.FindSubstring("xyz"), -1);
    EXPECT_EQ(s.FindSubstring(static_cast<const char *>(nullptr)), -1);
    EXPECT_EQ(s.FindAny("wW"), 6);
    EXPECT_EQ(s.FindAny("w", 0, false), 6);
    EXPECT_EQ(s.FindAny(",!", 0), 11);
    EXPECT_EQ(s.FindAny(S("H"), 1), -1);
    EXPECT_EQ(s.FindAny("H", 1, false), 13);
    EXPECT_EQ(s.FindAny(static_cast<const char *>(nullptr)), -1);
    EXPECT_EQ(s.FindLastOccurence('o'), 17);
    EXPECT_EQ(s.FindLastOccurence('z'), -1);
    EXPECT_TRUE(s.TestChar(0, 'H'));
    EXPECT_TRUE(s.TestChar(-1, 'o'));
    EXPECT_TRUE(s.TestChar(-18, "xH"));
    EXPECT_FALSE(s.TestChar(-19, 'H'));
    EXPECT_FALSE(s.TestChar(18, '\0'));
    EXPECT_TRUE(s.TestChar(11, ",;"));
    EXPECT_FALSE(s.TestChar(10, ",;"));
}

TYPED_TEST(StringInt, ReplaceText) {
    using S = TypeParam;
    struct Case {
        const char *Text;
        const char *From;
        const char *To;
        int Count;
        const char *Result;
    };
    constexpr Case kCases[] = {
        {"aaa", "aa", "b", 1, "ba"},
        {"aaaa", "aa", "b", 2, "bb"},
        {"abab", "ab", "", 2, ""},
        {"abc", "", "x", 0, "abc"},
        {"abc", nullptr, "x", 0, "abc"},
        {"abc", "d", "x", 0, "abc"},
        {"abc", "c", nullptr, 1, "ab"},
        // Partial matches that force the failure table to fall back.
        {"aaab", "aab", "X", 1, "aX"},
        {"ababac", "abac", "-", 1, "ab-"},
        {"aabaabaab", "aab", "X", 3, "XXX"},
        {"abcabdabcabc", "abcabc", "#", 1, "abcabd#"},
        {"a.b.c", ".", "::", 2, "a::b::c"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(testing::Message() << '"' << c.Text << '"');
        S s(c.Text);
        EXPECT_EQ(s.Replace(c.From, c.To), c.Count);
        EXPECT_STREQ(s.GetData(), c.Result);
    }
    S s("a/b/c");
    EXPECT_EQ(s.Replace('/', '\\'), 2);
    EXPECT_STREQ(s.GetData(), "a\\b\\c");
    EXPECT_EQ(s.Replace('x', 'y'), 0);
}

TYPED_TEST(StringInt, Compare) {
    using S = TypeParam;
    struct Case {
        const char *Left;
        const char *Right;
        int Sensitive;
        int Blind; // sign only
    };
    constexpr Case kCases[] = {
        {"abc", "abc", 0, 0}, {"abc", "abd", -1, -1}, {"abd", "abc", 1, 1}, {"ab", "abc", -1, -1},
        {"abc", "ABC", 1, 0}, {"ABC", "abd", -1, -1}, {"\x80", "a", 1, 1},  {"", "", 0, 0},
        {"a", "", 1, 1},      {"A_", "AB", 1, -1}, // folding to lower case puts '_' below 'b'
    };
    auto sign = [](int v) { return (v > 0) - (v < 0); };
    for (const Case &c : kCases) {
        SCOPED_TRACE(testing::Message() << c.Left << " vs " << c.Right);
        const S s(c.Left);
        EXPECT_EQ(s.Compare(c.Right), c.Sensitive);
        EXPECT_EQ(sign(s.Compare(c.Right, false)), c.Blind);
        EXPECT_EQ(s < c.Right, c.Sensitive < 0);
        EXPECT_EQ(s > c.Right, c.Sensitive > 0);
        EXPECT_EQ(c.Right > s, c.Sensitive < 0);
        EXPECT_EQ(s == c.Right, c.Sensitive == 0);
        EXPECT_EQ(c.Right == s, c.Sensitive == 0);
        EXPECT_EQ(s != c.Right, c.Sensitive != 0);
        EXPECT_EQ(s == S(c.Right), c.Sensitive == 0);
        EXPECT_EQ(s < S(c.Right), c.Sensitive < 0);
    }
    const S s("Hello");
    EXPECT_EQ(s.Compare("Help", true, 3), 0);
    EXPECT_EQ(s.Compare("help", false, 3), 0);
    EXPECT_EQ(s.Compare("help", true, 3), -1);
    EXPECT_EQ(s.Compare("Help", true, 4), -1);
    EXPECT_EQ(s.Compare(nullptr), 1);
    EXPECT_EQ(S().Compare(nullptr), 0);
    // Equality with null is false even for the empty string.
    EXPECT_FALSE(S() == static_cast<const char *>(nullptr));
    EXPECT_TRUE(S() != static_cast<const char *>(nullptr));
    EXPECT_TRUE(S() == "");
}

TYPED_TEST(StringInt, IntegerAndFloatSyntax) {
    using S = TypeParam;
    struct Case {
        const char *Text;
        bool Integer;
        bool Float;
    };
    constexpr Case kCases[] = {
        {"1", true, true},       {"1 ", true, false},       {"1.0 ", false, true},
        {"1. ", false, true},    {" \t-12", true, true},    {"+7\t", true, false},
        {"1.", false, true},     {".5", false, true},       {"-.5", false, true},
        {"1e5", false, false},   {"", false, false},        {"-", false, false},
        {"+", false, false},     {".", false, false},       {"- 1", false, false},
        {"1.2.3", false, false}, {"1 2", false, false},     {"+-1", false, false},
        {"0x10", false, false},  {" 3.25\t ", false, true},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(testing::Message() << '"' << c.Text << '"');
        EXPECT_EQ(S(c.Text).IsInteger(), c.Integer);
        EXPECT_EQ(S(c.Text).IsFloat(), c.Float);
    }
}

TYPED_TEST(StringInt, NumberValuesAndCharacterClasses) {
    using S = TypeParam;
    EXPECT_EQ(S(" -123abc").GetInteger(), -123);
    EXPECT_EQ(S("4294967295").GetInteger(), -1);
    EXPECT_EQ(S("4000000000").GetUnsignedInteger(), 4000000000ul);
    EXPECT_EQ(S("5000000000").GetUnsignedInteger(), 0xFFFFFFFFul);
    EXPECT_EQ(S("-1").GetUnsignedInteger(), 0xFFFFFFFFul);
    EXPECT_FLOAT_EQ(S("2.5e1").GetFloat(), 25.0f);
    EXPECT_FLOAT_EQ(S("0x10").GetFloat(), 0.0f);
    const S s("aZ5_ \xE9");
    EXPECT_TRUE(s.IsAlpha(0));
    EXPECT_TRUE(s.IsAlpha(1));
    EXPECT_FALSE(s.IsAlpha(2));
    EXPECT_TRUE(s.IsNumeric(2));
    EXPECT_FALSE(s.IsNumeric(0));
    EXPECT_TRUE(s.IsAlphaNumeric(2));
    EXPECT_FALSE(s.IsAlphaNumeric(3));
    EXPECT_FALSE(s.IsAlphaNumeric(4));
    EXPECT_FALSE(s.IsAlpha(5));
}

TYPED_TEST(StringInt, ReadNextNumber) {
    using S = TypeParam;
    const S s("a12,b");
    int value = 0;
    int next = -7;
    EXPECT_TRUE(s.ReadNextNumber(&value, &next, 0));
    EXPECT_EQ(value, 12);
    EXPECT_EQ(next, 3);
    next = -7;
    EXPECT_FALSE(s.ReadNextNumber(&value, &next, 3));
    EXPECT_EQ(next, -7); // the integer form leaves it alone
    float f = 0.0f;
    EXPECT_FALSE(s.ReadNextNumber(&f, &next, 3));
    EXPECT_EQ(next, 3); // the float form sets it to the start

    // A point does not start a number; the number reaches to a blank, tab or comma.
    const S list(".5 -3\t7x,8");
    EXPECT_TRUE(list.ReadNextNumber(&value, &next, 0));
    EXPECT_EQ(value, 5);
    EXPECT_EQ(next, 2);
    EXPECT_TRUE(list.ReadNextNumber(&value, &next, next));
    EXPECT_EQ(value, -3);
    EXPECT_EQ(next, 5);
    EXPECT_TRUE(list.ReadNextNumber(&value, &next, next));
    EXPECT_EQ(value, 7);
    EXPECT_EQ(next, 8);
    EXPECT_TRUE(list.ReadNextNumber(&value, &next, next));
    EXPECT_EQ(value, 8);
    EXPECT_EQ(next, 10);
    EXPECT_FALSE(list.ReadNextNumber(&value, &next, next));

    EXPECT_TRUE(S("x -1.25e1,").ReadNextNumber(&f, &next, 0));
    EXPECT_FLOAT_EQ(f, -12.5f);
    EXPECT_EQ(next, 9);
    unsigned long u = 0;
    EXPECT_TRUE(S("-1").ReadNextNumber(&u));
    EXPECT_EQ(u, 0xFFFFFFFFul);
    EXPECT_TRUE(S("n=4294967295").ReadNextNumber(&u));
    EXPECT_EQ(u, 0xFFFFFFFFul);
}

TYPED_TEST(StringInt, ReadNextHexNumber) {
    using S = TypeParam;
    const S s("id: ff,10 zz");
    unsigned long value = 0;
    int next = 0;
    // The 'd' of "id" is a hexadecimal digit, so it is read first.
    EXPECT_TRUE(s.ReadNextHexNumber(&value, &next, 0));
    EXPECT_EQ(value, 0xDul);
    EXPECT_EQ(next, 3);
    EXPECT_TRUE(s.ReadNextHexNumber(&value, &next, 3));
    EXPECT_EQ(value, 0xFFul);
    EXPECT_EQ(next, 6);
    EXPECT_TRUE(s.ReadNextHexNumber(&value, &next, next));
    EXPECT_EQ(value, 0x10ul);
    EXPECT_FALSE(s.ReadNextHexNumber(&value, &next, 10));
    // A lone minus starts a number that "%x" cannot read: true, and the value stays.
    value = 77;
    EXPECT_TRUE(S("- 5").ReadNextHexNumber(&value, &next, 0));
    EXPECT_EQ(value, 77ul);
    EXPECT_EQ(next, 1);
    EXPECT_TRUE(S("1FFFFFFFF").ReadNextHexNumber(&value));
    EXPECT_EQ(value, 0xFFFFFFFFul);
}

TYPED_TEST(StringInt, ReadCSV) {
    using S = TypeParam;
    struct Case {
        const char *Text;
        int Index;
        char StartAfter;
        bool Found;
        const char *Field;
    };
    constexpr Case kCases[] = {
        {"a,\"b,c\",d", 0, '\0', true, "a"},
        {"a,\"b,c\",d", 1, '\0', true, "\"b,c\""},
        {"a,\"b,c\",d", 2, '\0', true, "d"},
        {"a,\"b,c\",d", 3, '\0', false, ""},
        {"x,'it,s',\"q'\",y", 1, '\0', true, "'it,s'"},
        // A single quote inside double quotes does not open a quote, and the other way round.
        {"x,'it,s',\"q'\",y", 2, '\0', true, "\"q'\""},
        {"x,'it,s',\"q'\",y", 3, '\0', true, "y"},
        {"a, b ,c", 1, '\0', true, " b "},
        {"a,b,", 2, '\0', true, ""},
        {"", 0, '\0', true, ""},
        {"", 1, '\0', false, ""},
        {"key=1,2,3", 1, '=', true, "2"},
        {"key=1,2,3", 0, '=', true, "1"},
        {"key 1,2", 0, '=', false, ""},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(testing::Message() << c.Text << " [" << c.Index << "]");
        S field("unchanged");
        EXPECT_EQ(S(c.Text).ReadCSV(&field, c.Index, c.StartAfter), c.Found);
        if (c.Found)
            EXPECT_STREQ(field.GetData(), c.Field);
    }
}

TYPED_TEST(StringInt, ReadNextQuotedString) {
    using S = TypeParam;
    const S s("say \"hi\" and \"bye");
    int end = 0;
    EXPECT_STREQ(s.ReadNextQuotedString(&end, 0).GetData(), "hi");
    EXPECT_EQ(end, 7);
    EXPECT_STREQ(s.ReadNextQuotedString(&end, end + 1).GetData(), "bye");
    EXPECT_EQ(end, -1);
    EXPECT_STREQ(S("no quotes").ReadNextQuotedString(&end, 0).GetData(), "");
    EXPECT_EQ(end, 9);
    EXPECT_STREQ(S("\"\"").ReadNextQuotedString(&end).GetData(), "");
    EXPECT_EQ(end, 1);
}

TYPED_TEST(StringInt, PathsAndValues) {
    using S = TypeParam;
    struct Case {
        const char *Text;
        const char *FileName;
        const char *FilePath;
        const char *Path;
        const char *Value;
    };
    constexpr Case kCases[] = {
        {"a/b\\c.txt", "c.txt", "a/b\\", "a/b\\c.txt/", "a/b\\c.txt"},
        {"a\\b/c", "c", "a\\b/", "a\\b/c/", "a\\b/c"},
        {"file", "file", "", "file/", "file"},
        {"dir/", "", "dir/", "dir/", "dir/"},
        {"dir\\", "", "dir\\", "dir\\", "dir\\"},
        {"", "", "", "/", ""},
        {"key = value", "key = value", "", "key = value/", " value"},
        {"word rest of it", "word rest of it", "", "word rest of it/", "rest of it"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(testing::Message() << '"' << c.Text << '"');
        const S s(c.Text);
        EXPECT_STREQ(s.ExtractFileName().GetData(), c.FileName);
        EXPECT_STREQ(s.ExtractFilePath().GetData(), c.FilePath);
        EXPECT_STREQ(s.MakePath().GetData(), c.Path);
        EXPECT_STREQ(s.ReadValue().GetData(), c.Value);
    }
}

TYPED_TEST(StringInt, SPrintfReplacesTheText) {
    using S = TypeParam;
    S s("old");
    s.SPrintf("%s-%d-%04x", "a", 7, 0xAB);
    EXPECT_STREQ(s.GetData(), "a-7-00ab");
    s.CreateFormattedString("[%s]", s.GetData());
    EXPECT_STREQ(s.GetData(), "[a-7-00ab]");
}

TYPED_TEST(StringInt, IteratesOverTheBytes) {
    using S = TypeParam;
    S s("abc");
    std::string seen;
    for (char c : s)
        seen += c;
    EXPECT_EQ(seen, "abc");
    EXPECT_EQ(s.end() - s.begin(), 3);
    EXPECT_EQ(*s.end(), '\0');
    EXPECT_EQ(s.GetCharacter(1), 'b');
    *s.GetCharacterAddress(1) = 'B';
    EXPECT_STREQ(static_cast<const char *>(s), "aBc");
}

// ---------------------------------------------------------------------------------------------
// Where the strategies differ.

TEST(StringInt, ReplaceSubstringWithZeroCountInsertsOnlyOnTheDynamicForm) {
    TDynamicString dynamic("abc");
    dynamic.ReplaceSubstring(1, 0, "X");
    EXPECT_STREQ(dynamic.GetData(), "aXbc");
    TStatic256 fixed("abc");
    fixed.ReplaceSubstring(1, 0, "X");
    EXPECT_STREQ(fixed.GetData(), "abc");
}

TEST(StringInt, DynamicMinusOneFormsMeanEndAndTextLength) {
    struct Case {
        const char *Text;
        int Pos;
        int Count;
        const char *With;
        const char *Result;
    };
    constexpr Case kCases[] = {
        {"abc", -1, 0, "de", "abcde"}, {"abcdef", 1, -1, "XY", "aXYdef"},
        {"abc", -1, -1, "", "abc"},    {"abc", 0, 3, "", ""},
        {"", -1, 0, "x", "x"},         {"abc", 0, 3, "xyz", "xyz"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(testing::Message() << c.Text << " " << c.Pos << " " << c.Count);
        TDynamicString s(c.Text);
        s.ReplaceSubstring(c.Pos, c.Count, c.With);
        EXPECT_STREQ(s.GetData(), c.Result);
    }
    // Delete with count -1 removes the length of the empty text: nothing.
    TDynamicString s("abc");
    s.DeleteSubstring(0, -1);
    EXPECT_STREQ(s.GetData(), "abc");
    s.Insert(-1, "!");
    EXPECT_STREQ(s.GetData(), "abc!");
}

TEST(StringInt, StaticInsertClampsThePosition) {
    TStatic256 s("abc");
    s.Insert(10, "Z");
    EXPECT_STREQ(s.GetData(), "abcZ");
    s.Insert(-3, "A");
    EXPECT_STREQ(s.GetData(), "AabcZ");
    s.DeleteSubstring(1, 0);
    EXPECT_STREQ(s.GetData(), "AabcZ");
    s.DeleteSubstring(0, 2);
    EXPECT_STREQ(s.GetData(), "bcZ");
}

TEST(StringInt, StaticFormCutsAtItsCapacity) {
    TStatic16 s("0123456789");
    s.Append("abcdefghij");
    EXPECT_STREQ(s.GetData(), "0123456789abcde");
    EXPECT_EQ(s.GetLength(), 15);
    TStatic16 p("0123456789");
    p.Prepend("abcdefgh");
    EXPECT_STREQ(p.GetData(), "abcdefgh0123456");
    TStatic16 i("0123456789");
    i.Insert(2, "abcdefgh");
    EXPECT_STREQ(i.GetData(), "01abcdefgh23456");
    TStatic16 r("0123456789");
    r.ReplaceSubstring(1, 1, "abcdefghijklmnopq");
    EXPECT_STREQ(r.GetData(), "0abcdefghijklmn");
    TStatic16 f;
    f.SPrintf("%s", "a longer text than sixteen bytes");
    EXPECT_STREQ(f.GetData(), "a longer text t");
    f.CreateFilled(40, 'x');
    EXPECT_EQ(f.GetLength(), 15);
    TStatic16 c("aaaaaaaa");
    EXPECT_EQ(c.Replace("a", "bb"), 8);
    EXPECT_STREQ(c.GetData(), "bbbbbbbbbbbbbbb");
    EXPECT_STREQ(TStatic16(std::string(40, 'y').c_str()).GetData(), "yyyyyyyyyyyyyyy");
}

TEST(StringInt, EveryStaticCapacityHoldsItsLongestText) {
    auto check = [](auto s, int capacity) {
        const std::string text(static_cast<size_t>(capacity) * 2, 'q');
        s = text.c_str();
        EXPECT_EQ(s.GetLength(), capacity - 1);
        EXPECT_EQ(sizeof(s), static_cast<size_t>(capacity));
    };
    check(TStringInt<TStaticStringAllocationStrategy<16>>(), 16);
    check(TStringInt<TStaticStringAllocationStrategy<32>>(), 32);
    check(TStringInt<TStaticStringAllocationStrategy<64>>(), 64);
    check(TStringInt<TStaticStringAllocationStrategy<128>>(), 128);
    check(TStringInt<TStaticStringAllocationStrategy<256>>(), 256);
    check(TStringInt<TStaticStringAllocationStrategy<512>>(), 512);
    check(TStringInt<TStaticStringAllocationStrategy<1024>>(), 1024);
    check(TStringInt<TStaticStringAllocationStrategy<2048>>(), 2048);
    check(TStringInt<TStaticStringAllocationStrategy<4096>>(), 4096);
}

TEST(StringInt, StringsOfDifferentStrategiesConvert) {
    const TStatic256 fixed("shared");
    TDynamicString dynamic(fixed);
    EXPECT_TRUE(dynamic == fixed);
    EXPECT_TRUE(fixed == dynamic);
    EXPECT_FALSE(dynamic != fixed);
    EXPECT_FALSE(dynamic < fixed);
    dynamic.Append("!");
    TStatic16 small;
    small = dynamic;
    EXPECT_STREQ(small.GetData(), "shared!");
}

// ---------------------------------------------------------------------------------------------
// Memory of the dynamic form.

class DynamicStringMemory : public testing::Test {
protected:
    size_t Live() const { return GetAllocatorInstance().GetLiveBlocks(); }
    void TearDown() override { GetAllocatorInstance().Faults().Disarm(); }
};

TEST_F(DynamicStringMemory, EmptyTextsHoldNoBlock) {
    const size_t before = Live();
    {
        TDynamicString a;
        TDynamicString b("");
        TDynamicString c("abc");
        EXPECT_EQ(Live(), before + 1);
        c = "";
        EXPECT_EQ(Live(), before);
        c.Append("x");
        c.DeleteSubstring(0, 1);
        EXPECT_EQ(Live(), before);
        EXPECT_STREQ(c.GetData(), "");
        EXPECT_EQ(c.GetLength(), 0);
        TLibVector<TDynamicString> fields = TDynamicString(",,").Split(",");
        EXPECT_EQ(fields.size(), 2u);
        EXPECT_TRUE(fields[0].IsEmpty());
        (void)a;
        (void)b;
    }
    EXPECT_EQ(Live(), before);
}

TEST_F(DynamicStringMemory, SameLengthReplacementAllocatesNothing) {
    TDynamicString s("abcdef");
    const char *block = s.GetData();
    GetAllocatorInstance().Faults().Arm(1, true);
    s.ReplaceSubstring(2, 2, "XY");
    s.ReplaceSubstring(0, -1, "12");
    s.LowerCase();
    EXPECT_EQ(s.Replace('f', 'g'), 1);
    GetAllocatorInstance().Faults().Disarm();
    EXPECT_STREQ(s.GetData(), "12xyeg");
    EXPECT_EQ(s.GetData(), block);
}

TEST_F(DynamicStringMemory, FailedAllocationLeavesTheTextAndLeaksNothing) {
    const size_t before = Live();
    {
        TDynamicString s("keep");
        GetAllocatorInstance().Faults().Arm(1, true);
        s.Append("more");
        s.Prepend(">");
        s.ReplaceSubstring(0, 1, "KK");
        // The match is found, but the new text cannot be stored.
        (void)s.Replace("e", "EEEE");
        TDynamicString copy(s);
        s.SPrintf("%d", 5);
        GetAllocatorInstance().Faults().Disarm();
        EXPECT_STREQ(s.GetData(), "keep");
        EXPECT_TRUE(copy.IsEmpty());
    }
    EXPECT_EQ(Live(), before);
}

TEST_F(DynamicStringMemory, MoveTakesTheBlock) {
    const size_t before = Live();
    TDynamicString a("moved text");
    const char *block = a.GetData();
    TDynamicString b(static_cast<TDynamicString &&>(a));
    EXPECT_EQ(b.GetData(), block);
    EXPECT_TRUE(a.IsEmpty());
    a = static_cast<TDynamicString &&>(b);
    EXPECT_EQ(a.GetData(), block);
    EXPECT_EQ(Live(), before + 1);
}

TEST_F(DynamicStringMemory, ReplaceGrowsPastTheWorkBuffer) {
    // 5000 bytes become 15000, beyond the first 8192-byte work buffer.
    TDynamicString s;
    s.CreateFilled(5000, 'a');
    const size_t before = Live();
    EXPECT_EQ(s.Replace("a", "xyz"), 5000);
    EXPECT_EQ(s.GetLength(), 15000);
    EXPECT_EQ(Live(), before);
    EXPECT_EQ(s.FindSubstring("a"), -1);
    EXPECT_EQ(s.Left(6), "xyzxyz");
    EXPECT_EQ(s.Replace("zx", ""), 4999);
    EXPECT_EQ(s.GetLength(), 15000 - 2 * 4999);
}

TEST_F(DynamicStringMemory, SPrintfKeepsAtMost16383Bytes) {
    const std::string big(20000, 'w');
    TDynamicString s;
    s.SPrintf("%s", big.c_str());
    EXPECT_EQ(s.GetLength(), 16383);
}

} // namespace
