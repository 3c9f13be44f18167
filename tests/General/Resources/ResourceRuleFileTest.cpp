// Tests of rule files: wild-card translation, whole-input and case-blind matching, group
// references in values, keywords and bare PATHRULE lines, priorities and the order of rules
// within one key, and bad input (patterns that do not compile, long lines, runaway patterns).
#include "General/Resources/ResourceRuleFile.h"

#include <fstream>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "Support/TempDir.h"

namespace {

/// "key=value;" for each pair of each list, lists separated by "|".
std::string QueryText(const TResourceRuleFile &rules, const char *input,
                      const char *key = nullptr) {
    TLibVector<TParameterList> out;
    EXPECT_TRUE(rules.Query(input, out, key));
    std::string text;
    for (const TParameterList &list : out) {
        if (!text.empty())
            text += "|";
        TDynamicString name;
        for (int i = 0; i < list.GetParameterCount(); ++i) {
            const TDynamicString *value = list.GetParameter(i, name);
            text += std::string(name.GetData()) + "=" + value->GetData() + ";";
        }
    }
    return text;
}

std::unique_ptr<TResourceRuleFile> Rules(const char *keyword, const std::string &text) {
    auto rules = std::make_unique<TResourceRuleFile>(keyword);
    rules->LoadText(text.data(), text.size());
    return rules;
}

TEST(ResourceRuleFile, WildcardTranslation) {
    struct Case {
        const char *pattern;
        const char *expression;
    };
    constexpr Case kCases[] = {
        {"data/*.ini", "data/[^/]*\\.ini"},
        {"data/....ini", "data/.*?\\.ini"},
        {"<*>.x", "([^/]*)\\.x"},
        {"a\\b", "a/b"},
        {"$()+[]^{}", "\\$\\(\\)\\+\\[\\]\\^\\{\\}"},
        {"a?|b", "a?|b"},
        {"..", "\\.\\."},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.pattern);
        EXPECT_EQ(TResourceRuleFile::TranslateWildcard(c.pattern), c.expression);
    }
}

TEST(ResourceRuleFile, Matching) {
    struct Case {
        const char *line;
        const char *input;
        const char *expected;
    };
    constexpr Case kCases[] = {
        {"PATHRULE \"data/*.ini\" a=\"1\"", "data/a.ini", "a=1;"},
        {"PATHRULE \"data/*.ini\" a=\"1\"", "data/x/a.ini", ""},
        {"PATHRULE \"data/*.ini\" a=\"1\"", "DATA/A.INI", "a=1;"},
        {"PATHRULE \"data/....ini\" a=\"1\"", "data/x/a.ini", "a=1;"},
        {"PATHRULE \"data/*.ini\" a=\"1\"", "xdata/a.ini", ""}, // anchored at both ends
        {"PATHRULE \"...<*>.ini\" :10 tag=\"$1\" type=\"TIniFile\"", "cfg/sub/Game.ini",
         "tag=Game;type=TIniFile;"},
        {"PATHRULE \"\"^x$\"\" a=\"raw\"", "x", "a=raw;"},
        {"PATHRULE \"\"a|b\"\" a=\"alt\"", "ab",
         "a=altalt;"}, // "^a|b$": two matches, both formatted
        {"PATHRULE \"\"(x)(y)?\"\" a=\"[$2]\"", "x", "a=[];"}, // an unmatched group is empty
        {"PATHRULE \"<*>\" a=\"$7\"", "x", ""},                // a group that does not exist
        {"\"*.txt\" Key=\"v\"", "a.txt", "key=v;"},            // bare line, key lower-cased
        {"pathrule \"*.txt\" k=\"v\"", "a.txt", "k=v;"},       // keyword ignores case
        {"TAGRULE \"*.txt\" k=\"v\"", "a.txt", ""},
        {"PATHRULE  \"*.txt\" k=\"v\"", "a.txt", ""}, // the pattern must follow one blank
        {"PATHRULE \"*.txt\"", "a.txt", ""},          // no pairs
        {"PATHRULE \"*.txt\" k=\"\"", "a.txt", ""},   // an empty value ends the pairs
        {"PATHRULE \"*.txt\" k=v", "a.txt", ""},      // unquoted value
        {"PATHRULE \"[\" k=\"v\"", "[", "k=v;"},      // '[' escaped by the translation
        {"PATHRULE \"\"[\"\" k=\"v\"", "[", ""},      // a raw pattern that does not compile
        {"PATHRULE \"*.txt\" k=\"v\"", "A.TxT", "k=v;"},
        {"PATHRULE \"*.txt\" k=\"v\"", "a.txt\n", "k=v;"}, // "$" before a final line feed
        {"PATHRULE \"*.t?xt\" k=\"v\"", "a.xt", "k=v;"},
        {"PATHRULE \"x.....e\" k=\"v\"", "x1..e", "k=v;"},
        {"PATHRULE \"x.....e\" k=\"v\"", "x1.e", ""},
        {"# PATHRULE \"*\" k=\"v\"", "a", ""},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.line);
        auto rules = Rules("PATHRULE", c.line);
        EXPECT_EQ(QueryText(*rules, c.input), c.expected);
    }
}

