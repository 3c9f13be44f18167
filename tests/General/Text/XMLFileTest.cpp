// The document tree's queries, the text and binary forms and their round trips, bad binary
// data, and the resource face of TXMLFile.
#include "General/Text/XMLFile.h"

#include <string>

#include <gtest/gtest.h>

#include "General/Core/LibAllocator.h"
#include "Support/TempDir.h"
#include "TextFiles.h"

namespace {

using TString = TXMLFile::TString;
using vlib::test::Contents;
using vlib::test::TSourceFile;

constexpr const char kDocument[] = "<?xml version=\"1\"?>\n"
                                   "<!-- component definitions -->\n"
                                   "<Components>\n"
                                   "  <Component name=\"Sky\" class=\"TSky\">\n"
                                   "    <Param name=\"Colour\" value=\"0.2 0.3 0.9\"/>\n"
                                   "    text of sky\n"
                                   "  </Component>\n"
                                   "  <Component name=\"Ground\"></Component>\n"
                                   "</Components>\n";

void Load(TXMLFile &xml, const std::string &text) {
    TSourceFile source(text);
    ASSERT_TRUE(xml.LoadAscii(&source.file));
}

std::string SaveAscii(TXMLFile &xml) {
    TManagedFileBuf out;
    EXPECT_TRUE(out.Open(6, 0));
    EXPECT_TRUE(xml.SaveAscii(&out));
    return Contents(out);
}

std::string SaveBinary(TXMLFile &xml) {
    TManagedFileBuf out;
    EXPECT_TRUE(out.Open(6, 0));
    EXPECT_TRUE(xml.SaveBinary(&out));
    return Contents(out);
}

TEST(XMLFile, QueriesOfTheTree) {
    TXMLFile xml;
    Load(xml, kDocument);
    EXPECT_TRUE(xml.IsOpen());
    TXMLTag *root = xml.GetRootTag();
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root->GetNumChildren(), 2);
    EXPECT_STREQ(root->GetAttrVal("version")->GetData(), "1");
    EXPECT_EQ(root->GetAttrVal("Version"), nullptr); // attribute names keep their case
    EXPECT_EQ(root->GetChild(2), nullptr);
    EXPECT_EQ(root->GetChild(-1), nullptr);
    EXPECT_EQ(root->GetAttr(1), nullptr);
    EXPECT_TRUE(root->HasChildren());

    EXPECT_EQ(root->RecurseTo("components"), root);
    TXMLTag *param = root->RecurseTo("PARAM");
    ASSERT_NE(param, nullptr);
    EXPECT_STREQ(param->GetAttrVal("value")->GetData(), "0.2 0.3 0.9");
    EXPECT_EQ(param->GetParent(), root->GetChild(0));
    EXPECT_EQ(root->RecurseTo("nothing"), nullptr);

    auto *sky = static_cast<TXMLTag *>(root->GetChild(0));
    ASSERT_EQ(sky->GetNumChildren(), 2);
    EXPECT_EQ(sky->GetChild(1)->GetType(), XMLNodeText);
    EXPECT_FALSE(sky->GetChild(1)->HasChildren());
    EXPECT_EQ(xml.GetDict().GetIndex(sky->GetName()), xml.GetDict().GetIndex(sky->GetName()));

    TString debug;
    sky->DebugOutput(&debug);
    EXPECT_STREQ(debug.GetData(), "Component( Attr[1]: Name = \"name\", Value = \"Sky\" ) "
                                  "( Attr[2]: Name = \"class\", Value = \"TSky\" ) ");
    debug = "";
    sky->GetChild(1)->DebugOutput(&debug);
    EXPECT_STREQ(debug.GetData(), "text of sky");
}

TEST(XMLFile, ATextChildEndsTheSearchOfItsTag) {
    TXMLFile xml;
    Load(xml, "<r><a>t<b></b></a><b x=\"second\"></b></r>");
    TXMLTag *b = xml.GetRootTag()->RecurseTo("b");
    ASSERT_NE(b, nullptr);
    EXPECT_STREQ(b->GetAttrVal("x")->GetData(), "second");
}

TEST(XMLFile, TextFormIsIndentedWithTabs) {
    TXMLFile xml;
    Load(xml, kDocument);
    EXPECT_EQ(SaveAscii(xml), "<Components version=\"1\">\n"
                              "\t<Component name=\"Sky\" class=\"TSky\">\n"
                              "\t\t<Param name=\"Colour\" value=\"0.2 0.3 0.9\"/>\n"
                              "\t\ttext of sky\n"
                              "\t</Component>\n"
                              "\t<Component name=\"Ground\"/>\n"
                              "</Components>\n");
    TString out, indent(">");
    static_cast<TXMLTag *>(xml.GetRootTag()->GetChild(1))->OutputXML(&out, indent);
    EXPECT_STREQ(out.GetData(), "><Component name=\"Ground\"/>\n");
}

