#include "General/Resources/ResourceErrorLog.h"

#include <cctype>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Support/TempDir.h"

namespace {

// Keeps copies of everything it is told.
class TRecordingReporter : public TResourceErrorReporter {
public:
    struct TCall {
        std::string summary, details, name, logFile;
    };
    void Report(TResourceErrorReportInfo *info) override {
        reports.push_back({info->summary, info->details, info->name, info->logFile});
    }
    std::vector<TCall> reports;
};

std::string ReadFile(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// A small well-formedness check of HTML as the log writes it: every element but the void ones
// is closed in order, attribute values may go unquoted, <style> holds raw text, and text holds
// no bare '<', '>' or '&' that is not an entity. Returns the first fault, or "".
std::string CheckHtml(const std::string &page) {
    static const char *const kVoid[] = {"br", "hr", "img", "meta", "link", "input"};
    auto isVoid = [](const std::string &tag) {
        for (const char *v : kVoid)
            if (tag == v)
                return true;
        return false;
    };
    auto lower = [](std::string s) {
        for (char &c : s)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return s;
    };
    std::vector<std::string> open;
    size_t i = 0;
    const size_t n = page.size();
    while (i < n) {
        const char c = page[i];
        if (c == '&') {
            size_t j = i + 1;
            if (j < n && page[j] == '#')
                ++j;
            const size_t start = j;
            while (j < n && std::isalnum(static_cast<unsigned char>(page[j])))
                ++j;
            if (j == start || j >= n || page[j] != ';')
                return "bare '&' at " + std::to_string(i);
            i = j + 1;
            continue;
        }
        if (c == '>')
            return "bare '>' at " + std::to_string(i);
        if (c != '<') {
            ++i;
            continue;
        }
        if (page.compare(i, 4, "<!--") == 0) {
            const size_t end = page.find("-->", i + 4);
            if (end == std::string::npos)
                return "unclosed comment";
            i = end + 3;
            continue;
        }
        size_t j = i + 1;
        const bool closing = j < n && page[j] == '/';
        if (closing)
            ++j;
        const size_t nameStart = j;
        while (j < n && std::isalnum(static_cast<unsigned char>(page[j])))
            ++j;
        if (j == nameStart)
            return "bare '<' at " + std::to_string(i);
        const std::string tag = lower(page.substr(nameStart, j - nameStart));
        // Attributes: name, optionally = and a quoted or unquoted value.
        for (;;) {
            while (j < n && std::isspace(static_cast<unsigned char>(page[j])))
                ++j;
            if (j >= n)
                return "unterminated tag " + tag;
            if (page[j] == '>')
                break;
            if (closing)
                return "attribute in closing tag " + tag;
            const size_t attr = j;
            while (j < n && (std::isalnum(static_cast<unsigned char>(page[j])) || page[j] == '-'))
                ++j;
            if (j == attr)
                return "bad attribute in " + tag;
            if (j < n && page[j] == '=') {
                ++j;
                if (j < n && (page[j] == '"' || page[j] == '\'')) {
                    const size_t end = page.find(page[j], j + 1);
                    if (end == std::string::npos)
                        return "unclosed attribute value in " + tag;
                    j = end + 1;
                } else {
                    const size_t value = j;
                    while (j < n && !std::isspace(static_cast<unsigned char>(page[j])) &&
                           std::strchr("\"'=<>`", page[j]) == nullptr)
                        ++j;
                    if (j == value)
                        return "empty attribute value in " + tag;
                }
            }
        }
        i = j + 1;
        if (closing) {
            if (open.empty() || open.back() != tag)
                return "</" + tag + "> does not close " + (open.empty() ? "anything" : open.back());
            open.pop_back();
        } else if (tag == "style") {
            const size_t end = lower(page).find("</style>", i);
            if (end == std::string::npos)
                return "unclosed style";
            i = end;
            open.push_back(tag);
        } else if (!isVoid(tag)) {
            open.push_back(tag);
        }
    }
    if (!open.empty())
        return "unclosed <" + open.back() + ">";
    return "";
}

class ResourceErrorLog : public ::testing::Test {
protected:
    void SetUp() override { m_Prefix = m_Dir.Path() + "/Game"; }
    void TearDown() override { ShutdownResourceReport(); }

    std::string Html() const { return ReadFile(m_Prefix + "ResourceErrors.html"); }
    std::string Rows() const { return ReadFile(m_Prefix + "ResourceErrors.tmp"); }

    vlib::test::TTempDir m_Dir;
    std::string m_Prefix;
    TRecordingReporter m_Reporter;
};

} // namespace

TEST(ResourceErrorLogHtmlCheck, CatchesWhatItShould) {
    EXPECT_EQ(CheckHtml("<html><body><b>a &lt; b</b><br></body></html>"), "");
    EXPECT_NE(CheckHtml("<html><b>a < b</b></html>"), "");
    EXPECT_NE(CheckHtml("<html><b>x</html>"), "");
    EXPECT_NE(CheckHtml("<html>a & b</html>"), "");
    EXPECT_NE(CheckHtml("<html>a > b</html>"), "");
}

TEST_F(ResourceErrorLog, PageIsCompleteAfterTheFirstRow) {
    InitResourceReport(&m_Reporter, m_Prefix.c_str());
    const std::string page = Html();
    const std::string head = "<html>\r\n<head>\r\n<title>" + m_Prefix +
                             " Resource Error Log</title>\r\n"
                             "<style TYPE=\"text/css\"><!--\r\n"
                             "body {font-family: Arial, Helvetica, Sans-serif; "
                             "background-color=silver;}\r\n"
                             "td {vertical-align:top; text-align:left; }\r\n"
                             ".st {text-indent:100px; font-size:65%;}\r\n"
                             ".err {background-color:#FFCCCC; }\r\n"
                             "--></style>\r\n</head>\r\n<body>\r\n<h1>" +
                             m_Prefix + " Resource Error Log</h1>\r\n<table cellpadding=5>\r\n";
    ASSERT_EQ(page.compare(0, head.size(), head), 0) << page;
    const std::string note = "<tr>\r\n<td><b>note</b></td>\r\n<td>\r\n<font class=err>Starting " +
                             m_Prefix + " resource log at ";
    EXPECT_EQ(page.compare(head.size(), note.size(), note), 0) << page;
    // "%I:%M %p on %a, %d-%m-%y", then the end of the row and of the page.
    const std::string rest = page.substr(head.size() + note.size());
    ASSERT_GE(rest.size(), 23u);
    EXPECT_TRUE(rest.substr(5, 1) == " " &&
                (rest.substr(6, 2) == "AM" || rest.substr(6, 2) == "PM"))
        << rest;
    EXPECT_EQ(rest.substr(rest.size() - 51),
              "</font><br>\r\n</td>\r\n</tr>\r\n</table></body></html>\r\n");
    EXPECT_EQ(CheckHtml(page), "");
    EXPECT_TRUE(m_Reporter.reports.empty());
}

TEST_F(ResourceErrorLog, ErrorOutsideAnyLoadIsReportedAtOnce) {
    InitResourceReport(&m_Reporter, m_Prefix.c_str());
    ReportResourceError("missing", "Resource \"rock\" not found.");
    ASSERT_EQ(m_Reporter.reports.size(), 1u);
    const auto &report = m_Reporter.reports[0];
    EXPECT_EQ(report.summary, "1 Errors occurred\r\n- while loading <unknown>\r\n");
    EXPECT_EQ(report.details, "* Resource \"rock\" not found.\r\n");
    EXPECT_EQ(report.name, "<unknown>");
    EXPECT_EQ(report.logFile, m_Prefix + "ResourceErrors.html");

    const std::string row = "<tr>\r\n<td><b>missing</b></td>\r\n<td>\r\n<font class=err>Resource "
                            "&quot;rock&quot; not found.</font><br>\r\n</td>\r\n</tr>\r\n";
    EXPECT_NE(Html().find(row), std::string::npos) << Html();
    EXPECT_EQ(CheckHtml(Html()), "");
}

TEST_F(ResourceErrorLog, OneReportPerLoadWithEveryText) {
    InitResourceReport(&m_Reporter, m_Prefix.c_str());
    ReportResourceStartLoad("level1", "TRootContainer");
    ReportResourceError("error", "first");
    ReportResourceError("format", "second ends in a line feed\n");
    ReportResourceError("error", "");
    EXPECT_TRUE(m_Reporter.reports.empty());
    ReportResourceEndLoad();
    ASSERT_EQ(m_Reporter.reports.size(), 1u);
    EXPECT_EQ(m_Reporter.reports[0].summary,
              "3 Errors occurred\r\n- while loading level1 (TRootContainer)\r\n");
    EXPECT_EQ(m_Reporter.reports[0].details, "* first\r\n* second ends in a line feed\n* ");
    EXPECT_EQ(m_Reporter.reports[0].name, "level1");

    ReportResourceStartLoad("clean", nullptr);
    ReportResourceEndLoad();
    ReportResourceEndLoad(); // the stack is empty: nothing happens
    EXPECT_EQ(m_Reporter.reports.size(), 1u);
}

TEST_F(ResourceErrorLog, NestedLoadsAndTheOutermostChild) {
    InitResourceReport(&m_Reporter, m_Prefix.c_str());
    ReportResourceStartLoad("A", "");
    ReportResourceStartLoad(nullptr, nullptr);
    ReportResourceError("mcchild", "lands in A");
    EXPECT_NE(Html().find("<font class=st>- while loading &lt;unknown&gt;<br>\r\n"
                          "- while loading A<br>\r\n</font>\r\n"),
              std::string::npos)
        << Html();
    ReportResourceError("error", "stays in the inner load");
    ReportResourceEndLoad();
    ASSERT_EQ(m_Reporter.reports.size(), 1u);
    EXPECT_EQ(m_Reporter.reports[0].name, "<unknown>");
    EXPECT_EQ(m_Reporter.reports[0].summary,
              "1 Errors occurred\r\n- while loading <unknown>\r\n- while loading A\r\n");
    EXPECT_EQ(m_Reporter.reports[0].details, "* stays in the inner load\r\n");
    ReportResourceEndLoad();
    ASSERT_EQ(m_Reporter.reports.size(), 2u);
    EXPECT_EQ(m_Reporter.reports[1].name, "A");
    EXPECT_EQ(m_Reporter.reports[1].summary, "1 Errors occurred\r\n- while loading A\r\n");
    EXPECT_EQ(m_Reporter.reports[1].details, "* lands in A\r\n");
    EXPECT_EQ(CheckHtml(Html()), "");
}

TEST_F(ResourceErrorLog, MessagesWithMarkupAreEscaped) {
    InitResourceReport(&m_Reporter, m_Prefix.c_str());
    ReportResourceStartLoad("<b>bold</b> & co", "a>b");
    ReportResourceError("<script>", "if (a < b && c > d) </td></tr></table>");
    ReportDuplicateResource("data/<a>.ini", "mods/&b.ini");
    ReportResourceEndLoad();
    const std::string page = Html();
    EXPECT_EQ(CheckHtml(page), "") << page;
    EXPECT_NE(page.find("<td><b>&lt;script&gt;</b></td>"), std::string::npos);
    EXPECT_NE(page.find("if (a &lt; b &amp;&amp; c &gt; d) &lt;/td&gt;&lt;/tr&gt;&lt;/table&gt;"),
              std::string::npos);
    EXPECT_NE(page.find("- while loading &lt;b&gt;bold&lt;/b&gt; &amp; co (a&gt;b)<br>"),
              std::string::npos);
    EXPECT_NE(page.find("Duplicate resources found.\r\n\tFirst: data/&lt;a&gt;.ini\r\n\tSecond: "
                        "mods/&amp;b.ini"),
              std::string::npos);
    // The reporter gets the texts as they were given.
    ASSERT_EQ(m_Reporter.reports.size(), 1u);
    EXPECT_EQ(m_Reporter.reports[0].name, "<b>bold</b> & co");
    EXPECT_EQ(m_Reporter.reports[0].details,
              "* if (a < b && c > d) </td></tr></table>\r\n"
              "* Duplicate resources found.\r\n\tFirst: data/<a>.ini\r\n\tSecond: mods/&b.ini\r\n");
}

TEST_F(ResourceErrorLog, MissingResourceTexts) {
    InitResourceReport(&m_Reporter, m_Prefix.c_str());
    struct Case {
        unsigned long id;
        const char *text;
    };
    constexpr Case kCases[] = {
        {31, "Resource 1F (31) not found."},
        {0xFFFFFFFFul, "Resource FFFFFFFF (-1) not found."},
        {0x439C2F4Bul, "Resource 439C2F4B (1134309195) not found."},
        {0x80000000ul, "Resource 80000000 (-2147483648) not found."},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.text);
        ReportMissingResource(c.id);
        ASSERT_FALSE(m_Reporter.reports.empty());
        EXPECT_EQ(m_Reporter.reports.back().details, std::string("* ") + c.text + "\r\n");
    }
    ReportMissingResource("tex/stone");
    EXPECT_EQ(m_Reporter.reports.back().details, "* Resource \"tex/stone\" not found.\r\n");
}

