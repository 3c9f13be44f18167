// Fuzz target of the XML text reader. The input is a document; what loads must write back
// as text and as binary, and both must load again into the same tree. A second parse keeps
// white space, through the parser directly.
#include <cstdint>
#include <cstring>
#include <string>

#include "General/Streams/FileBuf.h"
#include "General/Text/StringDict.h"
#include "General/Text/XMLFile.h"
#include "General/Text/XMLParser.h"

#include "FuzzCheck.h"

namespace {

using vlib::fuzz::Check;

std::string Written(TManagedFileBuf &file) {
    return std::string(reinterpret_cast<const char *>(file.GetBuffer()),
                       static_cast<size_t>(file.Length()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size > (1u << 20))
        return 0;
    {
        TStringDict dict;
        TXMLParser parser;
        parser.SetStripWhitespace(false);
        TXMLTag *root = parser.Parse("fuzz", reinterpret_cast<const char *>(data),
                                     static_cast<int>(size), &dict);
        delete root;
    }
    std::string bytes(reinterpret_cast<const char *>(data), size);
    TFixedFileBuf source;
    if (!source.Open(reinterpret_cast<unsigned char *>(bytes.data()), static_cast<int>(size), 2))
        return 0;
    TXMLFile xml;
    if (!xml.LoadAscii(&source))
        return 0;
    Check(xml.IsOpen() && xml.GetRootTag() != nullptr);
    TManagedFileBuf text;
    Check(text.Open(6, 0));
    Check(static_cast<bool>(xml.SaveAscii(&text)));
    TManagedFileBuf binary;
    Check(binary.Open(6, 0));
    if (!xml.SaveBinary(&binary))
        return 0; // a tag beyond the binary form's counts
    Check(binary.Seek(0, TFileObj::SeekStart));
    TXMLFile back;
    Check(static_cast<bool>(back.LoadBinary(&binary)));
    TManagedFileBuf again;
    Check(again.Open(6, 0));
    Check(static_cast<bool>(back.SaveAscii(&again)));
    Check(Written(again) == Written(text));
    return 0;
}
