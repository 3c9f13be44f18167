// The grammar of the XML reader: prolog forms, tags, attributes, content, close tags and the
// error texts, and depth that would overflow a recursive reader.
#include "General/Text/XMLParser.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "General/Text/StringDict.h"

namespace {

using TString = TXMLParser::TString;

struct TParsed {
    TStringDict dict;
    std::unique_ptr<TXMLTag> root;
    std::string error;
};

/// Parses `text` as LoadAscii hands it over: with a line feed behind it.
std::unique_ptr<TParsed> Parse(const std::string &text, bool strip = true) {
    auto parsed = std::make_unique<TParsed>();
    TXMLParser parser;
    parser.SetStripWhitespace(strip);
    TString name("doc.xml");
    TString body((text + "\n").c_str());
    parsed->root.reset(parser.Parse(name, body, &parsed->dict, nullptr));
    parsed->error = parser.GetError().GetData();
    return parsed;
}

std::string Name(TXMLNode *node) {
    return node->GetType() == XMLNodeTag ? static_cast<TXMLTag *>(node)->GetName()->GetData()
                                         : "#text";
}

std::string Text(TXMLNode *node) {
    return static_cast<TXMLText *>(node)->GetText().GetData();
}

TEST(XMLParser, AcceptsAndRefusesDocuments) {
    struct Case {
        const char *text;
        bool accepted;
    };
    constexpr Case kCases[] = {
        {"<?xml version=\"1.0\"?>\n<!-- c -->\n<!DOCTYPE foo SYSTEM \"x\">\n<a></a>", true},
        {"<!DOCTYPE foo><a></a>", true},
        {"<!DOCTYPE foo PUBLIC \"p\" SYSTEM \"s\"><a></a>", true},
        {"<!DOCTYPE foo PUBLIC \"p\" \"s\"><a></a>", false}, // second string after PUBLIC
        {"<!DOCTYPE foo SYSTEM \"x\" ><a></a>", false},      // white space before >
        {"<!DOCTYPE foo [<!ELEMENT a ANY>]><a></a>", false}, // internal subset
        {"<a b=\"1\"/>", false},                             // empty root
        {"<a></A>", true},
        {"<a>", false},
        {"<a.b></a.b>", false},
        {"<a b='1'></a>", false},
        {"", false},
        {"   ", false},
        {"<a b=\"unterminated></a>", false},
        {"<!-- unterminated <a></a>", false},
        {"<a><!-- -- --></a>", false},
        {"<a><b></b>trailing text", false},
        {"<a></a>anything <behind", true},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.text);
        auto parsed = Parse(c.text);
        EXPECT_EQ(parsed->root != nullptr, c.accepted) << parsed->error;
    }
}

TEST(XMLParser, TheRootNeedsOneByteBehindIt) {
    TStringDict dict;
    TString name("x"), exact("<a></a>"), padded("<a></a> ");
    std::unique_ptr<TXMLTag> root(TXMLParser::DoParse(name, exact, &dict, nullptr));
    EXPECT_EQ(root, nullptr);
    root.reset(TXMLParser::DoParse(name, padded, &dict, nullptr));
    EXPECT_NE(root, nullptr);
}

TEST(XMLParser, HeaderAttributesGoToTheRoot) {
    auto parsed = Parse("<?xml version=\"1.0\" encoding=\"UTF-8\"?><root a=\"x\"></root>");
    ASSERT_NE(parsed->root, nullptr);
    ASSERT_EQ(parsed->root->GetNumAttrs(), 3);
    EXPECT_STREQ(parsed->root->GetAttrVal("version")->GetData(), "1.0");
    EXPECT_STREQ(parsed->root->GetAttr(1)->name->GetData(), "encoding");
    EXPECT_STREQ(parsed->root->GetAttrVal("a")->GetData(), "x");
    EXPECT_EQ(parsed->root->GetParent(), nullptr);
}

TEST(XMLParser, ContentKeepsItsOrder) {
    auto parsed = Parse("<a>x<b></b>y<c d=\"1\" e = \"2\" /><!-- gone --></a>");
    ASSERT_NE(parsed->root, nullptr);
    TXMLTag *a = parsed->root.get();
    ASSERT_EQ(a->GetNumChildren(), 4);
    EXPECT_EQ(Text(a->GetChild(0)), "x");
    EXPECT_EQ(Name(a->GetChild(1)), "b");
    EXPECT_EQ(Text(a->GetChild(2)), "y");
    auto *c = static_cast<TXMLTag *>(a->GetChild(3));
    EXPECT_EQ(Name(c), "c");
    EXPECT_EQ(c->GetNumChildren(), 0);
    EXPECT_STREQ(c->GetAttrVal("e")->GetData(), "2");
    EXPECT_EQ(c->GetParent(), a);
    EXPECT_EQ(a->GetChild(0)->GetParent(), a);
}