TEST(ResourceRuleFile, PrioritiesAndRuleOrder) {
    const std::string text = "PATHRULE \"*.a\" :5 k=\"late\" other=\"x\"\n"
                             "PATHRULE \"*\" :5 k=\"early\"\r\n"
                             "\n"
                             "PATHRULE \"*.a\" :1 k=\"one\"\n"
                             "PATHRULE \"\"(\"\" :1 k=\"bad\"\n"
                             "TAGRULE \"*\" :0 tag=\"other kind\"\n";
    auto rules = Rules("PATHRULE", text);
    // Priority 1 first; within priority 5 the later matching rule of a key wins.
    EXPECT_EQ(QueryText(*rules, "f.a"), "k=one;|k=early;other=x;");
    EXPECT_EQ(QueryText(*rules, "f.b"), "k=early;");
    EXPECT_EQ(QueryText(*rules, "f.a", "OTHER"), "other=x;");

    auto tags = Rules("TAGRULE", text);
    EXPECT_EQ(QueryText(*tags, "anything"), "tag=other kind;");
}

TEST(ResourceRuleFile, LineLengthLimit) {
    for (int length : {1023, 1024}) {
        SCOPED_TRACE(length);
        std::string line = "PATHRULE \"x\" k=\"";
        line += std::string(static_cast<size_t>(length) - line.size() - 1, 'v') + "\"";
        ASSERT_EQ(line.size(), static_cast<size_t>(length));
        auto rules = Rules("PATHRULE", "  " + line + "  \n");
        EXPECT_EQ(QueryText(*rules, "x").empty(), length == 1024);
    }
}

TEST(ResourceRuleFile, RunawayPatternEndsAsNoMatch) {
    auto rules = Rules("PATHRULE", "PATHRULE \"\"(a|aa|a*)*c\"\" k=\"v\"\n"
                                   "PATHRULE \"\"a*\"\" k2=\"w\"");
    const std::string input(2000, 'a');
    EXPECT_EQ(QueryText(*rules, (input + "b").c_str()), "");
    EXPECT_EQ(QueryText(*rules, input.c_str()), "k2=w;");
}

TEST(ResourceRuleFile, FilesNamesAndTimes) {
    vlib::test::TTempDir dir;
    TResourceRuleFile rules("TYPERULE");
    EXPECT_FALSE(rules.Load(dir.File("missing.rre").c_str()));
    EXPECT_EQ(rules.GetNewestTime().GetValue(), 0u);
    std::ofstream(dir.File("a.rre")) << "TYPERULE \"TMesh\" default=\"TBox\"\n";
    std::ofstream(dir.File("b.rre")) << "TYPERULE \"TMesh\" :2 default=\"TSphere\"\n";
    EXPECT_TRUE(rules.Load(dir.File("a.rre").c_str()));
    EXPECT_TRUE(rules.Load(dir.File("b.rre").c_str()));
    EXPECT_EQ(rules.GetFileNames(), (dir.File("a.rre") + ", " + dir.File("b.rre")).c_str());
    EXPECT_EQ(QueryText(rules, "tmesh"), "default=TBox;|default=TSphere;");
    EXPECT_NE(rules.GetNewestTime().GetValue(), 0u);
}

TEST(ResourceRuleFile, ExhaustedHeapFailsTheLoad) {
    // A load that lost rules to the heap must say so: only a load that returns true may be
    // relied on to give every rule of the file.
    vlib::test::TTempDir dir;
    std::ofstream(dir.File("r.rre")) << "TYPERULE \"<*>.msh\" mesh=\"TMesh\" kind=\"$1\"\n"
                                        "TYPERULE \"\"tex_(.*)\"\" :3 texture=\"$1\"\n";
    // The caller's own strings are made before the faults start.
    const TDynamicString keyword("TYPERULE"), path(dir.File("r.rre").c_str());
    const int attempts = vlib::test::RunUntilAllocationsSucceed([&] {
        TResourceRuleFile rules(keyword);
        const bool ok = rules.Load(path);
        GetAllocatorInstance().Faults().Disarm(); // the queries below are not under test
        if (ok) {
            EXPECT_EQ(QueryText(rules, "rock.msh"), "kind=rock;mesh=TMesh;");
            EXPECT_EQ(QueryText(rules, "TEX_stone"), "texture=stone;");
        }
        return ok;
    });
    EXPECT_GT(attempts, 1);
}

} // namespace
