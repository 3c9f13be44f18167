// TFixedString: copies bounded to 1023 bytes, null as the empty text, ordering on bytes.
#include <gtest/gtest.h>

#include <string>

#include "General/Core/FixedString.h"

namespace {

TEST(FixedString, CopiesAndCutsAt1023Bytes) {
    TFixedString s("hello");
    EXPECT_STREQ(s.GetData(), "hello");
    const TFixedString copy(s);
    s = "changed";
    EXPECT_STREQ(copy.GetData(), "hello");
    s = static_cast<const char *>(nullptr);
    EXPECT_STREQ(s.GetData(), "");
    const std::string longText(2000, 'z');
    s = longText.c_str();
    EXPECT_EQ(std::string(s.GetData()), std::string(1023, 'z'));
    const TFixedString &alias = s;
    s = alias;
    EXPECT_EQ(std::string(s.GetData()).size(), 1023u);
    s = s.GetData() + 1000;
    EXPECT_EQ(std::string(s.GetData()), std::string(23, 'z'));
}

TEST(FixedString, Ordering) {
    struct Case {
        const char *Left;
        const char *Right;
        int Order;
    };
    constexpr Case kCases[] = {
        {"a", "b", -1}, {"abc", "ab", 1}, {"same", "same", 0}, {"\xFF", "a", 1}, {"", "a", -1},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(testing::Message() << c.Left << " vs " << c.Right);
        const TFixedString l(c.Left);
        const TFixedString r(c.Right);
        EXPECT_EQ(l < r, c.Order < 0);
        EXPECT_EQ(l > r, c.Order > 0);
        EXPECT_EQ(l == r, c.Order == 0);
    }
}

} // namespace
