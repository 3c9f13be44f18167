// Reading XML into a document tree and walking all of it: our text reader and our binary
// form against pugixml and tinyxml2, on a large generated document (about 12 MB) and on a
// component-definition file of typical size.
#include <benchmark/benchmark.h>

#include <pugixml.hpp>
#include <tinyxml2.h>

#include <cstring>
#include <string>

#include "General/Streams/FileBuf.h"
#include "General/Text/XMLFile.h"
#include "Support/RatioReporter.h"

namespace {

/// A component-definition document with `components` entries.
std::string MakeDocument(int components) {
    std::string text = "<?xml version=\"1.0\"?>\n<!-- generated definitions -->\n<Components>\n";
    // Sections of 100 groups of 100 keep every tag within the binary form's 127 children.
    for (int i = 0; i < components; ++i) {
        if (i % 10000 == 0)
            text += "<Section>\n";
        if (i % 100 == 0)
            text += "<Group first=\"" + std::to_string(i) + "\">\n";
        const std::string n = std::to_string(i);
        text += "  <Component name=\"Component" + n + "\" class=\"TRenderNode\" parent=\"Scene" +
                std::to_string(i / 16) + "\">\n";
        text += "    <Param name=\"Position\" value=\"" + n + ".5 2.25 -7\"/>\n";
        text += "    <Param name=\"Material\" value=\"materials/stone" + std::to_string(i % 40) +
                "\"/>\n";
        text += "    <Param name=\"Visible\" value=\"true\"/>\n";
        text += "    <Depends on=\"Component" + std::to_string(i > 0 ? i - 1 : 0) + "\"/>\n";
        text += "    Description of component " + n + " in free text.\n";
        text += "  </Component>\n";
        if (i % 100 == 99 || i == components - 1)
            text += "</Group>\n";
        if (i % 10000 == 9999 || i == components - 1)
            text += "</Section>\n";
    }
    text += "</Components>\n";
    return text;
}

const std::string &LargeText() {
    static const std::string text = MakeDocument(36000);
    return text;
}

const std::string &TypicalText() {
    static const std::string text = MakeDocument(40);
    return text;
}

std::string BinaryOf(const std::string &text) {
    std::string copy = text;
    TFixedFileBuf source;
    source.Open(reinterpret_cast<unsigned char *>(copy.data()), static_cast<int>(copy.size()), 2);
    TXMLFile xml;
    (void)xml.LoadAscii(&source);
    TManagedFileBuf out;
    out.Open(6, 0);
    (void)xml.SaveBinary(&out);
    return std::string(reinterpret_cast<const char *>(out.GetBuffer()),
                       static_cast<size_t>(out.Length()));
}

const std::string &Text(bool large) {
    return large ? LargeText() : TypicalText();
}

const std::string &Binary(bool large) {
    static const std::string largeBinary = BinaryOf(LargeText());
    static const std::string typicalBinary = BinaryOf(TypicalText());
    return large ? largeBinary : typicalBinary;
}

/// Visits every node, attribute and text of our tree.
size_t WalkOurs(TXMLTag *root) {
    size_t sum = 0;
    TLibVector<TXMLTag *> work{root};
    while (!work.empty()) {
        TXMLTag *tag = work.back();
        work.pop_back();
        sum += static_cast<size_t>(tag->GetName()->GetLength());
        for (int i = 0; i < tag->GetNumAttrs(); ++i)
            sum += static_cast<size_t>(tag->GetAttr(i)->value->GetLength());
        for (int i = 0; i < tag->GetNumChildren(); ++i) {
            TXMLNode *child = tag->GetChild(i);
            if (child->GetType() == XMLNodeTag)
                work.push_back(static_cast<TXMLTag *>(child));
            else
                sum += static_cast<size_t>(static_cast<TXMLText *>(child)->GetText().GetLength());
        }
    }
    return sum;
}

size_t WalkPugi(pugi::xml_node node) {
    size_t sum = 0;
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
        if (child.type() == pugi::node_element) {
            sum += std::strlen(child.name());
            for (pugi::xml_attribute a = child.first_attribute(); a; a = a.next_attribute())
                sum += std::strlen(a.value());
            sum += WalkPugi(child);
        } else if (child.type() == pugi::node_pcdata) {
            sum += std::strlen(child.value());
        }
    }
    return sum;
}