TEST(XMLFile, TextAndBinaryFormsRoundTrip) {
    TXMLFile xml;
    Load(xml, kDocument);
    const std::string text = SaveAscii(xml);
    const std::string binary = SaveBinary(xml);

    TXMLFile fromText;
    Load(fromText, text);
    EXPECT_EQ(SaveAscii(fromText), text);
    EXPECT_EQ(SaveBinary(fromText), binary);

    TXMLFile fromBinary;
    TSourceFile source(binary);
    ASSERT_TRUE(fromBinary.LoadBinary(&source.file));
    EXPECT_TRUE(fromBinary.IsOpen());
    EXPECT_EQ(SaveAscii(fromBinary), text);
    EXPECT_EQ(fromBinary.GetRootTag()->GetChild(0)->GetParent(), nullptr);
    EXPECT_EQ(fromBinary.GetRootTag()->GetLineNo(), 0);
}

TEST(XMLFile, BinaryLayout) {
    TXMLFile xml;
    Load(xml, "<a k=\"v\">t<b></b></a>");
    const std::string expected("\x01\0\0\0"
                               "\xFE"
                               "a\0\x01k\0v\0\x02"
                               "\xFDt\0"
                               "\xFE"
                               "b\0\0\0",
                               21);
    EXPECT_EQ(SaveBinary(xml), expected);
}

TEST(XMLFile, CountsUpTo127FitTheBinaryForm) {
    for (int children : {127, 128}) {
        SCOPED_TRACE(children);
        std::string text = "<r>";
        for (int i = 0; i < children; ++i)
            text += "<c i=\"" + std::to_string(i) + "\"/>";
        text += "</r>";
        TXMLFile xml;
        Load(xml, text);
        TManagedFileBuf out;
        ASSERT_TRUE(out.Open(6, 0));
        const bool saved = static_cast<bool>(xml.SaveBinary(&out));
        EXPECT_EQ(saved, children <= 127);
        if (!saved) {
            EXPECT_EQ(out.Length(), 0);
            continue;
        }
        TXMLFile back;
        ASSERT_TRUE(out.Seek(0, TFileObj::SeekStart));
        ASSERT_TRUE(back.LoadBinary(&out));
        EXPECT_EQ(back.GetRootTag()->GetNumChildren(), 127);
        EXPECT_STREQ(
            static_cast<TXMLTag *>(back.GetRootTag()->GetChild(126))->GetAttrVal("i")->GetData(),
            "126");
    }
}

TEST(XMLFile, BadBinaryFailsCleanly) {
    TXMLFile good;
    Load(good, kDocument);
    const std::string binary = SaveBinary(good);
    const size_t before = GetAllocatorInstance().GetLiveBlocks();
    for (size_t cut = 0; cut < binary.size(); ++cut) {
        SCOPED_TRACE(cut);
        TXMLFile xml;
        TSourceFile source(binary.substr(0, cut));
        EXPECT_FALSE(xml.LoadBinary(&source.file));
        EXPECT_FALSE(xml.IsOpen());
        EXPECT_EQ(xml.GetRootTag(), nullptr);
    }
    std::string badMarker = binary;
    badMarker[binary.find('\xFD')] = '\x01';
    std::string badRoot = binary;
    badRoot[4] = '\xFD';
    for (const std::string &bytes : {badMarker, badRoot}) {
        TXMLFile xml;
        TSourceFile source(bytes);
        EXPECT_FALSE(xml.LoadBinary(&source.file));
    }
    EXPECT_EQ(GetAllocatorInstance().GetLiveBlocks(), before);
}

TEST(XMLFile, DeepBinaryTreesLoadAndFree) {
    constexpr int kDepth = 200000;
    std::string bytes("\x01\0\0\0", 4);
    for (int i = 0; i < kDepth; ++i)
        bytes += std::string("\xFEn\0\0\x01", 5);
    bytes += std::string("\xFEn\0\0\0", 5);
    TXMLFile xml;
    TSourceFile source(bytes);
    ASSERT_TRUE(xml.LoadBinary(&source.file));
    const std::string again = SaveBinary(xml);
    EXPECT_EQ(again, bytes);
    EXPECT_NE(xml.GetRootTag()->RecurseTo("n"), nullptr);
}

TEST(XMLFile, LoadsOnceAndFailsWithoutARoot) {
    TXMLFile xml;
    Load(xml, "<a></a>");
    TSourceFile again("<b></b>");
    EXPECT_FALSE(xml.LoadAscii(&again.file));
    EXPECT_STREQ(xml.GetRootTag()->GetName()->GetData(), "a");

    TXMLFile bad;
    TSourceFile source("<a>");
    EXPECT_FALSE(bad.LoadAscii(&source.file));
    EXPECT_FALSE(bad.IsOpen());
    TManagedFileBuf out;
    ASSERT_TRUE(out.Open(6, 0));
    EXPECT_FALSE(bad.SaveAscii(&out));
    EXPECT_FALSE(bad.SaveBinary(&out));
    EXPECT_FALSE(bad.LoadAscii(nullptr));
}