TEST_F(ResourceErrorLog, ShutdownKeepsOnlyThePage) {
    InitResourceReport(&m_Reporter, m_Prefix.c_str());
    ReportResourceStartLoad("left open", nullptr);
    ReportResourceError("error", "never reported");
    EXPECT_FALSE(Rows().empty());
    ShutdownResourceReport();
    EXPECT_TRUE(m_Reporter.reports.empty());
    EXPECT_FALSE(std::filesystem::exists(m_Prefix + "ResourceErrors.tmp"));
    EXPECT_TRUE(std::filesystem::exists(m_Prefix + "ResourceErrors.html"));
    EXPECT_EQ(CheckHtml(Html()), "");
}

TEST_F(ResourceErrorLog, OffMeansSilent) {
    InitResourceReport(&m_Reporter, "");
    ReportResourceStartLoad("x", nullptr);
    ReportResourceError("error", "nobody hears this");
    ReportResourceEndLoad();
    EXPECT_TRUE(m_Reporter.reports.empty());
    EXPECT_TRUE(std::filesystem::is_empty(m_Dir.Path()));
    EXPECT_STREQ(ResourceErrorFormat("%d-%s", 7, "x"), "7-x");
}

TEST_F(ResourceErrorLog, UnwritablePrefixLosesRowsButStillReports) {
    const std::string missing = m_Dir.Path() + "/no/such/dir/";
    InitResourceReport(&m_Reporter, missing.c_str());
    ReportResourceError("error", "row lost");
    ASSERT_EQ(m_Reporter.reports.size(), 1u);
    EXPECT_EQ(m_Reporter.reports[0].details, "* row lost\r\n");
}

TEST_F(ResourceErrorLog, LongPrefixIsCut) {
    const std::string prefix = m_Dir.Path() + "/" + std::string(400, 'p');
    InitResourceReport(&m_Reporter, prefix.c_str());
    ReportResourceError("error", "x");
    ASSERT_EQ(m_Reporter.reports.size(), 1u);
    EXPECT_EQ(m_Reporter.reports[0].logFile, prefix.substr(0, 255) + "ResourceErrors.html");
}

TEST(ResourceErrorFormat, RingOfEightAndNoCutting) {
    const char *first = ResourceErrorFormat("call %d", 1);
    const std::string firstText = first;
    for (int i = 2; i <= 8; ++i)
        (void)ResourceErrorFormat("call %d", i);
    EXPECT_EQ(firstText, first); // still valid after seven more calls
    (void)ResourceErrorFormat("call %d", 9);
    EXPECT_STREQ(first, "call 9"); // the ninth call took the first buffer

    const std::string big(2000, 'z');
    const char *whole = ResourceErrorFormat("<%s>", big.c_str());
    EXPECT_EQ(std::string(whole), "<" + big + ">");
}