size_t WalkTiny(const tinyxml2::XMLNode *node) {
    size_t sum = 0;
    for (const tinyxml2::XMLNode *child = node->FirstChild(); child; child = child->NextSibling()) {
        if (const tinyxml2::XMLElement *e = child->ToElement()) {
            sum += std::strlen(e->Name());
            for (const tinyxml2::XMLAttribute *a = e->FirstAttribute(); a; a = a->Next())
                sum += std::strlen(a->Value());
            sum += WalkTiny(child);
        } else if (child->ToText() != nullptr) {
            sum += std::strlen(child->Value());
        }
    }
    return sum;
}

void BM_OursText(benchmark::State &state) {
    std::string copy = Text(state.range(0) != 0);
    for (auto _ : state) {
        TFixedFileBuf source;
        source.Open(reinterpret_cast<unsigned char *>(copy.data()), static_cast<int>(copy.size()),
                    2);
        TXMLFile xml;
        if (!xml.LoadAscii(&source)) {
            state.SkipWithError("parse failed");
            break;
        }
        benchmark::DoNotOptimize(WalkOurs(xml.GetRootTag()));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * copy.size()));
}

void BM_OursBinary(benchmark::State &state) {
    std::string copy = Binary(state.range(0) != 0);
    for (auto _ : state) {
        TFixedFileBuf source;
        source.Open(reinterpret_cast<unsigned char *>(copy.data()), static_cast<int>(copy.size()),
                    2);
        TXMLFile xml;
        if (!xml.LoadBinary(&source)) {
            state.SkipWithError("load failed");
            break;
        }
        benchmark::DoNotOptimize(WalkOurs(xml.GetRootTag()));
    }
    state.SetBytesProcessed(
        static_cast<int64_t>(state.iterations() * Text(state.range(0) != 0).size()));
}

void BM_Pugixml(benchmark::State &state) {
    const std::string &text = Text(state.range(0) != 0);
    for (auto _ : state) {
        pugi::xml_document doc;
        if (!doc.load_buffer(text.data(), text.size()))
            state.SkipWithError("parse failed");
        benchmark::DoNotOptimize(WalkPugi(doc));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void BM_Tinyxml2(benchmark::State &state) {
    const std::string &text = Text(state.range(0) != 0);
    for (auto _ : state) {
        tinyxml2::XMLDocument doc;
        if (doc.Parse(text.data(), text.size()) != tinyxml2::XML_SUCCESS)
            state.SkipWithError("parse failed");
        benchmark::DoNotOptimize(WalkTiny(&doc));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

BENCHMARK(BM_OursText)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_OursBinary)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Pugixml)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Tinyxml2)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char **argv) {
    using vlib::bench::RunWithRatios;
    return RunWithRatios(
        argc, argv,
        {
            {"BM_OursText/1/real_time", "BM_Tinyxml2/1/real_time", "large text, ours / tinyxml2"},
            {"BM_OursText/1/real_time", "BM_Pugixml/1/real_time", "large text, ours / pugixml"},
            {"BM_OursBinary/1/real_time", "BM_Pugixml/1/real_time", "large binary, ours / pugixml"},
            {"BM_OursBinary/1/real_time", "BM_Tinyxml2/1/real_time",
             "large binary, ours / tinyxml2"},
            {"BM_OursText/0/real_time", "BM_Tinyxml2/0/real_time", "typical text, ours / tinyxml2"},
            {"BM_OursText/0/real_time", "BM_Pugixml/0/real_time", "typical text, ours / pugixml"},
            {"BM_OursBinary/0/real_time", "BM_Pugixml/0/real_time",
             "typical binary, ours / pugixml"},
        });
}