TEST(XMLParser, WhitespaceOfText) {
    auto stripped = Parse("<a>  x  </a>");
    auto kept = Parse("<a>  x  </a>", false);
    EXPECT_EQ(Text(stripped->root->GetChild(0)), "x");
    EXPECT_EQ(Text(kept->root->GetChild(0)), "  x  ");
    for (bool strip : {true, false}) {
        auto blank = Parse("<a> \n\t <b></b>\r\n</a>", strip);
        ASSERT_NE(blank->root, nullptr);
        EXPECT_EQ(blank->root->GetNumChildren(), 1);
    }
}

TEST(XMLParser, NothingIsSpecialInValuesOrText) {
    auto parsed = Parse("<a v=\"&amp; <x>\nnext\">&lt;&#65;</a>");
    ASSERT_NE(parsed->root, nullptr);
    EXPECT_STREQ(parsed->root->GetAttrVal("v")->GetData(), "&amp; <x>\nnext");
    EXPECT_EQ(Text(parsed->root->GetChild(0)), "&lt;&#65;");
}

TEST(XMLParser, NamesAndValuesAreInterned) {
    auto parsed = Parse("<a k=\"v\"><a k=\"v\"></a><b v=\"k\"/></a>");
    ASSERT_NE(parsed->root, nullptr);
    auto *inner = static_cast<TXMLTag *>(parsed->root->GetChild(0));
    auto *b = static_cast<TXMLTag *>(parsed->root->GetChild(1));
    EXPECT_EQ(inner->GetName(), parsed->root->GetName());
    EXPECT_EQ(inner->GetAttr(0)->value, parsed->root->GetAttr(0)->value);
    EXPECT_EQ(b->GetAttr(0)->name, parsed->root->GetAttr(0)->value);
    EXPECT_EQ(parsed->dict.GetCount(), 4); // a, k, v, b
}

TEST(XMLParser, ErrorTexts) {
    struct Case {
        const char *text;
        const char *error;
    };
    constexpr Case kCases[] = {
        {"<a b='1'></a>", "XML error in doc.xml at line 1: Error Processing XML Document\n"},
        {"<a></b>", "XML error in doc.xml at line 2: Unknown Close Tag\n"},
        {"<a></a>", ""},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(Parse(c.text)->error, c.error);
    }
}

TEST(XMLParser, UnknownCloseTagNestsWhatFollowsDeeper) {
    auto parsed = Parse("<r><a></x><b></b></a></r>");
    ASSERT_NE(parsed->root, nullptr);
    ASSERT_EQ(parsed->root->GetNumChildren(), 1);
    auto *a = static_cast<TXMLTag *>(parsed->root->GetChild(0));
    ASSERT_EQ(a->GetNumChildren(), 1);
    EXPECT_EQ(Name(a->GetChild(0)), "b");
}

TEST(XMLParser, LinesCountTheByteBehindEachTag) {
    auto parsed = Parse("<a>\n<b>\n</b>\n</a>");
    ASSERT_NE(parsed->root, nullptr);
    EXPECT_EQ(parsed->root->GetLineNo(), 2);
    EXPECT_EQ(parsed->root->GetChild(0)->GetLineNo(), 3);
}

TEST(XMLParser, DeepNestingNeedsNoMachineStack) {
    constexpr int kDepth = 300000;
    std::string text;
    text.reserve(kDepth * 8);
    for (int i = 0; i < kDepth; ++i)
        text += "<n>";
    text += "x";
    for (int i = 0; i < kDepth; ++i)
        text += "</n>";
    auto parsed = Parse(text);
    ASSERT_NE(parsed->root, nullptr);
    TXMLTag *deepest = parsed->root->RecurseTo("missing");
    EXPECT_EQ(deepest, nullptr);
    // Unclosed depth fails just as cleanly.
    EXPECT_EQ(Parse(text.substr(0, kDepth * 3 + 1))->root, nullptr);
}

TEST(XMLParser, ManySiblingsNeedNoMachineStack) {
    std::string text = "<r>";
    for (int i = 0; i < 200000; ++i)
        text += "<c/>t";
    text += "</r>";
    auto parsed = Parse(text);
    ASSERT_NE(parsed->root, nullptr);
    EXPECT_EQ(parsed->root->GetNumChildren(), 400000);
}

} // namespace
