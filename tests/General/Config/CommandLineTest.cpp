#include "General/Config/CommandLine.h"

#include <string>

#include <gtest/gtest.h>

namespace {

// Renders the args as "name(p1|p2) name()", so a whole parse compares as one text.
std::string Render(const TCommandLine &line) {
    std::string out;
    for (int i = 0; i < line.GetNumArgs(); ++i) {
        const TCommandLineArg &arg = line.GetArg(i);
        if (!out.empty())
            out += ' ';
        out += std::string(arg.name.GetData()) + "(";
        for (size_t p = 0; p < arg.parameters.size(); ++p)
            out += (p > 0 ? "|" : "") + std::string(arg.parameters[p].GetData());
        out += ")";
    }
    return out;
}

TEST(CommandLine, SplitsSwitchesAndParameters) {
    struct Case {
        const char *text;
        const char *expected;
    };
    constexpr Case kCases[] = {
        {"-a 1 2 -b \"c d\" e", "-a(1|2) -b(c d|e)"},
        // A '/' starts a path, not a switch.
        {"-a 1 2 /b \"c d\" e", "-a(1|2|/b|c d|e)"},
        {"x y -a", "(x|y) -a()"},
        {"\"\"", ""},
        {"", ""},
        {"   ", ""},
        {"-a \"open quote", "-a(open quote)"},
        {"-a \"\" b", "-a(b)"},
        // Only blanks separate: a tab belongs to the token.
        {"-a\tb c", "-a\tb(c)"},
        // A quoted token that starts with the switch character still opens a switch.
        {"-a \"-b c\" d", "-a() -b c(d)"},
        // A negative number opens a switch of its own.
        {"-offset -5", "-offset() -5()"},
        {"--cfg Debug \"Debug output path\" /tmp/logs/",
         "--cfg(Debug|Debug output path|/tmp/logs/)"},
        {"a\"b c\"", "(a\"b|c\")"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.text);
        TCommandLine line;
        line.Parse(c.text, '-', " \t");
        EXPECT_EQ(Render(line), c.expected);
    }
}

TEST(CommandLine, ParseAppendsToEarlierArgs) {
    TCommandLine line;
    line.Parse("-a 1", '-', " ");
    line.Parse("2 -b", '-', " ");
    line.Parse(nullptr, '-', " ");
    // The second text's leading parameter starts an unnamed arg: args never merge.
    EXPECT_EQ(Render(line), "-a(1) (2) -b()");
}

TEST(CommandLine, FindsArgByNameIgnoringCase) {
    TCommandLine line;
    line.Parse("-Width 640 -width 800 x", '-', " ");
    const TCommandLineArg *arg = line.GetArg(TDynamicString("-WIDTH"));
    ASSERT_NE(arg, nullptr);
    EXPECT_STREQ(arg->parameters.at(0).GetData(), "640");
    EXPECT_EQ(line.GetArg(TDynamicString("Width")), nullptr); // switch character included
    EXPECT_EQ(line.GetArg(TDynamicString("-height")), nullptr);
}

} // namespace