TEST(XMLFile, LoadsUnderFailingAllocationsLoseNothingAndLeakNothing) {
    // One whole load first, so that what the library makes once per process (per-thread
    // buffers, shared tables) is not taken for a leak.
    std::string expectedText, expectedBinary;
    {
        TXMLFile xml;
        Load(xml, kDocument);
        expectedText = SaveAscii(xml);
        expectedBinary = SaveBinary(xml);
    }
    for (const bool binary : {false, true}) {
        SCOPED_TRACE(binary ? "binary" : "text");
        TSourceFile source(binary ? expectedBinary : std::string(kDocument));
        const int attempts = vlib::test::RunUntilAllocationsSucceed([&] {
            EXPECT_TRUE(source.file.Seek(0, TFileObj::SeekStart));
            TXMLFile xml;
            const bool loaded = static_cast<bool>(binary ? xml.LoadBinary(&source.file)
                                                         : xml.LoadAscii(&source.file));
            // Compared on a working heap; the count of injected failures stays for the check.
            GetAllocatorInstance().Faults().Disarm();
            if (loaded)
                EXPECT_EQ(SaveAscii(xml), expectedText);
            return loaded;
        });
        EXPECT_GT(attempts, 1);
    }
}

TEST(XMLFile, ResourceFace) {
    TResourceFactory *factory = TResourceFactoryRegistry::Find(TResource::StrToID("TXMLFile"));
    ASSERT_EQ(factory, &TXMLFile::mFactory);
    EXPECT_STREQ(factory->GetName().GetData(), "TXMLFile");
    TResource *made = factory->New();
    ASSERT_NE(dynamic_cast<TXMLFile *>(made), nullptr);
    EXPECT_TRUE(made->IsValidVersion(1, false));
    EXPECT_FALSE(made->IsValidVersion(2, true));
    TLibVector<TDependency> deps;
    made->GetDependencies(deps);
    EXPECT_TRUE(deps.empty());
    factory->Delete(made);
}

} // namespace

namespace {

/// Seed document `n`: a mix of the forms the reader accepts, growing with n.
std::string SeedDocument(int n) {
    std::string text;
    if (n % 3 == 0)
        text += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    if (n % 4 == 1)
        text += "<!DOCTYPE defs SYSTEM \"defs.dtd\">\n";
    if (n % 5 == 2)
        text += "<!-- seed " + std::to_string(n) + " -->\n";
    text += "<Root id=\"" + std::to_string(n) + "\">\n";
    for (int i = 0; i <= n % 7; ++i) {
        text += "  <Component name=\"C" + std::to_string(i) + "\" class=\"TThing\"";
        if ((n + i) % 2 == 0) {
            text += "/>\n";
            continue;
        }
        text += ">\n    <Param key=\"k\" value=\"&amp; <v" + std::to_string(n * i) + ">\"/>\n";
        for (int depth = 0; depth < n % 5; ++depth)
            text += "<Nest d=\"" + std::to_string(depth) + "\">";
        text += "text " + std::to_string(i) + " \xC3\xA9";
        for (int depth = 0; depth < n % 5; ++depth)
            text += "</nest>";
        text += "\n  </Component>\n";
    }
    text += "</Root>\n";
    return text;
}

} // namespace

// Builds the seed corpora of the XML fuzz targets from our own writers and proves each seed
// round-trips. With VLIB_FUZZ_CORPUS_DIR set (to the repository's fuzz/corpus) it also writes
// them there.
TEST(XMLFile, WriterOutputSeedsTheFuzzCorpus) {
    const char *directory = std::getenv("VLIB_FUZZ_CORPUS_DIR");
    for (int n = 0; n < 24; ++n) {
        SCOPED_TRACE(n);
        TXMLFile xml;
        Load(xml, SeedDocument(n));
        const std::string text = SaveAscii(xml);
        const std::string binary = SaveBinary(xml);
        TXMLFile fromText;
        Load(fromText, text);
        EXPECT_EQ(SaveBinary(fromText), binary);
        TXMLFile fromBinary;
        TSourceFile source(binary);
        ASSERT_TRUE(fromBinary.LoadBinary(&source.file));
        EXPECT_EQ(SaveAscii(fromBinary), text);
        if (directory != nullptr) {
            vlib::test::WriteSeed(directory, "XmlText", n, text);
            vlib::test::WriteSeed(directory, "XmlBinary", n, binary);
        }
    }
}
