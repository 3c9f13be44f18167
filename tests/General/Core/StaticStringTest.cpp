// TStaticString: ordering on the texts (unsigned bytes), not the pointers, with null as the
// empty text, and the search it borrows from the dynamic string.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "General/Core/StaticString.h"

namespace {

TEST(StaticString, ComparesTextsNotPointers) {
    const std::string copy = "alpha";
    const TStaticString literal("alpha");
    const TStaticString other(copy.c_str());
    EXPECT_NE(literal.GetData(), other.GetData());
    EXPECT_TRUE(literal == other);
    EXPECT_FALSE(literal < other);
    EXPECT_FALSE(literal > other);
    struct Case {
        const char *Left;
        const char *Right;
        int Order;
    };
    constexpr Case kCases[] = {
        {"a", "b", -1},   {"b", "a", 1},      {"ab", "a", 1},        {"\x80", "z", 1},
        {nullptr, "", 0}, {nullptr, "a", -1}, {nullptr, nullptr, 0},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(testing::Message()
                     << (c.Left ? c.Left : "null") << " vs " << (c.Right ? c.Right : "null"));
        const TStaticString l(c.Left);
        const TStaticString r(c.Right);
        EXPECT_EQ(l < r, c.Order < 0);
        EXPECT_EQ(l > r, c.Order > 0);
        EXPECT_EQ(l == r, c.Order == 0);
    }
}

TEST(StaticString, HoldsThePointerItWasGiven) {
    const char *text = "resource";
    TStaticString s(text);
    EXPECT_EQ(s.GetData(), text);
    EXPECT_EQ(static_cast<char *>(s), text);
    EXPECT_EQ(s.GetLength(), 8);
    TStaticString empty;
    EXPECT_EQ(empty.GetData(), nullptr);
    EXPECT_EQ(empty.GetLength(), 0);
    empty = s;
    EXPECT_EQ(empty.GetData(), text);
}

TEST(StaticString, FindSubstring) {
    const TStaticString s("Path/To/File");
    EXPECT_EQ(s.FindSubstring("To"), 5);
    EXPECT_EQ(s.FindSubstring("to"), -1);
    EXPECT_EQ(s.FindSubstring("to", 0, false), 5);
    EXPECT_EQ(s.FindSubstring("/", 5), 7);
    EXPECT_EQ(TStaticString().FindSubstring("x"), -1);
}

TEST(StaticString, OrdersMapKeys) {
    std::map<TStaticString, int> byName;
    const std::string b = "beta";
    byName[TStaticString("gamma")] = 3;
    byName[TStaticString(b.c_str())] = 2;
    byName[TStaticString("alpha")] = 1;
    EXPECT_EQ(byName[TStaticString("beta")], 2);
    ASSERT_EQ(byName.size(), 3u);
    EXPECT_STREQ(byName.begin()->first.GetData(), "alpha");
}

} // namespace
