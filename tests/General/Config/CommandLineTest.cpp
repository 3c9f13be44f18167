#include "General/Config/CommandLine.h"

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

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

// Argument lists as a host gets them from the system. Each is joined into one text, which
// must parse back into the same switches and parameters. With VLIB_FUZZ_CORPUS_DIR set (to
// the repository's fuzz/corpus) the texts are written as the seeds of the fuzz target.
TEST(CommandLine, JoinedArgumentsParseBack) {
    const std::vector<std::vector<const char *>> kArgLists = {
        {},
        {"-a"},
        {"-a", "1", "2"},
        {"x", "y", "-a"},
        {"--cfg", "Debug", "DebugFlushLog", "true"},
        {"--cfg", "Debug", "Debug output path", "/tmp/logs/"},
        {"--cfg", "Gui", "Default font colour", "0.5, 0.5, 1"},
        {"--cfg", "Debug", "x"},
        {"--CFG", "Network", "Timeout", "100", "extra"},
        {"--cfg", "ResourceSystem", "NumberOfResourceBanks", "2"},
        {"--cfg", "Resources", "Resource path", "../Resource/"},
        {"--cfg", "Demo", "Title", "A short run", "--cfg", "Demo", "Frames", "20"},
        {"-width", "640", "-height", "480", "-fullscreen"},
        {"/path/to/data", "-v"},
        {"-a", "", "b"},
        {"-a\tb", "c"},
        {"--cfg", "Debug", "Debug output path", "D:\\logs\\"},
        {"--cfg", "Sound", "subdirectory", "{root}/Sound"},
        {"-x", "a b c d e f", "-y"},
        {"--", "-", "--cfg"},
        {"--cfg", "Debug", "Print filter", "Render*;Sound*"},
        {"--cfg", "Debug", "No unhandled exceptions", "true", "--cfg", "Debug", "DebugViewAlerts",
         "2"},
    };
    const char *directory = std::getenv("VLIB_FUZZ_CORPUS_DIR");
    int n = 0;
    for (const auto &args : kArgLists) {
        const TDynamicString text = TCommandLine::Join(static_cast<int>(args.size()), args.data());
        SCOPED_TRACE(text.GetData());
        // Rebuild the expected args the way a reader of argv would group them.
        std::string expected;
        std::string current;
        bool open = false;
        for (const char *arg : args) {
            if (arg[0] == '\0')
                continue; // an empty token is dropped
            if (arg[0] == '-') {
                if (open)
                    expected += (expected.empty() ? "" : " ") + current + ")";
                current = std::string(arg) + "(";
            } else {
                if (!open)
                    current = "(";
                current += (current.back() == '(' ? "" : "|") + std::string(arg);
            }
            open = true;
        }
        if (open)
            expected += (expected.empty() ? "" : " ") + current + ")";
        TCommandLine line;
        line.Parse(text.GetData(), '-', " \t");
        EXPECT_EQ(Render(line), expected);
        if (directory != nullptr) {
            const std::string path = std::string(directory) + "/CommandLine/seed_" +
                                     (n < 10 ? "0" : "") + std::to_string(n);
            std::ofstream(path, std::ios::binary) << text.GetData();
        }
        ++n;
    }
}

} // namespace
